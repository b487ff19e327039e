// An exclusive flock on a lock file for the life of a scope.  The lock file
// is created when missing and never removed: the files it guards are
// replaced by rename, so a lock on them would be a lock on an inode that
// disappears.
#ifndef VORN_PLATFORM_LOCK_FILE_H
#define VORN_PLATFORM_LOCK_FILE_H

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>

namespace vorn {

class LockFileGuard {
public:
    explicit LockFileGuard(const std::string& lockPath, mode_t mode = 0644)
        : fd_(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, mode))
    {
        if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) {
            close(fd_);
            fd_ = -1;
        }
    }
    ~LockFileGuard()
    {
        if (fd_ >= 0)
            close(fd_);  // closing the descriptor releases the flock
    }
    LockFileGuard(const LockFileGuard&) = delete;
    LockFileGuard& operator=(const LockFileGuard&) = delete;
    bool locked() const { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace vorn

#endif
