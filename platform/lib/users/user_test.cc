// Users, groups, passwords and preference directories from the root's files.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/err.h>
#include <vorn/user.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::kBob;
using arx_testing::kCarol;

class UserTest : public ::testing::Test {
protected:
    void SetUp() override { arx_testing::WriteUserDatabase(root_); }
    arx_testing::TempRoot root_;
};

TEST_F(UserTest, LocalNamesMatchExactlyFirstThenIgnoringCase)
{
    root_.WriteFile("/etc/passwd",
                    "# comment\n"
                    "+nis::0:0:::\n"
                    "broken:x:notanumber:1::/:\n"
                    "Eve:x:3001:100::/home/Eve:\n"
                    "eve:x:3002:100::/home/eve:\n"
                    "Zed:x:3003:100::/home/zed:\n"
                    "corp\\dan:x:3004:100::/:\n"
                    "dan@corp:x:3005:100::/:\n");
    struct Row {
        const char* asked;
        int result;
        const char* name;
        uid_t uid;
    };
    const Row rows[] = {
        {"eve", 0, "eve", 3002},  // the exact name wins over one that differs in case
        {"Eve", 0, "Eve", 3001},
        {"EVE", 0, "Eve", 3001},  // no exact match: the first that matches ignoring case
        {"zed", 0, "Zed", 3003},
        {"broken", -1, "", 0},    // a line whose ids are not numbers is no user
        {"nis", -1, "", 0},
        {"", -1, "", 0},
        {"nobody-here", -1, "", 0},
        {"corp\\dan", -1, "", 0},  // directory names are asked of NSS, never of the root's files
        {"dan@corp", -1, "", 0},
    };
    for (const Row& row : rows) {
        VLIBUSERINFO info{};
        EXPECT_EQ(VLIBUserInfoGet(row.asked, &info), row.result) << row.asked;
        EXPECT_STREQ(info.szName, row.name) << row.asked;
        EXPECT_EQ(info.uid, row.uid) << row.asked;
    }
    VLIBUSERINFO info;
    VLIBUserInfoGet("nobody-here", &info);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
}

TEST_F(UserTest, GroupsComeFromTheRootsGroupFile)
{
    gid_t groups[8];
    ASSERT_EQ(VLIBUserGroupsGet("alice", groups, 8), 3);
    EXPECT_EQ(std::vector<gid_t>(groups, groups + 3),
              (std::vector<gid_t>{arx_testing::kUsersGid, arx_testing::kStaffGid, arx_testing::kProjectsGid}))
        << "the primary group first";
    EXPECT_EQ(VLIBUserGroupsGet("alice", groups, 1), 3) << "how many there are, also when they do not fit";
    EXPECT_EQ(groups[0], arx_testing::kUsersGid);
    EXPECT_EQ(VLIBUserGroupsGet("nobody-here", groups, 8), -1);
}

TEST_F(UserTest, InitGroupsFromTheRootsFiles)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "setting groups needs root";
    const auto run = arx_testing::RunInChild([] {
        for (const char* user : {"ALICE", "admin", "nobody-here"}) {
            const int result = VLIBUserInitGroups(user, 7);
            gid_t groups[16];
            const int count = getgroups(16, groups);
            printf("%s %d:", user, result);
            for (int i = 0; i < count; ++i)
                printf(" %u", static_cast<unsigned>(groups[i]));
            printf("\n");
        }
    });
    EXPECT_EQ(run.output, "ALICE 0: 7 2201 2202\nadmin 0: 7 101 2201\nnobody-here -1: 7 101 2201\n")
        << "the group given and every group listing the user; an unknown user changes nothing";
}

TEST_F(UserTest, GroupMembersCompareExactly)
{
    root_.WriteFile("/etc/passwd", root_.ReadFile("/etc/passwd") + "primary:x:2010:101::/:\nAdmin:x:2011:2100::/:\n");
    root_.WriteFile("/etc/group", root_.ReadFile("/etc/group") + "shouty:x:2203:ALICE\n");
    struct Row {
        const char* description;
        const char* group;
        const char* user;
        int expected;
    };
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
    EXPECT_EQ(VLIBGroupIsAdminGroupMem(nullptr, 0), -1);

    unlink(root_.Path("/etc/group").c_str());
    root_.MakeDirs("/etc/group");
    EXPECT_EQ(VLIBGroupIsAdminGroupMem("admin", 0), -1) << "an unreadable group file is a failure, not a no";
}

TEST_F(UserTest, PasswordChecks)
{
    root_.WriteFile("/etc/passwd", root_.ReadFile("/etc/passwd") +
                                       "star:x:2020:2100::/:\nempty:x:2021:2100::/:\nnoshadow:x:2022:2100::/:\n");
    root_.WriteFile("/etc/shadow", root_.ReadFile("/etc/shadow") + "star:*:19000::::::\nempty::19000::::::\n", 0600);
    struct Row {
        const char* user;
        const char* password;
        int expected;
    };
    const Row rows[] = {
        {"alice", kAlice.password, 1},
        {"ALICE", kAlice.password, 1},
        {"alice", "alice-pass ", 0},
        {"alice", "", 0},
        {"nobody-here", kAlice.password, 0},  // unknown user: the same answer as a wrong password
        {"bob", kBob.password, -2},           // locked, and only told when the password is right
        {"bob", "wrong", 0},
        {"carol", kCarol.password, -2},       // expired
        {"carol", "wrong", 0},
        {"star", "*", 0},
        {"empty", "", 0},                     // an empty hash never matches
        {"noshadow", "", 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VLIBUserPasswordCheck(row.user, row.password), row.expected) << row.user << " / " << row.password;
    EXPECT_EQ(VLIBUserPasswordCheck("alice", nullptr), -1);

    unlink(root_.Path("/etc/shadow").c_str());
    root_.MakeDirs("/etc/shadow");
    EXPECT_EQ(VLIBUserPasswordCheck("alice", kAlice.password), -1);
}

TEST_F(UserTest, DisabledAccounts)
{
    EXPECT_EQ(VLIBUserIsDisabled("alice"), 0);
    EXPECT_EQ(VLIBUserIsDisabled("bob"), 1);
    EXPECT_EQ(VLIBUserIsDisabled("carol"), 1);
    EXPECT_EQ(VLIBUserIsDisabled("nobody-here"), -1);
}

class PreferenceDirTest : public UserTest {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "giving directories away needs root";
        UserTest::SetUp();
    }
};

TEST_F(PreferenceDirTest, CreatedOnFirstRequestForTheirOwner)
{
    char path[1024];
    ASSERT_EQ(VORNUserPreferenceDirGet("ALICE", path, sizeof path),
              static_cast<int>(root_.Path("/usr/vorn/etc/preference/alice").size()));
    EXPECT_EQ(std::string(path), root_.Path("/usr/vorn/etc/preference/alice"));
    struct stat st;
    ASSERT_EQ(stat(path, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u);
    EXPECT_EQ(st.st_uid, kAlice.uid);
    EXPECT_EQ(st.st_gid, kAlice.gid);

    ASSERT_GT(VORNGroupPreferenceDirGet("staff", path, sizeof path), 0);
    EXPECT_EQ(std::string(path), root_.Path("/usr/vorn/etc/preference/@staff"));
    ASSERT_EQ(stat(path, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0750u);
    EXPECT_EQ(st.st_uid, 0u);
    EXPECT_EQ(st.st_gid, arx_testing::kStaffGid);

    chmod(root_.Path("/usr/vorn/etc/preference/alice").c_str(), 0755);
    ASSERT_GT(VORNUserPreferenceDirGet("alice", path, sizeof path), 0);
    ASSERT_EQ(stat(path, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0755u) << "an existing directory is left as it is";
}

TEST_F(PreferenceDirTest, AProcessSwitchedToAUserStillGetsTheDirectory)
{
    struct Row {
        const char* description;
        uid_t euid;
        const char* user;
    };
    const Row rows[] = {
        {"switched to the user", kAlice.uid, "alice"},
        {"switched to another user", kAlice.uid, "admin"},
    };
    for (const Row& row : rows) {
        const auto run = arx_testing::RunInChild([&] {
            char path[1024] = "";
            if (setresuid(static_cast<uid_t>(-1), row.euid, static_cast<uid_t>(-1)) != 0)
                return;
            const int length = VORNUserPreferenceDirGet(row.user, path, sizeof path);
            printf("%d %u", length > 0 ? 1 : 0, static_cast<unsigned>(geteuid()));
        });
        EXPECT_EQ(run.output, "1 " + std::to_string(row.euid)) << row.description << ": back to its uid";
        struct stat st;
        ASSERT_EQ(lstat(root_.Path(std::string("/usr/vorn/etc/preference/") + row.user).c_str(), &st), 0)
            << row.description;
        EXPECT_TRUE(S_ISDIR(st.st_mode) && (st.st_mode & 07777) == 0700) << row.description;
        VLIBUSERINFO owner;
        ASSERT_EQ(VLIBUserInfoGet(row.user, &owner), 0);
        EXPECT_EQ(st.st_uid, owner.uid) << row.description;
    }
}

TEST_F(PreferenceDirTest, Refusals)
{
    root_.WriteFile("/usr/vorn/etc/preference/admin", "a file where the directory belongs");
    symlink("/etc", root_.Path("/usr/vorn/etc/preference/bob").c_str());
    struct Row {
        const char* user;
        int size;
    };
    const Row rows[] = {
        {"nobody-here", 1024},
        {"admin", 1024},  // something else is in the way
        {"bob", 1024},    // a symbolic link is not followed
        {"alice", 8},     // the path does not fit
    };
    for (const Row& row : rows) {
        char path[1024] = "x";
        EXPECT_EQ(VORNUserPreferenceDirGet(row.user, path, row.size), -1) << row.user;
        EXPECT_STREQ(path, "") << row.user;
    }
    char path[1024];
    EXPECT_EQ(VORNGroupPreferenceDirGet("no-such-group", path, sizeof path), -1);
}

}  // namespace
