// Paths and names: request texts, paths that exist, and the file-name
// rules of the strict (vfat) and relaxed file systems.

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <arx/webman_file_share.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/mount.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::WithoutLineNumbers;

const int kOk = 0;

TEST(RequestPathTest, RefusedBeforeAnyFileIsTouched)
{
    struct Row { std::string path; int code; const char* why; };
    const Row rows[] = {
        {"/", kOk, "the list of shares"},
        {"/public", kOk, ""},
        {"/public/", kOk, "one trailing slash"},
        {"/public/a b/\xe6\x9d\xb1\xe4\xba\xac/\xd0\x9c\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0", kOk, "any script"},
        {"/public/.hidden/..x/x..", kOk, "dots inside names"},
        {"public/a", VLIB_ERR_BAD_PARAMETERS, "relative"},
        {"", VLIB_ERR_BAD_PARAMETERS, "empty"},
        {"/public/../secret", VLIB_ERR_SYSTEM, ".."},
        {"/public/..", VLIB_ERR_SYSTEM, ".. last"},
        {"/..", VLIB_ERR_SYSTEM, ".. first"},
        {"/public/./a", VLIB_ERR_SYSTEM, "."},
        {"//public", VLIB_ERR_SYSTEM, "doubled slash first"},
        {"/public//a", VLIB_ERR_SYSTEM, "doubled slash"},
        {"/public//", VLIB_ERR_SYSTEM, "doubled slash last"},
        {"/public/" + std::string(255, 'n'), kOk, "a name of 255 bytes"},
        {"/public/" + std::string(256, 'n'), VLIB_ERR_BAD_PARAMETERS, "a name of 256 bytes"},
        {"/" + std::string(4094, 'p').replace(200, 1, "/").replace(400, 1, "/").replace(600, 1, "/")
                 .replace(800, 1, "/").replace(1000, 1, "/").replace(1200, 1, "/").replace(1400, 1, "/")
                 .replace(1600, 1, "/").replace(1800, 1, "/").replace(2000, 1, "/").replace(2200, 1, "/")
                 .replace(2400, 1, "/").replace(2600, 1, "/").replace(2800, 1, "/").replace(3000, 1, "/")
                 .replace(3200, 1, "/").replace(3400, 1, "/").replace(3600, 1, "/").replace(3800, 1, "/")
                 .replace(4000, 1, "/"),
         kOk, "4095 bytes"},
        {"/" + std::string(4095, 'p'), VLIB_ERR_BAD_PARAMETERS, "4096 bytes"},
        {"/public/a\nb", VLIB_ERR_BAD_PARAMETERS, "a line feed"},
        {"/public/a\x7f", VLIB_ERR_BAD_PARAMETERS, "DEL"},
        {"/public/\xff", VLIB_ERR_BAD_PARAMETERS, "not UTF-8"},
        {"/public/\xc0\xaf", VLIB_ERR_BAD_PARAMETERS, "an overlong '/'"},
        {"/public/\xe0\x80\xae\xe0\x80\xae", VLIB_ERR_BAD_PARAMETERS, "overlong dots"},
        {"/public/\xed\xa0\x80", VLIB_ERR_BAD_PARAMETERS, "a surrogate"},
        {"/public/\xf4\x90\x80\x80", VLIB_ERR_BAD_PARAMETERS, "above U+10FFFF"},
        {"/public/\xe6\x9d", VLIB_ERR_BAD_PARAMETERS, "a sequence cut short"},
    };
    WebmanFileShare fs;
    for (const Row& row : rows) {
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(fs.WfmCheckRequestPath(row.path.c_str()), row.code == kOk ? 0 : -1) << row.why;
        EXPECT_EQ(VLIBCErrGet(), row.code) << row.why;
    }
    EXPECT_EQ(fs.WfmCheckRequestPath(nullptr), -1);
}

TEST(NewNameTest, LengthsAndUtf8)
{
    struct Row { std::string name; bool ok; };
    const Row rows[] = {
        {"a", true}, {std::string(255, 'a'), true}, {std::string(256, 'a'), false},
        {"\xe6\x9d\xb1" + std::string(252, 'x'), true},  // 255 bytes
        {"\xe6\x9d\xb1" + std::string(253, 'x'), false},                                           // 256 bytes
        {"", false}, {".", false}, {"..", false}, {"...", true}, {"a/b", false}, {"a\tb", false},
        {"caf\xc3\xa9", true}, {"caf\xc3", false}, {"\xef\xbb\xbf" "bom", true},
    };
    WebmanFileShare fs;
    for (const Row& row : rows)
        EXPECT_EQ(fs.WfmCheckNewName(row.name.c_str()), row.ok ? 0 : -1) << row.name;
    EXPECT_EQ(fs.WfmCheckNewName(nullptr), -1);
}

class PathTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_.MakeDirs("/volume1/public/a/b");
        root_.WriteFile("/volume1/public/a/file", "x");
        symlink(root_.Path("/volume1/public/a").c_str(), root_.Path("/volume1/public/link").c_str());
        mkfifo(root_.Path("/volume1/public/fifo").c_str(), 0600);
    }
    std::string At(const std::string& path) { return root_.Path(path); }
    arx_testing::TempRoot root_;
    WebmanFileShare fs_;
};

TEST_F(PathTest, EveryElementExistsAndIsADirectoryOrAFile)
{
    struct Row { std::string path; int code; };
    const Row rows[] = {
        {At("/volume1/public/a/b"), kOk},
        {At("/volume1/public/a/file"), kOk},
        {At("/volume1/public/a/../a/b"), VLIB_ERR_SYSTEM},  // every element exists, yet ".."
        {At("/volume1/public/a/./b"), VLIB_ERR_SYSTEM},
        {At("/volume1/public/link"), VLIB_ERR_SYSTEM},      // a link, last
        {At("/volume1/public/link/b"), VLIB_ERR_SYSTEM},    // a link on the way
        {At("/volume1/public/fifo"), VLIB_ERR_SYSTEM},
        {At("/volume1/public/missing"), VLIB_ERR_PATH_NOT_FOUND},
        {At("/volume1/public/a/file/x"), VLIB_ERR_SYSTEM},  // ENOTDIR
        {"a/b", VLIB_ERR_BAD_PARAMETERS},
    };
    for (const Row& row : rows) {
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(fs_.WfmCheckPath(row.path.c_str()), row.code == kOk ? 0 : -1) << row.path;
        EXPECT_EQ(VLIBCErrGet(), row.code) << row.path;
    }
    arx_testing::LogCapture log;
    fs_.WfmCheckPath(At("/volume1/public/a/../a").c_str());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"file_share(#):WfmCheckPath Path contains '.' or '..', path = " +
                                       At("/volume1/public/a/../a")});
}

TEST_F(PathTest, TokensOfPaths)
{
    struct Row { const char* path; BOOL first; const char* token; };
    const Row rows[] = {{"/public/dir/file", true, "public"}, {"/public/dir/file", false, "file"},
                        {"public/dir/", false, "dir"},        {"/", true, nullptr},
                        {"public", true, nullptr},            {nullptr, true, nullptr}};
    for (const Row& row : rows) {
        char* token = fs_.WfmLibGetTokOfPath(row.path, row.first);
        EXPECT_STREQ(token, row.token) << (row.path ? row.path : "NULL");
        free(token);
    }
    char resolved[4096];
    ASSERT_TRUE(fs_.WfmLibRealFullPathGet(At("/volume1/public/link/b").c_str(), resolved, sizeof resolved));
    EXPECT_EQ(std::string(resolved), At("/volume1/public/a/b"));
    EXPECT_FALSE(fs_.WfmLibRealFullPathGet(At("/none").c_str(), resolved, sizeof resolved));
}

// The strict rule on the USB disk (vfat in the root's mount table), the
// relaxed one on the volume.
TEST_F(PathTest, FileNamesOfBothKindsOfFileSystem)
{
    root_.WriteFile(VORN_MOUNT_TABLE, "/dev/sdq1 /volumeUSB1/usbshare vfat rw 0 0\n");
    root_.MakeDirs("/volumeUSB1/usbshare/dir");
    std::string strict = At("/volumeUSB1/usbshare/dir");
    std::string relaxed = At("/volume1/public/a");
    struct Row { const char* name; int onStrict; int onRelaxed; };
    const Row rows[] = {
        {"report.txt", kOk, kOk},
        {"\xe6\x9d\xb1\xe4\xba\xac", kOk, kOk},
        {"a:b", VLIB_ERR_NAME_BAD_CHAR, VLIB_ERR_NAME_RESERVED},
        {"a*b", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a?b", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a\"b", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a<b>", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a|b", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a\\b", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a\rb", VLIB_ERR_NAME_BAD_CHAR, kOk},
        {"a/b", VLIB_ERR_NAME_BAD_CHAR, VLIB_ERR_NAME_RESERVED},
        {"._x", VLIB_ERR_NAME_RESERVED, VLIB_ERR_NAME_RESERVED},
        {"@eaDir", VLIB_ERR_NAME_RESERVED, VLIB_ERR_NAME_RESERVED},
        {".", VLIB_ERR_NAME_RESERVED, VLIB_ERR_NAME_RESERVED},
        {"..", VLIB_ERR_NAME_RESERVED, VLIB_ERR_NAME_RESERVED},
        {"", VLIB_ERR_BAD_PARAMETERS, VLIB_ERR_BAD_PARAMETERS},
    };
    for (const Row& row : rows) {
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(fs_.WfmCheckFileName(&strict[0], row.name), row.onStrict == kOk ? 0 : -1) << row.name;
        EXPECT_EQ(VLIBCErrGet(), row.onStrict) << row.name;
        VLIBCErrSetEx(0, "", 0);
        EXPECT_EQ(fs_.WfmCheckFileName(&relaxed[0], row.name), row.onRelaxed == kOk ? 0 : -1) << row.name;
        EXPECT_EQ(VLIBCErrGet(), row.onRelaxed) << row.name;
    }
    EXPECT_EQ(fs_.WfmCheckFileName(&relaxed[0], std::string(1000, 'x').c_str()), 0) << "no length limit here";
    std::string missing = At("/none");
    arx_testing::LogCapture log;
    EXPECT_EQ(fs_.WfmCheckFileName(&missing[0], "x"), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PATH_NOT_FOUND);
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"file_share:#(WfmCheckFileName) failed to statfs " + missing +
                                       ", reason=No such file or directory"});
    EXPECT_EQ(fs_.WfmCheckFileName(nullptr, "x"), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETERS);
    VLIBCErrSetEx(0, "", 0);
    EXPECT_TRUE(fs_.WfmCheckReservedName("")) << "lenient, as callers expect";
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETERS);
}

TEST_F(PathTest, ModesUmaskAndSupportedFileSystems)
{
    EXPECT_EQ(fs_.GetPrivilege(0644), 644u);
    EXPECT_EQ(fs_.GetPrivilege(040755), 755u);
    EXPECT_EQ(fs_.GetPrivilege(01777), 777u);

    const mode_t before = umask(022);
    EXPECT_EQ(fs_.WfmLibUmask(), 022);
    EXPECT_EQ(fs_.WfmLibGetUmask(), 0u);
    fs_.WfmLibRestoreUmask(022);
    EXPECT_EQ(fs_.WfmLibGetUmask(), 022u);
    root_.WriteFile(VORN_INFO_FILE, "webfm_use_unix_perm=\"yes\"\n");
    EXPECT_EQ(fs_.WfmLibUmask(), -1);
    fs_.WfmLibRestoreUmask(static_cast<unsigned int>(-1));
    EXPECT_EQ(fs_.WfmLibGetUmask(), 022u) << "left alone";
    umask(before);

    root_.WriteFile(VORN_MOUNT_TABLE, "/dev/sdq1 /volumeUSB1 ntfs3 rw 0 0\n/dev/sdr1 /volumeUSB2 exfat rw 0 0\n");
    root_.MakeDirs("/volumeUSB1/x");
    root_.MakeDirs("/volumeUSB2/x");
    EXPECT_TRUE(fs_.WfmLibFileSystemSupported(At("/volume1/public").c_str())) << "not a USB volume";
    EXPECT_FALSE(fs_.WfmLibFileSystemSupported(At("/volumeUSB1/x").c_str()));
    EXPECT_TRUE(fs_.WfmLibFileSystemSupported(At("/volumeUSB2/x").c_str()));
    EXPECT_FALSE(fs_.WfmLibFileSystemSupported(At("/volumeUSB3/x").c_str())) << "cannot be examined";
    EXPECT_TRUE(fs_.WfmLibFileSystemSupported("relative"));
}

}  // namespace
