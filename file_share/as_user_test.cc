// As root, with real users: scratch shares whose file modes and groups
// decide, the listing as the user, links out of a share, and the
// credentials of PrivilegeUtil.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman_file_share.h>
#include <vorn/acl.h>
#include <vorn/err.h>
#include <vorn/share.h>

#include "privilege/identity.h"
#include "testing/as_root.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::kAlice;
using arx_testing::kBob;

class AsUserTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        arx_testing::WriteUserDatabase(root_);
        root_.WriteFile(VORN_SHARE_FILE,
                        "[public]\npath=/volume1/public\nrw=@users\n"
                        "[photos]\npath=/volume1/photos\nro=@staff,bob\nhide_unreadable=yes\n"
                        "[secret]\npath=/volume1/secret\nrw=admin\n");
        Dir("/volume1", 0755, 0, 0);
        Dir("/volume1/public", 0775, 0, arx_testing::kUsersGid);
        Dir("/volume1/photos", 0750, 0, arx_testing::kStaffGid);
        Dir("/volume1/photos/2023", 0750, 0, arx_testing::kStaffGid);
        Dir("/volume1/photos/private", 0700, 0, 0);
        Dir("/volume1/secret", 0700, 0, 0);
        Dir("/volume1/secret/plans", 0755, 0, 0);
        symlink("../secret", root_.Path("/volume1/public/escape").c_str());
        symlink("/etc", root_.Path("/volume1/public/out").c_str());
    }
    void Dir(const std::string& path, mode_t mode, uid_t uid, gid_t gid)
    {
        root_.MakeDirs(path);
        chown(root_.Path(path).c_str(), uid, gid);
        chmod(root_.Path(path).c_str(), mode);
    }
    // The visible sub-folders of a share's folder as user, with the rule of
    // shares that hide what their users cannot read; "!N" for WEBFMERR N.
    std::vector<std::string> ListAs(const char* user, const char* share, const std::string& rest = "")
    {
        const arx_testing::TempRoot& root = root_;
        const arx::privilege::IdentitySnapshot before;
        std::vector<std::string> names;
        if (!VORNPrivilege::PrivilegeUtil::SetEUGID(user, true))
            return {"!switch"};
        VORNSHARE* record = nullptr;
        VORNShareGet(share, &record);
        WebmanFileShare fs;
        VORNPrivilege::FileAccessor accessor;
        const std::string dir = root.Path(std::string("/volume1/") + share) + (rest.empty() ? "" : "/" + rest);
        const int fd = fs.WfmOpenShareDir(record->szPath, rest);
        std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
        if (fd < 0 || !fs.WfmLibEnumSubDirAt(fd, dir, list))
            names.push_back("!" + std::to_string(WfmLibGetErr()));
        const bool hide = fs.WfmLibIsHideUnreadable(record);
        for (const auto& entry : list) {
            if (!hide || accessor.ACLAccess(entry.fullPath, VORN_ACL_READ | VORN_ACL_EXECUTE))
                names.push_back(entry.name);
        }
        if (fd >= 0)
            close(fd);
        VORNShareFree(record);
        before.Restore();
        return names;
    }
    arx_testing::TempRoot root_;
};

TEST_F(AsUserTest, TheListingShowsWhatTheUserCouldReadWithAShell)
{
    if (IsSkipped())
        return;
    EXPECT_EQ(ListAs("alice", "photos"), std::vector<std::string>{"2023"}) << "private is root's alone";
    EXPECT_EQ(ListAs("bob", "photos"), std::vector<std::string>{"!3"}) << "the share allows, the folder does not";
    EXPECT_EQ(ListAs("alice", "secret"), std::vector<std::string>{"!3"});
    EXPECT_EQ(ListAs("admin", "secret"), std::vector<std::string>{"plans"}) << "administrators act as root";
    EXPECT_EQ(ListAs("admin", "photos"), (std::vector<std::string>{"2023", "private"})) << "root sees everything";
    // Links are never listed, and never followed below a share.
    EXPECT_EQ(ListAs("alice", "public"), std::vector<std::string>{});
    EXPECT_EQ(ListAs("alice", "public", "escape"), std::vector<std::string>{"!2"});
    EXPECT_EQ(ListAs("admin", "public", "out"), std::vector<std::string>{"!2"});
    WebmanFileShare fs;
    EXPECT_EQ(fs.WfmCheckPath(root_.Path("/volume1/public/escape/plans").c_str()), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
}

TEST_F(AsUserTest, AclAndSharePrivilegesFromRealModesAndGroups)
{
    if (IsSkipped())
        return;
    struct Row { const char* user; const char* path; int wanted; bool allowed; };
    const Row rows[] = {
        {"alice", "/public", VORN_ACL_READ | VORN_ACL_WRITE | VORN_ACL_EXECUTE, true},  // the group users
        {"alice", "/photos", VORN_ACL_READ | VORN_ACL_EXECUTE, true},                   // the group staff
        {"alice", "/photos", VORN_ACL_WRITE, false},
        {"alice", "/photos/private", VORN_ACL_READ, false},
        {"bob", "/photos", VORN_ACL_READ, false},       // a share privilege, no permission
        {"alice", "/secret", VORN_ACL_READ, false},     // no share privilege: the ACL is not asked
        {"admin", "/secret/plans", VORN_ACL_WRITE | VORN_ACL_DELETE, true},
    };
    for (const Row& row : rows) {
        const arx::privilege::IdentitySnapshot before;
        ASSERT_TRUE(VORNPrivilege::PrivilegeUtil::SetEUGID(row.user, true));
        VORNPrivilege::FileAccessor accessor;
        const bool allowed = accessor.HasPrivilege(row.path, row.user, "", row.wanted);
        const uid_t euid = geteuid();
        ASSERT_TRUE(before.Restore());
        EXPECT_EQ(allowed, row.allowed) << row.user << " " << row.path;
        EXPECT_EQ(euid, std::string(row.user) == "admin" ? 0 : std::string(row.user) == "alice" ? kAlice.uid
                                                                                                  : kBob.uid);
    }
}

TEST_F(AsUserTest, NewFoldersOwnersAndTheSharesTemporaryFolder)
{
    if (IsSkipped())
        return;
    WebmanFileShare fs;
    const std::string made = root_.Path("/volume1/public/by-alice");
    {
        const arx::privilege::IdentitySnapshot before;
        ASSERT_TRUE(VORNPrivilege::PrivilegeUtil::SetEUGID("alice", true));
        EXPECT_EQ(mkdir(made.c_str(), 0755), 0);
        EXPECT_EQ(mkdir(root_.Path("/volume1/photos/by-alice").c_str(), 0755), -1) << "read-only for her";
        ASSERT_TRUE(before.Restore());
    }
    struct stat st;
    ASSERT_EQ(stat(made.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kAlice.uid);
    EXPECT_EQ(fs.WfmLibChown2Admin(made.c_str(), "admin"), 0);
    ASSERT_EQ(stat(made.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, arx_testing::kAdmin.uid);
    EXPECT_EQ(fs.WfmLibChown2Admin(made.c_str(), "nobody-here"), -1);

    char tmp[4096] = "";
    ASSERT_TRUE(fs.WfmLibGetShareEaDirTmpPath((made + "/x").c_str(), tmp, sizeof tmp));
    EXPECT_EQ(std::string(tmp), root_.Path("/volume1/public/@eaDir/@tmp"));
    ASSERT_EQ(lstat(tmp, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 01777u);
    EXPECT_EQ(st.st_uid, 0u);
    EXPECT_FALSE(fs.WfmLibGetShareEaDirTmpPath(root_.Path("/elsewhere").c_str(), tmp, sizeof tmp));
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_BAD_PATH);

    EXPECT_TRUE(fs.CheckDirListPrivilege(root_.Path("/volume1/photos").c_str()));
    char cwd[4096];
    EXPECT_EQ(std::string(getcwd(cwd, sizeof cwd)), root_.Path("/volume1/photos")) << "it stays there";
    chdir("/");
    EXPECT_FALSE(fs.CheckDirListPrivilege(root_.Path("/volume1/none").c_str()));
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_NOT_FOUND);
}

}  // namespace
