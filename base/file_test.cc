// Opening, reading and replacing files as a process running as root must:
// never through a planted link, never waiting on a FIFO.

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/safe_open.h"
#include "testing/temp_root.h"

namespace {

class BaseFileTest : public ::testing::Test {
protected:
    BaseFileTest()
    {
        root_.WriteFile("/file", "content");
        symlink(Path("/file").c_str(), Path("/link").c_str());
        mkfifo(Path("/fifo").c_str(), 0600);
        link(Path("/file").c_str(), Path("/second-name").c_str());
        root_.MakeDirs("/dir");
    }
    std::string Path(const char* name) const { return root_.Path(name); }

    arx_testing::TempRoot root_;
};

// The result of an open: 0 for a descriptor, else the errno.
int Outcome(int fd)
{
    if (fd < 0)
        return errno;
    close(fd);
    return 0;
}

TEST_F(BaseFileTest, OpensOnlyRegularFilesAndNeverWaits)
{
    struct Row {
        const char* name;
        base::Links links;
        int reading;  // OpenForReading
        int writing;  // OpenForWriting
    };
    const Row rows[] = {
        {"/file", base::Links::kFollow, 0, EMLINK},  // it has a second name
        {"/link", base::Links::kFollow, 0, ELOOP},
        {"/link", base::Links::kRefuse, ELOOP, ELOOP},
        {"/fifo", base::Links::kFollow, EINVAL, EINVAL},
        {"/dir", base::Links::kFollow, EISDIR, EISDIR},
        {"/missing/file", base::Links::kFollow, ENOENT, ENOENT},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Outcome(base::OpenForReading(Path(row.name).c_str(), row.links)), row.reading);
        EXPECT_EQ(Outcome(base::OpenForWriting(Path(row.name).c_str(), 0644)), row.writing);
    }
}

TEST_F(BaseFileTest, NewFilesGetTheirModeWhateverTheUmask)
{
    const mode_t before = umask(077);
    const int fd = base::OpenForWriting(Path("/new").c_str(), 0644);
    umask(before);
    ASSERT_GE(fd, 0);
    close(fd);
    struct stat st;
    ASSERT_EQ(stat(Path("/new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
}

TEST_F(BaseFileTest, ReplacementKeepsPermissionsButNeverSetIdBits)
{
    root_.WriteFile("/tool", "old", 04755);
    chmod(Path("/tool").c_str(), 04755);
    ASSERT_TRUE(base::WriteFileAtomically(Path("/tool"), "new", 0600));
    ASSERT_TRUE(base::WriteFileAtomically(Path("/fresh"), "new", 0640));
    struct stat tool, fresh;
    ASSERT_EQ(stat(Path("/tool").c_str(), &tool), 0);
    ASSERT_EQ(stat(Path("/fresh").c_str(), &fresh), 0);
    EXPECT_EQ(tool.st_mode & 07777, 0755u);
    EXPECT_EQ(fresh.st_mode & 07777, 0640u);
    std::string content;
    ASSERT_TRUE(base::ReadWholeFile(Path("/tool").c_str(), content));
    EXPECT_EQ(content, "new");
}

TEST_F(BaseFileTest, FailedReplacementLeavesNoTemporaryFile)
{
    ASSERT_EQ(chmod(Path("/dir").c_str(), 0500), 0);
    const bool written = base::WriteFileAtomically(Path("/dir/file"), "text", 0644);
    if (geteuid() != 0) {  // root writes into read-only directories
        EXPECT_FALSE(written);
    }
    EXPECT_FALSE(base::WriteFileAtomically(Path("/missing/file"), "text", 0644));
    std::vector<std::string> names;
    ASSERT_TRUE(base::ListDirectory(Path("/dir"), names));
    EXPECT_EQ(names.size(), written ? 1u : 0u);
}

// A file that grew after its size was checked is read only up to the
// bound the caller sets: one that grows without end cannot take all memory.
TEST_F(BaseFileTest, AFileThatGrewIsReadOnlyUpToItsBound)
{
    root_.WriteFile("/growing", std::string(100, 'a'));
    const int fd = open(Path("/growing").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    struct stat checked;
    ASSERT_EQ(fstat(fd, &checked), 0);
    {
        const std::string more(5000, 'b');
        const int append = open(Path("/growing").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        ASSERT_EQ(write(append, more.data(), more.size()), static_cast<ssize_t>(more.size()));
        close(append);
    }
    const struct {
        size_t most;
        bool read;
        size_t length;
    } rows[] = {
        {50, false, 0},  // already larger when checked
        {1000, false, 0},
        {5099, false, 0},
        {5100, true, 5100},
        {5101, true, 5100},
        {std::numeric_limits<size_t>::max(), true, 5100},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.most);
        ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
        std::string content = "old";
        errno = 0;
        EXPECT_EQ(base::ReadWholeDescriptor(fd, checked, content, row.most), row.read);
        EXPECT_EQ(content.size(), row.length);
        if (!row.read) {
            EXPECT_EQ(errno, EFBIG);
        }
    }
    close(fd);
}

}  // namespace
