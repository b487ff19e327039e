// An exclusive flock on a lock file for the life of a scope.  The lock file
// is created when missing and never removed: the files it guards are
// replaced by rename, so a lock on them would be a lock on an inode that
// disappears.
#ifndef ARX_BASE_LOCK_FILE_H
#define ARX_BASE_LOCK_FILE_H

#include <sys/types.h>

#include <string>

namespace base {

class LockFileGuard {
public:
    // Waits for the lock.  A link or anything but a regular file at
    // lockPath is refused (locked() false, errno set).
    explicit LockFileGuard(const std::string& lockPath, mode_t mode = 0644);
    ~LockFileGuard();
    LockFileGuard(const LockFileGuard&) = delete;
    LockFileGuard& operator=(const LockFileGuard&) = delete;

    bool locked() const { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace base

#endif
