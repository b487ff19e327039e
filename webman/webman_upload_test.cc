// Uploads in the request context: the volume an upload goes to, LoadIn's
// answer when there is none, and the records of sliced uploads against
// paths and links a client or a local user could bring.
//
// Volumes are directories of the test root; this binary defines statvfs
// itself, so that a volume can be full or mounted read-only.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman.h>
#include <vorn/err.h>

#include "testing/as_root.h"
#include "testing/interpose.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

struct FakeVolume {
    unsigned long long avail;
    bool readOnly;
};
std::map<std::string, FakeVolume> g_volumes;  // by directory; others are real

}  // namespace

extern "C" int statvfs(const char* path, struct statvfs* info)
{
    const int result = ARX_NEXT(statvfs)(path, info);
    const auto fake = g_volumes.find(path);
    if (result == 0 && fake != g_volumes.end()) {
        info->f_frsize = 4096;
        info->f_bavail = fake->second.avail / 4096;
        info->f_flag = fake->second.readOnly ? ST_RDONLY : 0;
    }
    return result;
}

namespace {

using arx_testing::WithoutLineNumbers;

constexpr unsigned long long kRoom = 1ULL << 30;

TEST(UploadFolderTest, FindsAVolumeWithRoomOrSaysWhyNot)
{
    struct Row {
        const char* description;
        std::string volumes;                      // volumes.conf; "DIR" puts a directory in its place
        std::map<std::string, FakeVolume> fakes;  // by the volume's path
        const char* folder;                       // under the root, or nullptr
        int error;
        int loadIn;
        std::vector<std::string> log;
    };
    const std::string normal1 = "[volume1]\npath=/volume1\nstate=normal\n";
    const std::string normal2 = "[volume2]\npath=/volume2\n";
    const std::vector<std::string> noPath = {"webman(#)no path for upload"};
    const Row rows[] = {
        {"the first volume with room", normal1 + normal2, {{"/volume1", {100, false}}, {"/volume2", {kRoom, false}}},
         "/volume2/@sharebin/@tmp", VLIB_ERR_NONE, 0, {}},
        {"every volume full", normal1 + normal2, {{"/volume1", {100, false}}, {"/volume2", {1023, false}}}, nullptr,
         VLIB_ERR_NO_SPACE, -12, noPath},
        {"one full, one read-only: read-only says more", normal1 + "[volume2]\npath=/volume2\nstate=readonly\n",
         {{"/volume1", {0, false}}, {"/volume2", {kRoom, false}}}, nullptr, VLIB_ERR_VOLUME_READ_ONLY, -2, noPath},
        {"crashed", "[volume1]\npath=/volume1\nstate=crashed\n", {{"/volume1", {kRoom, false}}}, nullptr,
         VLIB_ERR_VOLUME_READ_ONLY, -2, noPath},
        {"mounted read-only", normal1, {{"/volume1", {kRoom, true}}}, nullptr, VLIB_ERR_VOLUME_READ_ONLY, -2, noPath},
        {"the volume's directory is missing", "[volume1]\npath=/volume9\n", {}, nullptr, VLIB_ERR_NO_VOLUME, -13,
         noPath},
        {"no volumes at all", "", {}, nullptr, VLIB_ERR_NO_VOLUME, -13, noPath},
        {"a volume that is no volume's path", "[data]\npath=/data\n", {{"/data", {kRoom, false}}}, nullptr,
         VLIB_ERR_NO_VOLUME, -13, {"webman:# Fail to get share bin path from [ROOT/data]", noPath[0]}},
        {"volumes.conf cannot be read", "DIR", {}, nullptr, VLIB_ERR_OPEN_FAILED, -9,
         {"volumes:# cannot read /usr/vorn/etc/volumes.conf: Is a directory",
          "webman:# VolumeAvailGet() failed!! vornerr=[0x0900]", noPath[0]}},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        for (const char* dir : {"/volume1", "/volume2", "/data"})
            root.MakeDirs(dir);
        if (row.volumes == "DIR")
            root.MakeDirs("/usr/vorn/etc/volumes.conf");
        else if (!row.volumes.empty())
            root.WriteFile("/usr/vorn/etc/volumes.conf", row.volumes);
        g_volumes.clear();
        for (const auto& [path, fake] : row.fakes)
            g_volumes[root.Path(path)] = fake;
        setenv("REQUEST_METHOD", "POST", 1);
        setenv("CONTENT_TYPE", "multipart/form-data; boundary=b", 1);
        WebMan web(false);
        arx_testing::LogCapture log;
        VLIBCErrSet(VLIB_ERR_NONE);
        char folder[4096] = "";
        EXPECT_EQ(web.FindUploadTmpPath(folder, sizeof folder, 1024), row.folder != nullptr) << row.description;
        EXPECT_EQ(folder, row.folder != nullptr ? root.Path(row.folder) : "") << row.description;
        EXPECT_EQ(VLIBCErrGet(), row.error) << row.description;
        if (row.folder == nullptr) {
            log.Clear();
            EXPECT_EQ(web.LoadIn(nullptr), row.loadIn) << row.description;
            std::vector<std::string> lines = WithoutLineNumbers(log.texts());
            for (std::string& line : lines) {
                if (line.find(root.dir()) != std::string::npos)
                    line.replace(line.find(root.dir()), root.dir().size(), "ROOT");
            }
            EXPECT_EQ(lines, row.log) << row.description;
        }
    }
    g_volumes.clear();
}

TEST(UploadFolderTest, BufferEdges)
{
    arx_testing::TempRoot root;
    root.MakeDirs("/volume1");
    root.WriteFile("/usr/vorn/etc/volumes.conf", "[volume1]\npath=/volume1\n");
    WebMan web(false);
    VLIBCErrSet(VLIB_ERR_NONE);
    char folder[8] = "";
    EXPECT_FALSE(web.FindUploadTmpPath(folder, 0, 1024));
    EXPECT_FALSE(web.FindUploadTmpPath(nullptr, 8, 1024));
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NONE) << "no platform error for a bad buffer";
    EXPECT_TRUE(web.FindUploadTmpPath(folder, sizeof folder, 1024));
    EXPECT_EQ(std::string(folder), root.Path("/volume1/@sharebin/@tmp").substr(0, 7)) << "cut to the buffer";
}

// The records of sliced uploads, as root (they are root's).
class SliceRecordTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        root_.MakeDirs("/volume1/@sharebin");
        root_.MakeDirs("/volume1/@sharebin/@tmp", 01733);
        chmod(root_.Path("/volume1/@sharebin/@tmp").c_str(), 01733);
        root_.WriteFile("/usr/vorn/etc/volumes.conf", "[volume1]\npath=/volume1\n");
        upload_ = root_.Path("/volume1/@sharebin/@tmp/upload_0123456789abcdef0123456789abcdef");
        root_.WriteFile("/volume1/@sharebin/@tmp/upload_0123456789abcdef0123456789abcdef", "slice 1", 0600);
        records_ = root_.Path("/tmp/slice_file_id");
        setenv("REQUEST_METHOD", "POST", 1);
        setenv("CONTENT_TYPE", "multipart/form-data; boundary=b", 1);
    }
    void TearDown() override
    {
        unsetenv("HTTP_X_TMP_FILE");
        unsetenv("VORN_SLICE_TMP_FILE");
        AsRootTest::TearDown();
    }
    // A record written by hand, as a local user or a bug could leave one.
    void Plant(const std::string& id, const std::string& value, mode_t mode = 0600, uid_t owner = 0)
    {
        const std::string path = records_ + "/" + id;
        root_.WriteFile("/tmp/slice_file_id/" + id, id + "=\"" + value + "\"\n", mode);
        chmod(path.c_str(), mode);
        chown(path.c_str(), owner, 0);
    }
    const char* Get(const char* id)
    {
        unsetenv("VORN_SLICE_TMP_FILE");
        setenv("HTTP_X_TMP_FILE", id, 1);
        WebMan web(false);
        const char* found = web.GetSliceUploadTmpFile();
        return found != nullptr ? (result_ = found).c_str() : nullptr;
    }

    arx_testing::TempRoot root_;
    std::string upload_;
    std::string records_;
    std::string result_;
};

TEST_F(SliceRecordTest, KeepsTheUploadFileByItsId)
{
    WebMan web(false);
    EXPECT_TRUE(web.SaveSliceUploadTmpFile("Zx-1.a", upload_.c_str()));
    struct stat st;
    ASSERT_EQ(lstat(records_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u) << "root's alone, not 0777";
    ASSERT_EQ(lstat((records_ + "/Zx-1.a").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    ASSERT_NE(Get("Zx-1.a"), nullptr);
    EXPECT_EQ(std::string(Get("Zx-1.a")), upload_);
    EXPECT_EQ(std::string(getenv("VORN_SLICE_TMP_FILE")), upload_);

    setenv("HTTP_X_TMP_FILE", "Zx-1.a", 1);
    EXPECT_TRUE(web.DeleteSliceUploadTmpFile());
    EXPECT_NE(access(upload_.c_str(), F_OK), -1) << "the upload file stays";
    EXPECT_EQ(access((records_ + "/Zx-1.a").c_str(), F_OK), -1);
    EXPECT_EQ(access((records_ + "/Zx-1.a.lock").c_str(), F_OK), -1);
    EXPECT_EQ(Get("Zx-1.a"), nullptr);
    for (const char* id : {"", ".", "..", "a/b", "../x", "x.lock", "a=b"})
        EXPECT_FALSE(web.SaveSliceUploadTmpFile(id, upload_.c_str())) << id;
}

TEST_F(SliceRecordTest, ForgetsUploadsAbandonedADayAgo)
{
    const auto age = [](const std::string& path, int hours) {
        const timespec times[2] = {{time(nullptr) - hours * 3600, 0}, {time(nullptr) - hours * 3600, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
    };
    const std::string gone = root_.Path("/volume1/@sharebin/@tmp/upload_" + std::string(32, 'e'));
    const std::string idle = root_.Path("/volume1/@sharebin/@tmp/upload_" + std::string(32, 'f'));
    root_.WriteFile("/volume1/@sharebin/@tmp/upload_" + std::string(32, 'f'), "", 0600);
    age(idle, 30);
    struct Row { const char* id; std::string file; int recordHoursOld; uid_t owner; bool stays; };
    const Row rows[] = {
        {"file-gone", gone, 25, 0, false},
        {"file-idle", idle, 25, 0, false},
        {"file-added-to", upload_, 25, 0, true},
        {"written-today", gone, 23, 0, true},
        {"nobodys", gone, 25, nobodyUid(), true},
    };
    WebMan web(false);
    ASSERT_TRUE(web.SaveSliceUploadTmpFile("first", upload_.c_str()));
    for (const Row& row : rows) {
        Plant(row.id, row.file, 0600, row.owner);
        root_.WriteFile(std::string("/tmp/slice_file_id/") + row.id + ".lock", "", 0600);
        age(records_ + "/" + row.id, row.recordHoursOld);
    }
    symlink((records_ + "/file-gone").c_str(), (records_ + "/link").c_str());
    age(records_ + "/link", 25);
    ASSERT_TRUE(web.SaveSliceUploadTmpFile("next", upload_.c_str()));
    for (const Row& row : rows) {
        EXPECT_EQ(access((records_ + "/" + row.id).c_str(), F_OK) == 0, row.stays) << row.id;
        EXPECT_EQ(access((records_ + "/" + row.id + ".lock").c_str(), F_OK) == 0, row.stays) << row.id;
    }
    struct stat st;
    EXPECT_EQ(lstat((records_ + "/link").c_str(), &st), 0) << "a link is no record";
    EXPECT_EQ(access(idle.c_str(), F_OK), 0) << "collecting files are the platform's to remove";
}

TEST_F(SliceRecordTest, HonoursOnlyRootsRecordsOfOwnUploadFiles)
{
    WebMan web(false);
    ASSERT_TRUE(web.SaveSliceUploadTmpFile("good", upload_.c_str()));
    root_.WriteFile("/tmp/x", "x=\"" + upload_ + "\"\n", 0600);
    symlink((records_ + "/good").c_str(), (records_ + "/link").c_str());
    Plant("a=b", upload_);
    Plant("nobodys", upload_, 0600, nobodyUid());
    Plant("open", upload_, 0644);
    Plant("passwd", root_.Path("/etc/passwd"));
    root_.WriteFile("/etc/passwd", "root:x:0:0::/root:/bin/sh\n");
    Plant("elsewhere", root_.Path("/volume1/upload_0123456789abcdef0123456789abcdef"));
    root_.WriteFile("/volume1/upload_0123456789abcdef0123456789abcdef", "", 0600);
    const std::string others = root_.Path("/volume1/@sharebin/@tmp/upload_ffffffffffffffffffffffffffffffff");
    root_.WriteFile("/volume1/@sharebin/@tmp/upload_ffffffffffffffffffffffffffffffff", "", 0600);
    chown(others.c_str(), nobodyUid(), nobodyGid());
    Plant("others", others);

    struct Row { const char* id; bool deletes; const char* why; };
    const Row rows[] = {
        {"../x", false, "a path out of the record directory"},
        {"good/../good", false, "not the record's own path"},
        {"link", false, "a symbolic link to a good record"},
        {"a=b", true, "'=' is refused by the lookup alone"},
        {"nobodys", true, "a record another user owns"},
        {"open", true, "a record others may read"},
        {"passwd", true, "a record naming a file outside the upload folders"},
        {"elsewhere", true, "an upload file's name outside @tmp"},
        {"others", true, "another user's upload file"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Get(row.id), nullptr) << row.why;
        setenv("HTTP_X_TMP_FILE", row.id, 1);
        EXPECT_EQ(web.DeleteSliceUploadTmpFile(), row.deletes) << row.why;
    }
    EXPECT_EQ(root_.ReadFile("/tmp/x"), "x=\"" + upload_ + "\"\n") << "nothing outside was removed";
    EXPECT_NE(Get("good"), nullptr) << "the link's target stays";

    chmod(records_.c_str(), 0777);  // as the requirements' own mode would leave it
    EXPECT_EQ(Get("good"), nullptr) << "a directory others can write";
    EXPECT_FALSE(web.SaveSliceUploadTmpFile("new", upload_.c_str()));
}

}  // namespace
