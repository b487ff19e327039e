// Users' homes and ids, and switching to a user's credentials by name.

#include <grp.h>
#include <unistd.h>

#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/user.h>

#include "testing/as_root.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::kAlice;

TEST(AccountTest, HomesAreSystemPathsOfTheRoot)
{
    arx_testing::TempRoot root;
    arx_testing::WriteUserDatabase(root);
    VLIBUSERINFO info{};
    ASSERT_EQ(VORNUserGet("ALICE", &info), 0);
    EXPECT_STREQ(info.szName, "alice");
    EXPECT_EQ(info.szHome, root.Path("/home/alice"));
    uid_t uid = 0;
    gid_t gid = 0;
    ASSERT_EQ(VORNUserGetUGID("alice", &uid, &gid), 0);
    EXPECT_EQ(uid, kAlice.uid);
    EXPECT_EQ(gid, kAlice.gid);
    EXPECT_EQ(VORNUserGetUGID("nobody-here", &uid, nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
    EXPECT_EQ(VORNUserGet(nullptr, &info), -1);

    EXPECT_EQ(VORNServiceUserHomeIsEnabled(), 1) << "on unless switched off";
    root.WriteFile(VORN_INFO_FILE, "userhome_enable=\"no\"\n");
    EXPECT_EQ(VORNServiceUserHomeIsEnabled(), 0);
}

class CredentialsTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (!IsSkipped())
            arx_testing::WriteUserDatabase(root_);
    }
    static std::vector<gid_t> Groups()
    {
        std::vector<gid_t> groups(64);
        groups.resize(static_cast<size_t>(getgroups(64, groups.data())));
        return groups;
    }
    arx_testing::TempRoot root_;
};

TEST_F(CredentialsTest, SwitchesToTheUserAndBackThroughRoot)
{
    if (IsSkipped())
        return;
    const std::vector<gid_t> original = Groups();
    ASSERT_EQ(ResetCredentialsByName("alice", 1), 0);
    const uid_t euid = geteuid();
    const gid_t egid = getegid();
    const std::vector<gid_t> groups = Groups();
    ASSERT_EQ(ResetCredentialsByName("root", 1), 0) << "back through the saved root";
    EXPECT_EQ(euid, kAlice.uid);
    EXPECT_EQ(egid, kAlice.gid);
    EXPECT_EQ(groups, (std::vector<gid_t>{arx_testing::kUsersGid, arx_testing::kStaffGid,
                                          arx_testing::kProjectsGid}));
    EXPECT_EQ(geteuid(), 0u);
    EXPECT_EQ(Groups(), std::vector<gid_t>{0});

    const std::vector<gid_t> before = Groups();
    EXPECT_EQ(ResetCredentialsByName("nobody-here", 1), -1);
    EXPECT_EQ(ResetCredentialsByName("", 0), -1);
    EXPECT_EQ(geteuid(), 0u);
    EXPECT_EQ(Groups(), before);
    ASSERT_EQ(ResetCredentialsByName("alice", 0), 0);
    EXPECT_EQ(Groups(), before) << "groups only when asked";
    ASSERT_EQ(ResetCredentialsByName("root", 0), 0);
    setgroups(original.size(), original.data());  // the fixture checks them
}

}  // namespace
