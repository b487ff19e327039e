// Timed file locks: a non-blocking flock tried until it is taken or the time
// is up.

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/fs.h>

namespace {

constexpr mode_t kLockFileMode = 0644;
constexpr long kFirstPauseNs = 1000 * 1000;         // 1 ms
constexpr long kLongestPauseNs = 20 * 1000 * 1000;  // 20 ms
// A lock file removed under a waiter is opened again at once, but not
// forever should something keep replacing it.
constexpr int kMostReopens = 1000;

long long NowNs()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

void Pause(long long ns)
{
    struct timespec pause = {static_cast<time_t>(ns / 1000000000LL), static_cast<long>(ns % 1000000000LL)};
    while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

// Whether fd is still the file at path: a holder that removed or replaced
// the lock file before releasing it leaves its waiters a lock on nothing.
bool StillAtPath(int fd, const char* path)
{
    struct stat held;
    struct stat current;
    return fstat(fd, &held) == 0 && lstat(path, &current) == 0 && held.st_dev == current.st_dev &&
           held.st_ino == current.st_ino;
}

enum class Attempt { kLocked, kBusy, kStale, kFailed };

Attempt TryOnce(const char* path, int operation, int& fd)
{
    // Non-blocking and regular files only: a FIFO or a device planted at
    // the path must neither hold up nor serve as the lock.
    fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, kLockFileMode);
    if (fd < 0)
        return Attempt::kFailed;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        fd = -1;
        errno = EINVAL;
        return Attempt::kFailed;
    }
    if (flock(fd, operation | LOCK_NB) != 0) {
        const int error = errno;
        close(fd);
        fd = -1;
        errno = error;
        return error == EWOULDBLOCK || error == EINTR ? Attempt::kBusy : Attempt::kFailed;
    }
    if (StillAtPath(fd, path))
        return Attempt::kLocked;
    close(fd);
    fd = -1;
    return Attempt::kStale;
}

}  // namespace

extern "C" int VLIBCFileLockTimeByFile(const char* path, int exclusive, int seconds)
{
    if (path == nullptr || *path == '\0' || seconds < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    const int operation = exclusive != 0 ? LOCK_EX : LOCK_SH;
    const long long deadline = NowNs() + static_cast<long long>(seconds) * 1000000000LL;
    long long pause = kFirstPauseNs;
    int reopens = 0;
    for (;;) {
        int fd = -1;
        switch (TryOnce(path, operation, fd)) {
        case Attempt::kLocked:
            return fd;
        case Attempt::kFailed:
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        case Attempt::kStale:
            if (++reopens <= kMostReopens)
                continue;
            break;
        case Attempt::kBusy:
            break;
        }
        const long long left = deadline - NowNs();
        if (left <= 0) {
            VLIBCErrSet(VLIB_ERR_LOCK_FAILED);
            errno = EWOULDBLOCK;
            return -1;
        }
        Pause(pause < left ? pause : left);
        pause = pause * 2 < kLongestPauseNs ? pause * 2 : kLongestPauseNs;
    }
}

extern "C" int VLIBCFileUnlock(int fd)
{
    if (fd < 0)
        return 0;
    flock(fd, LOCK_UN);
    return close(fd) == 0 ? 0 : -1;
}
