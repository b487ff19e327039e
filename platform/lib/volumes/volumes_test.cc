// Which volume a path is on, the volume's shared system folder, and
// directories made with their parents.  (Choosing a volume with room is
// tested through the library, webman/webman_upload_test.cc.)

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/fs.h>
#include <vorn/volume.h>

#include "testing/temp_root.h"

namespace {

TEST(VolumePathTest, KindsAndSharedFolders)
{
    arx_testing::TempRoot root;
    struct Row { std::string path; int kind; std::string volume; const char* bin; };
    const Row rows[] = {
        {root.Path("/volume1/share/a.txt"), VORN_VOLUME_KIND_DATA, root.Path("/volume1"), nullptr},
        {root.Path("/volume12"), VORN_VOLUME_KIND_DATA, root.Path("/volume12"), "/volume12/@sharebin"},
        {root.Path("/volume1/"), VORN_VOLUME_KIND_DATA, root.Path("/volume1"), "/volume1/@sharebin"},
        {root.Path("/volumeUSB2/usbshare"), VORN_VOLUME_KIND_USB, root.Path("/volumeUSB2"), nullptr},
        {root.Path("/volumeSATA1"), VORN_VOLUME_KIND_SATA, root.Path("/volumeSATA1"), "/volumeSATA1/@sharebin"},
        {root.Path("/volume"), VORN_VOLUME_KIND_NONE, "", nullptr},
        {root.Path("/volume1x"), VORN_VOLUME_KIND_NONE, "", nullptr},
        {root.Path("/data/volume1"), VORN_VOLUME_KIND_NONE, "", nullptr},
        {"/volume1", VORN_VOLUME_KIND_NONE, "", nullptr},  // outside the root
        {root.dir() + "x/volume1", VORN_VOLUME_KIND_NONE, "", nullptr},
        {"volume1", -1, "", nullptr},
    };
    for (const Row& row : rows) {
        char volume[4096] = "?";
        EXPECT_EQ(VolumePathParse(row.path.c_str(), volume, sizeof volume), row.kind) << row.path;
        if (row.kind >= 0) {
            EXPECT_EQ(volume, row.volume) << row.path;
        }
        char bin[4096] = "";
        EXPECT_EQ(VORNShareBinPathGet(row.path.c_str(), bin, sizeof bin) > 0, row.bin != nullptr) << row.path;
        EXPECT_EQ(bin, row.bin != nullptr ? root.Path(row.bin) : "") << row.path;
    }
    char small[8];
    EXPECT_EQ(VORNShareBinPathGet(root.Path("/volume1").c_str(), small, sizeof small), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BUFFER_TOO_SMALL);
}

TEST(MkdirTest, MakesParentsAndGivesTheLastItsMode)
{
    arx_testing::TempRoot root;
    const mode_t mask = umask(077);
    EXPECT_EQ(VORNFSMkdirP(root.Path("/a/b/c").c_str(), 0, 1, -1, -1, 01733), 0);
    umask(mask);
    struct stat st;
    ASSERT_EQ(stat(root.Path("/a/b").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0755u) << "parents";
    ASSERT_EQ(stat(root.Path("/a/b/c").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 01733u) << "exactly, whatever the umask";
    chmod(root.Path("/a/b/c").c_str(), 0700);
    EXPECT_EQ(VORNFSMkdirP(root.Path("/a/b/c/").c_str(), 0, 1, -1, -1, 0777), 0);
    ASSERT_EQ(stat(root.Path("/a/b/c").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u) << "an existing directory is left as it is";

    EXPECT_EQ(VORNFSMkdirP(root.Path("/x/y").c_str(), 0, 0, -1, -1, 0755), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND) << "no parents made unless asked";
    root.WriteFile("/file", "");
    EXPECT_EQ(VORNFSMkdirP(root.Path("/file/d").c_str(), 0, 1, -1, -1, 0755), -1);
    EXPECT_EQ(VORNFSMkdirP(root.Path("/file").c_str(), 0, 1, -1, -1, 0755), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_WRITE_FAILED);
    if (geteuid() == 0) {
        EXPECT_EQ(VORNFSMkdirP(root.Path("/owned").c_str(), 0, 0, 65534, 65534, 0750), 0);
        ASSERT_EQ(stat(root.Path("/owned").c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, 65534u);
        EXPECT_EQ(st.st_gid, 65534u);
    }
}

}  // namespace
