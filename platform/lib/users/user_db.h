// The user and group databases: the root's /etc/passwd, /etc/group and
// /etc/shadow for local names, the system's NSS for directory names (those
// with a backslash or "@", e.g. "DOMAIN\bob" or "bob@example.com").
#ifndef VORN_PLATFORM_USER_DB_H
#define VORN_PLATFORM_USER_DB_H

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct UserEntry {
    std::string name;  // as the database spells it
    uid_t uid = 0;
    gid_t gid = 0;
    std::string home;
};

struct GroupEntry {
    std::string name;
    gid_t gid = 0;
    std::vector<std::string> members;
};

struct ShadowEntry {
    std::string hash;     // the password field
    long expireDay = -1;  // days since 1970-01-01 from which the account is expired; -1 never
};

enum class Lookup { kFound, kMissing, kError };

// A name of a directory user or group, looked up through NSS.
bool IsDirectoryName(std::string_view name);

// Local names match exactly first, then ignoring ASCII case.
Lookup FindUser(std::string_view name, UserEntry& user);
Lookup FindGroup(std::string_view name, GroupEntry& group);

// The shadow entry of a user found by FindUser (its exact name).
Lookup FindShadow(const UserEntry& user, ShadowEntry& shadow);

// The password field of every entry of the local shadow file, in file
// order; none when the file cannot be read.
std::vector<std::string> ShadowHashFields();

// The user's groups: the primary group first, then every group that lists
// the user as a member.  false when the group database cannot be read.
bool GroupsOfUser(const UserEntry& user, std::vector<gid_t>& groups);

// Whether the user belongs to the group: by primary gid or as a listed
// member, the name compared exactly with the user's as the database
// spells it.
bool IsMember(const GroupEntry& group, const UserEntry& user);

// The fields of one line of a colon-separated database file (or of text
// separated by another character).
std::vector<std::string_view> SplitFields(std::string_view line, char separator = ':');

}  // namespace vorn

#endif
