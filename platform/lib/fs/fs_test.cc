// File-system types and mount points from a scratch root's own mount
// table, permissions as the kernel grants them, and the hidden folders.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/acl.h>
#include <vorn/err.h>
#include <vorn/mount.h>

#include "lib/fs/mount_table.h"
#include "testing/as_root.h"
#include "testing/temp_root.h"

namespace {

// A scratch root whose mount table tells of a USB disk (vfat), an image, a
// remote share that is there and one whose server is gone.
class MountTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_.WriteFile(VORN_MOUNT_TABLE,
                        "/dev/sda1 / ext4 rw 0 0\n"
                        "/dev/md2 /volume1 ext3 rw 0 0\n"
                        "/dev/sdq1 /volumeUSB1/usbshare vfat rw 0 0\n"
                        "/dev/loop0 /volume1/public/disc iso9660 ro 0 0\n"
                        "server:/export /volume1/public/remote nfs4 rw 0 0\n"
                        "//gone/share /volume1/public/gone\\040away cifs rw 0 0\n"
                        "tmpfs /volume1/public/stacked tmpfs rw 0 0\n"
                        "/dev/sdb1 /volume1/public/stacked/ xfs rw 0 0\n");
        for (const char* dir : {"/volumeUSB1/usbshare/x", "/volume1/public/disc", "/volume1/public/remote",
                                "/volume1/public/plain", "/volume1/public/stacked"})
            root_.MakeDirs(dir);
    }
    std::string At(const char* path) { return root_.Path(path); }
    arx_testing::TempRoot root_;
};

TEST_F(MountTest, TypesComeFromTheInnermostMountOfTheRootsTable)
{
    struct Row { const char* path; int type; int listed; int remote; int image; int mountPoint; };
    const Row rows[] = {
        {"/volumeUSB1/usbshare/x", VORN_FS_VFAT, -1, 0, 0, 0},
        {"/volumeUSB1/usbshare", VORN_FS_VFAT, VORN_FS_VFAT, 0, 0, 1},
        {"/volume1/public/plain", VORN_FS_EXT3, -1, 0, 0, 0},
        {"/volume1/public/disc", VORN_FS_ISO9660, VORN_FS_ISO9660, 0, 1, 1},
        {"/volume1/public/remote", VORN_FS_NFS, VORN_FS_NFS, 1, 0, 1},
        {"/volume1/public/stacked", VORN_FS_XFS, VORN_FS_XFS, 0, 0, 1},  // the later mount is on top
        {"/volume1", VORN_FS_EXT3, VORN_FS_EXT3, 0, 0, 1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(VORNGetFSType(At(row.path).c_str(), 0), row.type) << row.path;
        EXPECT_EQ(VORNFSIsInMountTable(At(row.path).c_str()), row.listed) << row.path;
        EXPECT_EQ(VORNFSIsRemoteFS(row.type), row.remote) << row.path;
        EXPECT_EQ(VORNFSIsImageFS(row.type), row.image) << row.path;
        EXPECT_EQ(VORNFSDirIsMntPoint(At(row.path).c_str()), row.mountPoint) << row.path;
    }
    EXPECT_EQ(VORNFSIsInMountTable(At("/volume1/public/gone away").c_str()), VORN_FS_CIFS) << "\\040 is a blank";
    EXPECT_EQ(VORNFSIsInMountTable((At("/volume1/public/remote") + "/").c_str()), VORN_FS_NFS);

    EXPECT_EQ(VORNGetFSType(At("/volume1/public/gone away").c_str(), 0), -1) << "the server is gone";
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PATH_NOT_FOUND);
    EXPECT_EQ(VORNFSDirIsMntPoint(At("/missing").c_str()), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PATH_NOT_FOUND);
    EXPECT_EQ(VORNGetFSType(nullptr, 0), -1);
    EXPECT_EQ(VORNFSIsInMountTable("relative"), -1);
}

TEST(MountTableTest, NamesAndTheRealTable)
{
    struct Row { const char* name; int code; };
    const Row rows[] = {{"vfat", VORN_FS_VFAT}, {"ext2", VORN_FS_EXT2}, {"nfs4", VORN_FS_NFS},
                        {"smb3", VORN_FS_CIFS}, {"fuse.sshfs", VORN_FS_FUSE}, {"fuseblk", VORN_FS_NTFS},
                        {"udf", VORN_FS_UDF},   {"f2fs", VORN_FS_F2FS}, {"proc", VORN_FS_OTHER}};
    for (const Row& row : rows)
        EXPECT_EQ(vorn::FsTypeCode(row.name), row.code) << row.name;
    const auto entries = vorn::ParseMountTable("a /x\\134y vfat rw\n\nbad\nb relative ext4 rw\nc / ext4 rw\n", "/r");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].point, "/r/x\\y");
    EXPECT_EQ(entries[1].point, "/r");

    // Without a table of the root's own, the process's: "/" is a mount point.
    EXPECT_EQ(VORNFSDirIsMntPoint("/"), 1);
    EXPECT_EQ(VORNFSDirIsMntPoint("/proc"), 1);
    EXPECT_EQ(VORNFSIsInMountTable("/proc"), VORN_FS_OTHER);
    EXPECT_GE(VORNGetFSType("/", 0), 0);
}

TEST(HiddenNameTest, ExtendedAttributeFolders)
{
    struct Row { const char* name; int dir; int file; };
    const Row rows[] = {{"@eaDir", 1, 1}, {"@tmp", 0, 1}, {"@sharebin", 0, 1},
                        {"@eadir", 0, 0}, {"eaDir", 0, 0}, {nullptr, 0, 0}};
    for (const Row& row : rows) {
        EXPECT_EQ(VORNEAIsHiddenDir(row.name), row.dir) << (row.name ? row.name : "NULL");
        EXPECT_EQ(VORNEAIsHiddenFile(row.name), row.file) << (row.name ? row.name : "NULL");
    }
    arx_testing::TempRoot root;
    const std::string ea = root.Path("/@eaDir");
    EXPECT_EQ(VORNEAMKDir(ea.c_str()), 0);
    EXPECT_EQ(VORNEAMKDir(ea.c_str()), 0) << "an existing one is left";
    struct stat st;
    ASSERT_EQ(lstat(ea.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0755u);
    symlink("/tmp", root.Path("/link").c_str());
    EXPECT_EQ(VORNEAMKDir(root.Path("/link").c_str()), -1) << "never through a link";
    EXPECT_EQ(VORNEAMKDir(root.Path("/no/@eaDir").c_str()), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PATH_NOT_FOUND);
}

class AccessTest : public arx_testing::AsRootTest {};

// The kernel decides, for the identity the process has switched to.
TEST_F(AccessTest, PermissionsOfTheEffectiveIdentity)
{
    if (IsSkipped())
        return;
    arx_testing::TempRoot root;
    root.MakeDirs("/open/dir");
    root.WriteFile("/open/mine", "");
    root.WriteFile("/open/theirs", "", 0644);
    root.MakeDirs("/sticky");
    root.WriteFile("/sticky/theirs", "", 0666);
    root.MakeDirs("/closed/inside");
    chmod(root.Path("/open").c_str(), 0777);
    chmod(root.Path("/sticky").c_str(), 01777);
    chmod(root.Path("/closed").c_str(), 0700);
    chown(root.Path("/open/mine").c_str(), nobodyUid(), nobodyGid());
    chmod(root.Path("/open/mine").c_str(), 0600);

    ASSERT_EQ(setresgid(-1, nobodyGid(), -1), 0);
    ASSERT_EQ(setresuid(-1, nobodyUid(), -1), 0);
    struct Row { const char* path; int result; unsigned perm; int code; };
    const Row rows[] = {
        {"/open/mine", 0, VORN_ACL_READ | VORN_ACL_WRITE | VORN_ACL_DELETE, 0},
        {"/open/theirs", 0, VORN_ACL_READ | VORN_ACL_DELETE, 0},
        {"/open/dir", 0, VORN_ACL_READ | VORN_ACL_EXECUTE | VORN_ACL_DELETE, 0},
        {"/sticky/theirs", 0, VORN_ACL_READ | VORN_ACL_WRITE, 0},  // not hers to remove
        {"/closed/inside", -1, 0, VLIB_ERR_PERMISSION_DENIED},
        {"/open/missing", -1, 0, VLIB_ERR_PATH_NOT_FOUND},
    };
    unsigned results[6];
    int codes[6];
    int returned[6];
    for (size_t i = 0; i < 6; ++i) {
        results[i] = 0;
        returned[i] = VORNACLPermGet(root.Path(rows[i].path).c_str(), &results[i]);
        codes[i] = returned[i] == 0 ? 0 : VLIBCErrGet();
    }
    ASSERT_EQ(setresuid(-1, 0, -1), 0);
    ASSERT_EQ(setresgid(-1, 0, -1), 0);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(returned[i], rows[i].result) << rows[i].path;
        EXPECT_EQ(results[i], rows[i].perm) << rows[i].path;
        EXPECT_EQ(codes[i], rows[i].code) << rows[i].path;
    }
    unsigned perm = 0;
    EXPECT_EQ(VORNACLPermGet(root.Path("/closed/inside").c_str(), &perm), 0);
    EXPECT_EQ(perm, unsigned{VORN_ACL_READ | VORN_ACL_WRITE | VORN_ACL_EXECUTE | VORN_ACL_DELETE}) << "root";
}

}  // namespace
