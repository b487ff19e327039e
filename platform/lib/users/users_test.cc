// Users, groups, passwords (and which hashes a check spends its time on)
// and preference directories from the root's files.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/user.h>

#include "lib/users/password_kinds.h"
#include "testing/as_root.h"
#include "testing/child_process.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::kAlice;

class UserTest : public ::testing::Test {
protected:
    void SetUp() override { arx_testing::WriteUserDatabase(root_); }
    void Append(const char* file, const std::string& lines, mode_t mode = 0644)
    {
        root_.WriteFile(file, root_.ReadFile(file) + lines, mode);
    }
    arx_testing::TempRoot root_;
};

TEST_F(UserTest, LocalNamesMatchExactlyFirstThenIgnoringCase)
{
    root_.WriteFile("/etc/passwd", "# comment\n+nis::0:0:::\nbroken:x:notanumber:1::/:\nEve:x:3001:100::/home/Eve:\n"
                                   "eve:x:3002:100::/home/eve:\nZed:x:3003:100::/:\ncorp\\dan:x:3004:100::/:\n");
    struct Row { const char* asked; const char* name; uid_t uid; };
    const Row rows[] = {
        {"eve", "eve", 3002},  // the exact name wins over one that differs in case
        {"EVE", "Eve", 3001},  // no exact match: the first that matches ignoring case
        {"zed", "Zed", 3003},
        {"broken", "", 0},     // a line whose ids are not numbers is no user
        {"nis", "", 0},
        {"corp\\dan", "", 0},  // directory names are asked of NSS, never of the root's files
    };
    for (const Row& row : rows) {
        VLIBUSERINFO info{};
        EXPECT_EQ(VLIBUserInfoGet(row.asked, &info), row.uid != 0 ? 0 : -1) << row.asked;
        EXPECT_STREQ(info.szName, row.name) << row.asked;
        EXPECT_EQ(info.uid, row.uid) << row.asked;
    }
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
}

TEST_F(UserTest, GroupMembersCompareExactly)
{
    Append("/etc/passwd", "primary:x:2010:101::/:\nAdmin:x:2011:2100::/:\n");
    Append("/etc/group", "shouty:x:2203:ALICE\n");
    struct Row { const char* description; const char* group; const char* user; int expected; };
    const Row rows[] = {
        {"listed member", "administrators", "admin", 1},
        {"the login name folds to the account admin", "administrators", "ADMIN", 1},
        {"a separate account whose name differs in case only", "administrators", "Admin", 0},
        {"primary group", "administrators", "primary", 1},
        {"not listed", "administrators", "alice", 0},
        {"unknown user", "administrators", "nobody-here", 0},
        {"listed in another case", "shouty", "alice", 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VLIBGroupIsMember(row.group, row.user), row.expected) << row.description;
    EXPECT_EQ(VLIBGroupIsAdminGroupMem("Admin", 0), 0);
    gid_t groups[1];
    EXPECT_EQ(VLIBUserGroupsGet("alice", groups, 1), 3) << "how many, also when they do not fit (the list is WebMan's)";
    unlink(root_.Path("/etc/group").c_str());
    root_.MakeDirs("/etc/group");
    EXPECT_EQ(VLIBGroupIsAdminGroupMem("admin", 0), -1) << "an unreadable group file is a failure, not a no";
}

TEST_F(UserTest, PasswordChecksAndDisabledAccounts)
{
    Append("/etc/passwd", "star:x:2020:2100::/:\nempty:x:2021:2100::/:\n");
    Append("/etc/shadow", "star:*:19000::::::\nempty::19000::::::\n", 0600);
    struct Row { const char* user; const char* password; int expected; int disabled; };
    const Row rows[] = {
        {"ALICE", kAlice.password, 1, 0},
        {"alice", "alice-pass ", 0, 0},
        {"nobody-here", kAlice.password, 0, -1},          // unknown: the answer of a wrong password
        {"bob", arx_testing::kBob.password, -2, 1},      // locked, told only to who knows the password
        {"bob", "wrong", 0, 1},
        {"carol", arx_testing::kCarol.password, -2, 1},  // expired
        {"star", "*", 0, 0},
        {"empty", "", 0, 0},                             // an empty hash never matches
    };
    for (const Row& row : rows) {
        EXPECT_EQ(VLIBUserPasswordCheck(row.user, row.password), row.expected) << row.user << " / " << row.password;
        EXPECT_EQ(VLIBUserIsDisabled(row.user), row.disabled) << row.user;
    }
    unlink(root_.Path("/etc/shadow").c_str());
    root_.MakeDirs("/etc/shadow");
    EXPECT_EQ(VLIBUserPasswordCheck("alice", kAlice.password), -1) << "an unreadable shadow file";
}

class UserAsRootTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (!IsSkipped())
            arx_testing::WriteUserDatabase(root_);
    }
    arx_testing::TempRoot root_;
};

// (A group that does not exist is WebMan's identity test's.)
TEST_F(UserAsRootTest, PreferenceDirectoriesForEveryExistingUser)
{
    root_.WriteFile("/usr/vorn/etc/preference/carol", "a file where the directory belongs");
    symlink("/etc", root_.Path("/usr/vorn/etc/preference/bob").c_str());
    const std::string dir = root_.Path("/usr/vorn/etc/preference/");
    struct Row { const char* description; uid_t euid; const char* user; const char* made; mode_t mode; uid_t owner;
                 gid_t group; int size = 1024; };
    const Row rows[] = {
        {"a login, as root", 0, "ALICE", "alice", 0700, kAlice.uid, kAlice.gid},
        {"a process switched to the user", kAlice.uid, "alice", "alice", 0700, kAlice.uid, kAlice.gid},
        {"a process switched to another user", kAlice.uid, "admin", "admin", 0700, 2001, 2001},
        {"a group's", 0, "@staff", "@staff", 0750, 0, arx_testing::kStaffGid},
        {"no such user", 0, "nobody-here", nullptr, 0, 0, 0},
        {"a file in the way", 0, "carol", nullptr, 0, 0, 0},
        {"a link in the way is not followed", 0, "bob", nullptr, 0, 0, 0},
        {"a path that does not fit", 0, "alice", nullptr, 0, 0, 0, 8},
    };
    for (const Row& row : rows) {
        const std::string expected = row.made != nullptr ? dir + row.made : "";
        const auto run = arx_testing::RunInChild([&] {
            char path[1024] = "x";
            setresuid(static_cast<uid_t>(-1), row.euid, static_cast<uid_t>(-1));
            const int length = row.user[0] == '@' ? VORNGroupPreferenceDirGet(row.user + 1, path, row.size)
                                                  : VORNUserPreferenceDirGet(row.user, path, row.size);
            printf("%d [%s] %u", length, path, static_cast<unsigned>(geteuid()));
        });
        EXPECT_EQ(run.output, std::to_string(row.made ? static_cast<int>(expected.size()) : -1) + " [" + expected +
                                  "] " + std::to_string(row.euid))
            << row.description << ": the path, and the caller's uid again";
        struct stat st = {};
        EXPECT_TRUE(row.made == nullptr || (lstat(expected.c_str(), &st) == 0 && st.st_mode % 010000 == row.mode &&
                                            st.st_uid == row.owner && st.st_gid == row.group))
            << row.description << ": " << std::oct << st.st_mode << std::dec << " " << st.st_uid << ":" << st.st_gid;
    }
    chmod((dir + "alice").c_str(), 0755);
    char path[1024];
    struct stat st;
    ASSERT_TRUE(VORNUserPreferenceDirGet("alice", path, sizeof path) > 0 && stat(path, &st) == 0);
    EXPECT_EQ(st.st_mode & 07777, 0755u) << "an existing directory is left as it is";
}

// The cheapest cost of each method, so that the tests stay quick
// (passwords "dave-pass" and "erin-pass").
constexpr char kDaveHash[] =
    "$y$j75$88Bt/nEmQkbZYxAnlkpJ/vpemLgG32u9kbcB.vpAF7C$GE4WS7E9sNXbKsd1puOSf.Hp7egVa2WDCsNqUdjdRb2";
constexpr char kErinHash[] = "$2b$04$qC4Q8n6noLDl534b6bZ/3etA9IrJRyCY1T.muccxr4Ot574VPkjte";

TEST(PasswordKindsTest, KindIsMethodAndCostWithoutSaltOrResult)
{
    const std::pair<const char*, const char*> rows[] = {
        {"$6$salt$result", "$6$"}, {"$6$rounds=1000$salt$result", "$6$rounds=1000$"}, {kDaveHash, "$y$j75$"},
        {"$y$j9T$F5Jx5fExrKuPp53xLKQ..1$", "$y$j9T$"},  // a setting, no result yet
        {"$gy$j9T$s$r", "$gy$j9T$"}, {kErinHash, "$2b$04$"}, {"$6", "$6$"}, {"abcdefghijklm", "des"},
        {"abcdefghijkl", ""}, {"*", ""}, {"", ""}};
    for (const auto& [hash, kind] : rows)
        EXPECT_EQ(vorn::HashKind(hash), kind) << hash;
}

TEST(PasswordKindsTest, EveryCheckHashesOnceWithEachKindOfTheFile)
{
    arx_testing::TempRoot root;
    arx_testing::WriteUserDatabase(root);
    root.WriteFile("/etc/passwd", root.ReadFile("/etc/passwd") + "dave:x:2030:2100::/:\nerin:x:2031:2100::/:\n");
    root.WriteFile("/etc/shadow", root.ReadFile("/etc/shadow") + "dave:" + kDaveHash + ":19000::::::\nerin:!" +
                                      kErinHash + ":19000::::::\n", 0600);
    const std::vector<std::string> fileKinds = {"$2b$04$", "$6$rounds=1000$", "$y$j75$"};
    struct Row { const char* account; std::string ownHash; std::vector<std::string> kinds; };
    const Row rows[] = {
        {"unknown name, or no usable hash", "", fileKinds},
        {"yescrypt", kDaveHash, fileKinds},
        {"a kind the file does not hold", "$1$salt$result", {"$1$", "$2b$04$", "$6$rounds=1000$", "$y$j75$"}},
    };
    for (const Row& row : rows) {
        const std::vector<std::string> settings = vorn::PasswordCheckSettings(row.ownHash);
        EXPECT_TRUE(row.ownHash.empty() || settings.at(0) == row.ownHash) << row.account << ": the own hash first";
        std::vector<std::string> kinds;
        for (const std::string& setting : settings)
            kinds.push_back(vorn::HashKind(setting));
        std::sort(kinds.begin(), kinds.end());
        EXPECT_EQ(kinds, row.kinds) << row.account;
    }
    const std::pair<const char*, int> checks[] = {{"dave-pass", 1}, {"dave-pass!", 0}, {"erin-pass", 0}};
    for (const auto& [password, expected] : checks)
        EXPECT_EQ(VLIBUserPasswordCheck("dave", password), expected) << password;
    EXPECT_EQ(VLIBUserPasswordCheck("erin", "erin-pass"), -2) << "a locked bcrypt account";
    root.WriteFile("/etc/shadow", "root:*:19000::::::\nstar:!:19000::::::\n", 0600);
    const std::vector<std::string> settings = vorn::PasswordCheckSettings("");
    ASSERT_EQ(settings.size(), 1u) << "a file without hashes still costs one yescrypt check";
    EXPECT_EQ(vorn::HashKind(settings[0]), "$y$j9T$");
}

}  // namespace
