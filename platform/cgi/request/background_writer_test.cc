// The background writer: pieces land in order whichever thread writes them,
// and a failed write is reported, never lost.  This binary defines write()
// itself, so that a chosen write fails.

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cgi/request/background_writer.h"
#include "testing/interpose.h"
#include "testing/temp_root.h"

namespace {

std::atomic<int> g_failingFd {-1};
std::atomic<int> g_writesToFail {-1};  // the writes to g_failingFd before one fails

}  // namespace

extern "C" ssize_t write(int fd, const void* data, size_t size)
{
    if (fd == g_failingFd && g_writesToFail-- == 0) {
        errno = ENOSPC;
        return -1;
    }
    return ARX_NEXT(write)(fd, data, size);
}

namespace {

using vorn::BackgroundWriter;

TEST(BackgroundWriterTest, WritesInOrderAndReportsTheFirstFailure)
{
    const int kPiece = 256 * 1024;
    struct Row {
        const char* description;
        int failAt;  // the write that fails, -1 for none
        int failedWrite;  // the Write that answers false (for a queued one: the first that may), -1 for none
        bool drained;  // what Drain answers
        int stored;  // pieces in the file afterwards
    };
    // Four pieces fit under kAtOnceBytes: those are written at once.
    const int kPieces = 24;
    const Row rows[] = {
        {"at once, then queued", -1, -1, true, kPieces},
        {"a write at once fails there", 2, 2, true, 2},
        {"a queued write fails: a later call says so, the rest is dropped", 10, 11, false, 10},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        const std::string path = root.Path("/file");
        FILE* file = fopen(path.c_str(), "w");
        ASSERT_NE(file, nullptr);
        std::vector<std::string> pieces;
        for (int i = 0; i < kPieces; ++i)
            pieces.push_back(std::string(static_cast<size_t>(kPiece), static_cast<char>('a' + i)));
        g_failingFd = fileno(file);
        g_writesToFail = row.failAt;
        BackgroundWriter writer;
        int failedWrite = -1;
        for (int i = 0; i < kPieces && failedWrite < 0; ++i) {
            if (!writer.Write(fileno(file), pieces[i].data(), pieces[i].size(), pieces[i].size() * i)) {
                failedWrite = i;
                EXPECT_EQ(errno, ENOSPC) << row.description;
            }
        }
        const bool drained = writer.Drain();
        writer.Stop();
        g_failingFd = -1;
        fclose(file);
        // A queued write fails while later ones are handed over: the
        // next Write, or Drain, tells.
        const bool queued =
            row.failAt >= 0 && static_cast<unsigned long long>(row.failAt) * kPiece >= BackgroundWriter::kAtOnceBytes;
        EXPECT_TRUE(failedWrite == row.failedWrite || (queued && (failedWrite == -1 || failedWrite > row.failedWrite)))
            << row.description << ": " << failedWrite;
        EXPECT_EQ(drained, row.drained) << row.description;
        std::string expected;
        for (int i = 0; i < row.stored; ++i)
            expected += pieces[i];
        EXPECT_TRUE(root.ReadFile("/file") == expected) << row.description;
    }
}

TEST(BackgroundWriterTest, ReleaseWaitsForTheWritesOfARegion)
{
    arx_testing::TempRoot root;
    FILE* file = fopen(root.Path("/file").c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::vector<char> buffer(1 << 20, 'x');
    BackgroundWriter writer;
    std::string expected;
    for (char round = 'a'; round < 'a' + 16; ++round) {
        // The region is refilled only once the writer let go of it.
        writer.Release(buffer.data(), buffer.size());
        std::fill(buffer.begin(), buffer.end(), round);
        ASSERT_TRUE(writer.Write(fileno(file), buffer.data(), buffer.size(), BackgroundWriter::kAtOnceBytes));
        expected += std::string(buffer.size(), round);
    }
    EXPECT_TRUE(writer.Drain());
    writer.Stop();
    fclose(file);
    EXPECT_TRUE(root.ReadFile("/file") == expected);
}

}  // namespace
