// The timed lock against a lock file removed at the worst moment: this
// binary defines flock, so a test can act between the lock's open and its
// flock, where another holder may remove the file and a newcomer lock a new
// one at the same path.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/fs.h>

#include "testing/temp_root.h"

namespace {

std::function<void()> g_beforeNextFlock;

int RealFlock(int fd, int operation)
{
    static auto real = reinterpret_cast<int (*)(int, int)>(dlsym(RTLD_NEXT, "flock"));
    return real(fd, operation);
}

}  // namespace

extern "C" int flock(int fd, int operation)
{
    if (g_beforeNextFlock) {
        const std::function<void()> action = std::move(g_beforeNextFlock);
        g_beforeNextFlock = nullptr;
        action();
    }
    return RealFlock(fd, operation);
}

namespace {

TEST(FileLockFaultTest, LockOnARemovedLockFileDoesNotCount)
{
    arx_testing::TempRoot root;
    const std::string path = root.Path("/lock");
    root.WriteFile("/lock", "");
    int newcomer = -1;
    g_beforeNextFlock = [&] {
        // The previous holder removes the file it opened; a newcomer creates
        // and locks a new one at the same path.
        unlink(path.c_str());
        newcomer = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        RealFlock(newcomer, LOCK_EX);
    };
    EXPECT_EQ(VLIBCFileLockTimeByFile(path.c_str(), 1, 0), -1) << "the removed file's lock is no lock";
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_LOCK_FAILED);
    ASSERT_GE(newcomer, 0);

    close(newcomer);
    const int fd = VLIBCFileLockTimeByFile(path.c_str(), 1, 0);
    EXPECT_GE(fd, 0) << "the file at the path is free again";
    VLIBCFileUnlock(fd);
}

}  // namespace
