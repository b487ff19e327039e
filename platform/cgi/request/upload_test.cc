// Reading an upload as a CGI process does: what is stored, what the record
// answers, and that a failed request leaves no file.  This binary defines
// write() itself, so that a volume can fill up.

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/upload.h>

#include "cgi/request/upload_files.h"
#include "testing/as_root.h"
#include "testing/cgi_record.h"
#include "testing/child_process.h"
#include "testing/interpose.h"
#include "testing/temp_root.h"

namespace {

// Bytes files on disk may still take; negative: no limit.
long long g_spaceLeft = -1;

}  // namespace

extern "C" ssize_t write(int fd, const void* data, size_t size)
{
    struct stat st;
    if (g_spaceLeft >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_nlink > 0) {
        if (static_cast<long long>(size) > g_spaceLeft) {
            errno = ENOSPC;
            return -1;
        }
        g_spaceLeft -= static_cast<long long>(size);
    }
    return ARX_NEXT(write)(fd, data, size);
}

namespace {

std::string Part(const std::string& name, const std::string& content, const char* fileName = nullptr)
{
    std::string part = "--XyZb\r\nContent-Disposition: form-data; name=\"" + name + "\"";
    if (fileName != nullptr)
        part += "; filename=\"" + std::string(fileName) + "\"";
    return part + "\r\n\r\n" + content + "\r\n";
}

const std::string kEnd = "--XyZb--\r\n";

std::vector<std::string> Listing(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* stream = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(stream)) {
            const std::string name = entry->d_name;
            if (name == "." || name == "..")
                continue;
            struct stat st;
            stat((dir + "/" + name).c_str(), &st);
            names.push_back(std::string(vorn::IsUploadFileName(name) ? "upload_*" : name) + " " +
                            std::to_string(st.st_mode & 0777) + " " + std::to_string(st.st_size));
        }
        closedir(stream);
    }
    return names;
}

TEST(UploadTest, StoresFilePartsAndFieldsOrLeavesNothing)
{
    const std::string fields129 = [] {
        std::string body;
        for (int i = 0; i < VORN_UPLOAD_MAX_FIELDS + 1; ++i)
            body += Part("f" + std::to_string(i), "v");
        return body;
    }();
    struct Row {
        const char* description;
        std::string body;
        std::string length;  // "" for the body's own
        long long space;
        std::string output;  // the result, RecvHup, then the parameters asked for
        std::vector<std::string> files;
    };
    const Row rows[] = {
        {"two files, fields, a name from a path, a file part without a file, a forged record name",
         Part("_upload_0_path", "/etc/shadow") + Part("a", "1") + Part("doc", "hello", "../../x.txt") +
             Part("none", "", "") + Part("doc", std::string(200000, 'z'), "C:\\y.bin") + Part("a", "2") + kEnd,
         "", -1,
         "2 0 a=1 doc=x.txt none=- _upload_count=2 _upload_0_name=x.txt _upload_0_field=doc _upload_0_size=5 "
         "_upload_1_name=y.bin _upload_1_size=200000 _upload_0_path=DIR",
         {"upload_* 384 200000", "upload_* 384 5"}},
        {"an empty file is stored", Part("e", "", "empty.txt") + kEnd, "", -1, "1 0 e=empty.txt _upload_0_size=0",
         {"upload_* 384 0"}},
        {"a body shorter than announced: the client went away", Part("doc", "hello", "x.txt"), "9999", -1,
         "-2 1 doc=- _upload_count=-", {}},
        {"a missing final boundary", Part("doc", "hello", "x.txt"), "", -1, "-2 0", {}},
        {"too many fields", fields129 + kEnd, "", -1, "-3 0", {}},
        {"a field over its limit", Part("big", std::string(VORN_UPLOAD_MAX_FIELD_SIZE + 1, 'b')) + kEnd, "", -1,
         "-3 0", {}},
        {"the volume fills up in the second file",
         Part("doc", std::string(1000, 'a'), "a") + Part("doc", std::string(300000, 'b'), "b") + kEnd, "", 200000,
         "-4 0 _upload_count=-", {}},
        {"the volume fills up in a file large enough to be written on a second thread",
         Part("doc", std::string(3 << 20, 'c'), "c") + kEnd, "", 2 << 20, "-4 0 _upload_count=-", {}},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        const std::string dir = root.Path("/incoming");
        root.MakeDirs("/incoming");
        const auto run = arx_testing::RunInChild(
            [&] {
                arx_testing::CgiRecord cgi;
                g_spaceLeft = row.space;
                const int result = VornCgiLoadUploadData(cgi.get(), dir.c_str(), 0);
                std::string out = std::to_string(result) + " " + std::to_string(VornCgiRecvHup());
                for (const char* name : {"a", "doc", "none", "e", "_upload_count", "_upload_0_name",
                                         "_upload_0_field", "_upload_0_size", "_upload_1_name", "_upload_1_size"}) {
                    if (row.output.find(std::string(" ") + name + "=") != std::string::npos)
                        out += std::string(" ") + name + "=" + VornCgiGetCGIParam(cgi.get(), name, "-");
                }
                const std::string path = VornCgiGetCGIParam(cgi.get(), "_upload_0_path", "");
                if (row.output.find("_upload_0_path") != std::string::npos)
                    out += " _upload_0_path=" + std::string(path.rfind(dir + "/upload_", 0) == 0 ? "DIR" : path);
                printf("%s", out.c_str());
            },
            arx_testing::PostRequest(row.body, "multipart/form-data; boundary=XyZb", row.length));
        EXPECT_EQ(run.output, row.output) << row.description;
        std::vector<std::string> files = Listing(dir);
        std::sort(files.begin(), files.end());
        EXPECT_EQ(files, row.files) << row.description;
    }
}

TEST(UploadTest, StoresLargeFilesWholeWhileReadingOn)
{
    arx_testing::TempRoot root;
    root.MakeDirs("/incoming");
    const std::string dir = root.Path("/incoming");
    std::string first(5 << 20, 'f');
    for (size_t i = 0; i < first.size(); i += 4093)
        first[i] = static_cast<char>('a' + i % 26);
    const std::string second(3 << 20, 's');
    const auto run = arx_testing::RunInChild(
        [&] {
            arx_testing::CgiRecord cgi;
            printf("%d", VornCgiLoadUploadData(cgi.get(), dir.c_str(), 0));
            for (const char* name : {"_upload_0_path", "_upload_1_path"})
                printf(" %s", VornCgiGetCGIParam(cgi.get(), name, ""));
        },
        arx_testing::PostRequest(Part("a", "1") + Part("doc", first, "a.bin") + Part("doc", second, "b.bin") + kEnd,
                                 "multipart/form-data; boundary=XyZb"));
    ASSERT_EQ(run.output.substr(0, 2), "2 ") << run.output;
    const size_t space = run.output.find(' ', 2);
    EXPECT_TRUE(arx_testing::ReadWholeFile(run.output.substr(2, space - 2)) == first);
    EXPECT_TRUE(arx_testing::ReadWholeFile(run.output.substr(space + 1)) == second);
}

TEST(UploadTest, ReadsPartByPart)
{
    arx_testing::TempRoot root;
    const std::string target = root.Path("/target.bin");
    root.WriteFile("/target.bin", "old content");
    root.WriteFile("/log.txt", "0123");
    const std::string body = Part("a", "1") + Part("f", "new", "n.bin") + Part("b", "2") + Part("g", "456789", "m") +
                             kEnd;
    const auto run = arx_testing::RunInChild(
        [&] {
            arx_testing::CgiRecord cgi;
            char field[VORN_UPLOAD_TEXT_SIZE], name[VORN_UPLOAD_TEXT_SIZE], type[VORN_UPLOAD_TEXT_SIZE];
            VORN_UPLOAD_PROGRESS progress{};
            printf("%d", VornCgiLoadUploadParams(cgi.get(), nullptr, &progress, field, sizeof field, name,
                                                 sizeof name, type, sizeof type));
            printf(" %s %s %s", field, name, VornCgiGetCGIParam(cgi.get(), "a", "-"));
            printf(" %d", VornCgiLoadUploadFile(cgi.get(), target.c_str(), nullptr, &progress, field, name, type));
            printf(" %s %s %s", field, name, VornCgiGetCGIParam(cgi.get(), "b", "-"));
            unsigned long long size = 0;
            const std::string log = root.Path("/log.txt");
            printf(" %d", VornCgiLoadUploadFileNoTruncate(cgi.get(), log.c_str(), nullptr, &progress, nullptr,
                                                           field, name, type, &size, nullptr));
            printf(" %llu %llu %d %llu", size, VornCgiGetUploadFileSize(), progress.files, progress.received);
        },
        arx_testing::PostRequest(body, "multipart/form-data; boundary=XyZb"));
    EXPECT_EQ(run.output, "1 f n.bin 1 1 g m 2 0 10 6 2 " + std::to_string(body.size()));
    EXPECT_EQ(root.ReadFile("/target.bin"), "new");
    EXPECT_EQ(root.ReadFile("/log.txt"), "0123456789");
}

}  // namespace

namespace {

void HangUp(unsigned long long done, unsigned long long)
{
    if (done > 0)
        raise(SIGTERM);  // what lighttpd sends when the client goes away
}

TEST(UploadTest, AServerThatEndsTheRequestEndsTheReadNotTheProcess)
{
    arx_testing::TempRoot root;
    root.WriteFile("/target.bin", "old");
    const std::string target = root.Path("/target.bin");
    const auto run = arx_testing::RunInChild(
        [&] {
            arx_testing::CgiRecord cgi;
            char field[VORN_UPLOAD_TEXT_SIZE], name[VORN_UPLOAD_TEXT_SIZE], type[VORN_UPLOAD_TEXT_SIZE];
            VornCgiLoadUploadParams(cgi.get(), nullptr, nullptr, field, sizeof field, name, sizeof name, type,
                                    sizeof type);
            const int result = VornCgiLoadUploadFile(cgi.get(), target.c_str(), HangUp, nullptr, field, name, type);
            printf("%d %d", result, VornCgiRecvHup());
        },
        arx_testing::PostRequest(Part("f", std::string(1 << 20, 'n'), "n") + kEnd,
                                 "multipart/form-data; boundary=XyZb"));
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.output, "-2 1");
    EXPECT_EQ(Listing(root.dir()), std::vector<std::string>{"target.bin 420 3"}) << "no file left beside it";
}

// Slices as root: the upload folder is made root's and sticky, and slices go
// only into the platform's own upload files, whole or not at all.
class SliceUploadTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        root_.MakeDirs("/volume1");
        root_.WriteFile("/usr/vorn/etc/volumes.conf", "[volume1]\npath=/volume1\n");
        area_ = root_.Path("/volume1/@sharebin/@tmp");
    }
    // One slice request into target; prints the result.
    arx_testing::ChildResult Slice(const std::string& target, const std::string& body, const char* offset,
                                   const std::string& collecting = "", const std::string& length = "")
    {
        arx_testing::ChildOptions options =
            arx_testing::PostRequest(body, "multipart/form-data; boundary=XyZb", length);
        options.env.push_back({"HTTP_X_TMP_FILE", "id-1"});
        options.env.push_back({"HTTP_X_SLICE_OFFSET", offset});
        options.env.push_back({"VORN_SLICE_TMP_FILE", collecting});
        return arx_testing::RunInChild(
            [&] {
                arx_testing::CgiRecord cgi;
                const int result = VornCgiLoadUploadData(cgi.get(), target.c_str(), 0);
                printf("%d %s", result, VornCgiGetCGIParam(cgi.get(), "_upload_0_path", ""));
            },
            options);
    }
    arx_testing::TempRoot root_;
    std::string area_;
};

// Sets the modification time of path (not followed) hours back.
void Age(const std::string& path, int hours)
{
    const timespec times[2] = {{time(nullptr) - hours * 3600, 0}, {time(nullptr) - hours * 3600, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST_F(SliceUploadTest, SliceRequestsRemoveUploadFilesLeftADayAgo)
{
    const auto first = Slice(area_, Part("f", "one,", "big.bin") + kEnd, "0");
    ASSERT_EQ(first.output.substr(0, 2), "1 ") << first.output;
    const std::string collecting = first.output.substr(2);
    const std::string tmp = "/volume1/@sharebin/@tmp/";
    root_.WriteFile("/outside", "root's", 0600);
    enum class Kind { kFile, kLink, kFolder, kCollecting };
    struct Row { const char* description; std::string path; Kind kind; int hoursOld; bool stays; };
    const Row rows[] = {
        {"another user's upload, left 25 hours ago", tmp + "upload_" + std::string(32, 'a'), Kind::kFile, 25, false},
        {"an upload 23 hours old", tmp + "upload_" + std::string(32, 'b'), Kind::kFile, 23, true},
        {"another name", tmp + "notes.txt", Kind::kFile, 48, true},
        {"a link under an upload file name", tmp + "upload_" + std::string(32, 'c'), Kind::kLink, 48, true},
        {"a folder under an upload file name", tmp + "upload_" + std::string(32, 'd'), Kind::kFolder, 48, true},
        {"the file this slice goes to", collecting.substr(root_.dir().size()), Kind::kCollecting, 48, true},
    };
    for (const Row& row : rows) {
        const std::string path = root_.Path(row.path);
        if (row.kind == Kind::kFile)
            root_.WriteFile(row.path, "x", 0600);
        else if (row.kind == Kind::kLink)
            symlink(root_.Path("/outside").c_str(), path.c_str());
        else if (row.kind == Kind::kFolder)
            mkdir(path.c_str(), 0700);
        lchown(path.c_str(), nobodyUid(), nobodyGid());
        Age(path, row.hoursOld);
    }
    chown(collecting.c_str(), 0, 0);
    EXPECT_EQ(Slice(collecting, Part("f", "two", "big.bin") + kEnd, "4", collecting).output, "1 " + collecting);
    EXPECT_EQ(arx_testing::ReadWholeFile(collecting), "one,two");
    for (const Row& row : rows) {
        struct stat st;
        EXPECT_EQ(lstat(root_.Path(row.path).c_str(), &st) == 0, row.stays) << row.description;
    }
    EXPECT_EQ(root_.ReadFile("/outside"), "root's");

    Age(collecting, 25);  // its client went away: the next sliced upload removes it
    EXPECT_EQ(Slice(area_, Part("f", "new", "b") + kEnd, "0").output.substr(0, 2), "1 ");
    EXPECT_NE(access(collecting.c_str(), F_OK), 0);
}

// A plain upload sweeps the folder too: a program that never moved its
// file, with no sliced upload to follow, would leave it for good.
TEST_F(SliceUploadTest, PlainUploadsRemoveUploadFilesLeftADayAgoToo)
{
    root_.MakeDirs("/volume1/@sharebin");
    root_.MakeDirs("/volume1/@sharebin/@tmp", 01733);
    const std::string old = area_ + "/upload_" + std::string(32, 'a');
    const std::string recent = area_ + "/upload_" + std::string(32, 'b');
    for (const std::string& path : {old, recent}) {
        root_.WriteFile(path.substr(root_.dir().size()), "x", 0600);
        lchown(path.c_str(), nobodyUid(), nobodyGid());
    }
    Age(old, 25);
    Age(recent, 23);
    const auto plain = arx_testing::RunInChild(
        [&] {
            arx_testing::CgiRecord cgi;
            printf("%d", VornCgiLoadUploadData(cgi.get(), area_.c_str(), 0));
        },
        arx_testing::PostRequest(Part("f", "new", "b") + kEnd, "multipart/form-data; boundary=XyZb"));
    EXPECT_EQ(plain.output, "1");
    EXPECT_NE(access(old.c_str(), F_OK), 0);
    EXPECT_EQ(access(recent.c_str(), F_OK), 0);
}

TEST_F(SliceUploadTest, AppendsWholeSlicesToOwnUploadFilesOnly)
{
    const auto first = Slice(area_, Part("f", "one,", "big.bin") + kEnd, "0");
    ASSERT_EQ(first.output.substr(0, 2), "1 ") << first.output;
    const std::string file = first.output.substr(2);
    struct stat st;
    ASSERT_EQ(lstat(area_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 01733u);
    EXPECT_EQ(st.st_uid, 0u);

    root_.WriteFile("/etc/passwd", "root:x:0:0::/root:/bin/sh\n");
    const std::string passwd = root_.Path("/etc/passwd");
    struct Row { const char* description; std::string target; std::string body; const char* offset;
                 std::string length; std::string output; std::string content; };
    const Row rows[] = {
        {"the second slice", file, Part("f", "two,", "big.bin") + kEnd, "4", "", "1 " + file, "one,two,"},
        {"a wrong offset", file, Part("f", "xxx", "big.bin") + kEnd, "4", "", "-2 ", "one,two,"},
        {"a slice cut short is cut back", file, Part("f", std::string(1000, '3'), "big.bin"), "8", "9999", "-2 ",
         "one,two,"},
        {"a large slice cut short is cut back once its writes are done", file,
         Part("f", std::string(3 << 20, '3'), "big.bin"), "8", "99999999", "-2 ", "one,two,"},
        {"a file that is no upload file", passwd, Part("f", "evil", "big.bin") + kEnd, "26", "", "-1 ", "one,two,"},
        {"the last slice", file, Part("f", "end", "big.bin") + kEnd, "8", "", "1 " + file, "one,two,end"},
    };
    for (const Row& row : rows) {
        const auto run = Slice(row.target, row.body, row.offset, row.target, row.length);
        EXPECT_EQ(run.output, row.output) << row.description;
        EXPECT_EQ(arx_testing::ReadWholeFile(file), row.content) << row.description;
    }
    EXPECT_EQ(root_.ReadFile("/etc/passwd"), "root:x:0:0::/root:/bin/sh\n");

    chown(file.c_str(), nobodyUid(), nobodyGid());
    EXPECT_EQ(Slice(file, Part("f", "more", "big.bin") + kEnd, "11", file).output, "-1 ") << "another user's file";
    chown(area_.c_str(), nobodyUid(), 0);
    EXPECT_EQ(Slice(area_, Part("f", "new", "b") + kEnd, "0").output, "-1 ") << "an upload folder not root's";
}

}  // namespace
