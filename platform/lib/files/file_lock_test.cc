#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/fs.h>

#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

// flock treats every open of the file on its own, so one process can play
// both the holder and the contender.
TEST(FileLockTest, ExclusiveAndSharedLocksExcludeAsFlockDoes)
{
    struct Row {
        const char* description;
        int held;       // 1 exclusive, 0 shared
        int requested;  // the same
        bool taken;
    };
    const Row rows[] = {
        {"exclusive against exclusive", 1, 1, false},
        {"shared against exclusive", 1, 0, false},
        {"exclusive against shared", 0, 1, false},
        {"shared against shared", 0, 0, true},
    };
    TempRoot root;
    const std::string path = root.Path("/lock");
    for (const Row& row : rows) {
        const int holder = VLIBCFileLockTimeByFile(path.c_str(), row.held, 0);
        ASSERT_GE(holder, 0) << row.description;
        const int contender = VLIBCFileLockTimeByFile(path.c_str(), row.requested, 0);
        EXPECT_EQ(contender >= 0, row.taken) << row.description;
        if (contender < 0) {
            EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_LOCK_FAILED) << row.description;
        }
        VLIBCFileUnlock(contender);
        EXPECT_EQ(VLIBCFileUnlock(holder), 0);
        const int after = VLIBCFileLockTimeByFile(path.c_str(), 1, 0);
        EXPECT_GE(after, 0) << row.description << ": released";
        VLIBCFileUnlock(after);
    }
}

TEST(FileLockTest, CreatesTheLockFileAndRefusesLinksAndBadArguments)
{
    TempRoot root;
    const int fd = VLIBCFileLockTimeByFile(root.Path("/new.lock").c_str(), 1, 0);
    ASSERT_GE(fd, 0);
    struct stat st;
    ASSERT_EQ(stat(root.Path("/new.lock").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    VLIBCFileUnlock(fd);

    root.WriteFile("/target", "keep");
    ASSERT_EQ(symlink(root.Path("/target").c_str(), root.Path("/link.lock").c_str()), 0);
    EXPECT_EQ(VLIBCFileLockTimeByFile(root.Path("/link.lock").c_str(), 1, 0), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(VLIBCFileLockTimeByFile(root.Path("/no/dir/x.lock").c_str(), 1, 0), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(VLIBCFileLockTimeByFile(nullptr, 1, 0), -1);
    EXPECT_EQ(VLIBCFileLockTimeByFile("", 1, 0), -1);
    EXPECT_EQ(VLIBCFileLockTimeByFile(root.Path("/x.lock").c_str(), 1, -1), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETERS);
    EXPECT_EQ(VLIBCFileUnlock(-1), 0);
}

// Runs the waiter in a child process: exit status 0 when it got the lock,
// 1 when it did not.
pid_t StartWaiter(const std::string& path, int seconds)
{
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = VLIBCFileLockTimeByFile(path.c_str(), 1, seconds);
        _exit(fd >= 0 ? 0 : 1);
    }
    return pid;
}

int WaitFor(pid_t pid)
{
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(FileLockTest, WaiterGetsTheLockOnceTheHolderReleasesIt)
{
    TempRoot root;
    const std::string path = root.Path("/lock");
    const int holder = VLIBCFileLockTimeByFile(path.c_str(), 1, 0);
    ASSERT_GE(holder, 0);
    const pid_t waiter = StartWaiter(path, 10);
    usleep(100 * 1000);
    VLIBCFileUnlock(holder);
    EXPECT_EQ(WaitFor(waiter), 0);
}

}  // namespace
