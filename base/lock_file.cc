#include "base/lock_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

LockFileGuard::LockFileGuard(const std::string& lockPath, mode_t mode)
    : fd_(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode))
{
    if (fd_ < 0)
        return;
    struct stat st;
    int error = 0;
    if (fstat(fd_, &st) != 0)
        error = errno;
    else if (!S_ISREG(st.st_mode))
        error = EINVAL;
    else if (flock(fd_, LOCK_EX) != 0)
        error = errno;
    if (error != 0) {
        close(fd_);
        fd_ = -1;
        errno = error;
    }
}

LockFileGuard::~LockFileGuard()
{
    if (fd_ >= 0)
        close(fd_);  // closing the descriptor releases the flock
}

}  // namespace base
