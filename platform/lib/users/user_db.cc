#include "lib/users/user_db.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <shadow.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include <functional>

#include <vorn/root.h>

#include "base/file_read.h"
#include "base/text.h"

namespace vorn {

namespace {

constexpr char kPasswdFile[] = "/etc/passwd";
constexpr char kGroupFile[] = "/etc/group";
constexpr char kShadowFile[] = "/etc/shadow";

bool SameNameIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool ParseId(std::string_view text, unsigned long& value)
{
    if (text.empty() || text.size() > 10)
        return false;
    value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    return value <= 0xFFFFFFFEul;  // (uid_t)-1 means "no id"
}

// Calls visit(fields) for every line of a database file with at least
// minFields fields; comments and NIS "+"/"-" lines are skipped.
bool ForEachEntry(const char* systemPath, size_t minFields,
                  const std::function<bool(const std::vector<std::string_view>&)>& visit)
{
    std::string content;
    if (!base::ReadFileCached(VORNRootPathString(systemPath).c_str(), content))
        return false;
    base::ForEachLine(content, [&](std::string_view line) {
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty() || line.front() == '#' || line.front() == '+' || line.front() == '-')
            return true;
        const std::vector<std::string_view> fields = SplitFields(line);
        if (fields.size() < minFields || fields[0].empty())
            return true;
        return visit(fields);
    });
    return true;
}

// Finds the entry named name in a local database: the exact name wins over
// one that differs in case only.
Lookup FindLocal(const char* systemPath, size_t minFields, std::string_view name,
                 const std::function<bool(const std::vector<std::string_view>&)>& take)
{
    bool exact = false;
    bool folded = false;
    const bool read = ForEachEntry(systemPath, minFields, [&](const std::vector<std::string_view>& fields) {
        if (fields[0] == name) {
            exact = take(fields);
            return !exact;
        }
        if (!folded && SameNameIgnoringCase(fields[0], name))
            folded = take(fields);
        return true;
    });
    if (!read)
        return errno == ENOENT ? Lookup::kMissing : Lookup::kError;
    return exact || folded ? Lookup::kFound : Lookup::kMissing;
}

bool TakeUser(const std::vector<std::string_view>& fields, UserEntry& user)
{
    unsigned long uid, gid;
    if (!ParseId(fields[2], uid) || !ParseId(fields[3], gid))
        return false;
    user.name.assign(fields[0]);
    user.uid = static_cast<uid_t>(uid);
    user.gid = static_cast<gid_t>(gid);
    user.home.assign(fields.size() > 5 ? fields[5] : std::string_view());
    return true;
}

bool TakeGroup(const std::vector<std::string_view>& fields, GroupEntry& group)
{
    unsigned long gid;
    if (!ParseId(fields[2], gid))
        return false;
    group.name.assign(fields[0]);
    group.gid = static_cast<gid_t>(gid);
    group.members.clear();
    std::string_view members = fields.size() > 3 ? fields[3] : std::string_view();
    while (!members.empty()) {
        const size_t comma = members.find(',');
        const std::string_view member = base::TrimBlanks(members.substr(0, comma));
        if (!member.empty())
            group.members.emplace_back(member);
        members.remove_prefix(comma == std::string_view::npos ? members.size() : comma + 1);
    }
    return true;
}

// The NSS functions' buffers: grown until the entry fits.
template <typename Call>
Lookup CallNss(Call call)
{
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    size_t size = hint > 0 ? static_cast<size_t>(hint) : 16384;
    for (int attempt = 0; attempt < 6; ++attempt, size *= 4) {
        std::string buffer(size, '\0');
        bool found = false;
        const int error = call(buffer.data(), buffer.size(), found);
        if (error == ERANGE)
            continue;
        if (error != 0 && error != ENOENT)
            return Lookup::kError;
        return found ? Lookup::kFound : Lookup::kMissing;
    }
    return Lookup::kError;
}

Lookup FindDirectoryUser(const std::string& name, UserEntry& user)
{
    return CallNss([&](char* buffer, size_t size, bool& found) {
        passwd entry;
        passwd* result = nullptr;
        const int error = getpwnam_r(name.c_str(), &entry, buffer, size, &result);
        if (result != nullptr) {
            user.name = entry.pw_name;
            user.uid = entry.pw_uid;
            user.gid = entry.pw_gid;
            user.home = entry.pw_dir != nullptr ? entry.pw_dir : "";
            found = true;
        }
        return error;
    });
}

Lookup FindDirectoryGroup(const std::string& name, GroupEntry& group)
{
    return CallNss([&](char* buffer, size_t size, bool& found) {
        struct group entry;
        struct group* result = nullptr;
        const int error = getgrnam_r(name.c_str(), &entry, buffer, size, &result);
        if (result != nullptr) {
            group.name = entry.gr_name;
            group.gid = entry.gr_gid;
            group.members.clear();
            for (char** member = entry.gr_mem; member != nullptr && *member != nullptr; ++member)
                group.members.emplace_back(*member);
            found = true;
        }
        return error;
    });
}

Lookup FindDirectoryShadow(const std::string& name, ShadowEntry& shadow)
{
    return CallNss([&](char* buffer, size_t size, bool& found) {
        spwd entry;
        spwd* result = nullptr;
        const int error = getspnam_r(name.c_str(), &entry, buffer, size, &result);
        if (result != nullptr) {
            shadow.hash = entry.sp_pwdp != nullptr ? entry.sp_pwdp : "";
            shadow.expireDay = entry.sp_expire;
            found = true;
        }
        return error;
    });
}

bool DirectoryGroups(const UserEntry& user, std::vector<gid_t>& groups)
{
    int count = 64;
    for (int attempt = 0; attempt < 8; ++attempt) {
        std::vector<gid_t> found(static_cast<size_t>(count));
        int size = count;
        if (getgrouplist(user.name.c_str(), user.gid, found.data(), &size) >= 0) {
            found.resize(static_cast<size_t>(size));
            for (gid_t gid : found) {
                if (gid != user.gid)
                    groups.push_back(gid);
            }
            return true;
        }
        count = size > count ? size : count * 2;
    }
    return false;
}

}  // namespace

std::vector<std::string_view> SplitFields(std::string_view line, char separator)
{
    std::vector<std::string_view> fields;
    for (;;) {
        const size_t end = line.find(separator);
        fields.push_back(line.substr(0, end));
        if (end == std::string_view::npos)
            return fields;
        line.remove_prefix(end + 1);
    }
}

bool IsDirectoryName(std::string_view name)
{
    return name.find('\\') != std::string_view::npos || name.find('@') != std::string_view::npos;
}

Lookup FindUser(std::string_view name, UserEntry& user)
{
    if (name.empty())
        return Lookup::kMissing;
    if (IsDirectoryName(name))
        return FindDirectoryUser(std::string(name), user);
    return FindLocal(kPasswdFile, 4, name,
                     [&](const std::vector<std::string_view>& fields) { return TakeUser(fields, user); });
}

Lookup FindGroup(std::string_view name, GroupEntry& group)
{
    if (name.empty())
        return Lookup::kMissing;
    if (IsDirectoryName(name))
        return FindDirectoryGroup(std::string(name), group);
    return FindLocal(kGroupFile, 3, name,
                     [&](const std::vector<std::string_view>& fields) { return TakeGroup(fields, group); });
}

Lookup FindShadow(const UserEntry& user, ShadowEntry& shadow)
{
    if (IsDirectoryName(user.name))
        return FindDirectoryShadow(user.name, shadow);
    bool found = false;
    const bool read = ForEachEntry(kShadowFile, 2, [&](const std::vector<std::string_view>& fields) {
        if (fields[0] != user.name)
            return true;
        shadow.hash.assign(fields[1]);
        shadow.expireDay = -1;
        if (fields.size() > 7 && !fields[7].empty()) {
            unsigned long day;
            shadow.expireDay = ParseId(fields[7], day) ? static_cast<long>(day) : 0;
        }
        found = true;
        return false;
    });
    if (!read)
        return errno == ENOENT ? Lookup::kMissing : Lookup::kError;
    return found ? Lookup::kFound : Lookup::kMissing;
}

std::vector<std::string> ShadowHashFields()
{
    std::vector<std::string> hashes;
    ForEachEntry(kShadowFile, 2, [&](const std::vector<std::string_view>& fields) {
        hashes.emplace_back(fields[1]);
        return true;
    });
    return hashes;
}

bool IsMember(const GroupEntry& group, const UserEntry& user)
{
    if (user.gid == group.gid)
        return true;
    // Exactly: "Admin" may be an account of its own, and must not become a
    // member of what lists "admin".  Folding case is the login name
    // lookup's business, which hands over the name as the file spells it.
    for (const std::string& member : group.members) {
        if (member == user.name)
            return true;
    }
    return false;
}

bool GroupsOfUser(const UserEntry& user, std::vector<gid_t>& groups)
{
    groups.assign(1, user.gid);
    if (IsDirectoryName(user.name))
        return DirectoryGroups(user, groups);
    const bool read = ForEachEntry(kGroupFile, 3, [&](const std::vector<std::string_view>& fields) {
        GroupEntry group;
        if (TakeGroup(fields, group) && group.gid != user.gid && IsMember(group, user))
            groups.push_back(group.gid);
        return true;
    });
    return read || errno == ENOENT;
}

}  // namespace vorn
