// A user database for tests: the root's /etc/passwd, /etc/group and
// /etc/shadow with a few known users.
#ifndef ARX_TESTING_USERS_H
#define ARX_TESTING_USERS_H

#include <sys/types.h>

#include "testing/temp_root.h"

namespace arx_testing {

struct TestUser {
    const char* name;
    const char* password;
    uid_t uid;
    gid_t gid;
};

// "admin": in the group administrators (101) as a listed member.
extern const TestUser kAdmin;
// "alice": primary group users (2100), listed in staff (2201) and projects (2202).
extern const TestUser kAlice;
// "bob": locked ("!" before a valid hash of his password).
extern const TestUser kBob;
// "carol": expired on 1970-01-02.
extern const TestUser kCarol;

constexpr gid_t kAdministratorsGid = 101;
constexpr gid_t kUsersGid = 2100;
constexpr gid_t kStaffGid = 2201;
constexpr gid_t kProjectsGid = 2202;

// Writes the three files under the root.
void WriteUserDatabase(const TempRoot& root);

}  // namespace arx_testing

#endif
