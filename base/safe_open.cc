#include "base/safe_open.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

namespace base {

namespace {

// Regular files only.  O_NONBLOCK stays set: it kept the open from waiting
// on a FIFO, and reads and writes of a regular file ignore it.
int Checked(int fd, bool singleName, struct stat* info)
{
    if (fd < 0)
        return -1;
    struct stat st;
    int error = 0;
    if (fstat(fd, &st) != 0)
        error = errno;
    else if (!S_ISREG(st.st_mode))
        error = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    else if (singleName && st.st_nlink > 1)
        error = EMLINK;
    if (error != 0) {
        close(fd);
        errno = error;
        return -1;
    }
    if (info != nullptr)
        *info = st;
    return fd;
}

}  // namespace

int OpenForReading(const char* path, Links links, struct stat* info)
{
    const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (links == Links::kRefuse ? O_NOFOLLOW : 0);
    return Checked(open(path, flags), false, info);
}

int OpenForWriting(const char* path, mode_t newFileMode, struct stat* info)
{
    const int flags = O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
    int fd = open(path, flags);
    if (fd < 0 && errno == ENOENT) {
        fd = open(path, flags | O_CREAT | O_EXCL, newFileMode);
        // The umask must not decide who may read a settings file.
        if (fd >= 0 && fchmod(fd, newFileMode) != 0) {
            const int error = errno;
            close(fd);
            unlink(path);
            errno = error;
            return -1;
        }
        if (fd < 0 && errno == EEXIST)
            fd = open(path, flags);  // another process created it meanwhile
    }
    return Checked(fd, true, info);
}

mode_t CopyableMode(mode_t mode)
{
    return mode & 0777;
}

}  // namespace base
