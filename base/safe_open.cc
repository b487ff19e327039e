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
    return OpenForReadingAt(AT_FDCWD, path, links, info);
}

int OpenForWriting(const char* path, mode_t newFileMode, struct stat* info)
{
    return OpenForWritingAt(AT_FDCWD, path, newFileMode, info);
}

int OpenForReadingAt(int dirfd, const char* name, Links links, struct stat* info)
{
    const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (links == Links::kRefuse ? O_NOFOLLOW : 0);
    return Checked(openat(dirfd, name, flags), false, info);
}

int OpenForWritingAt(int dirfd, const char* name, mode_t newFileMode, struct stat* info, bool* created)
{
    const int flags = O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
    bool made = false;
    int fd = openat(dirfd, name, flags);
    if (fd < 0 && errno == ENOENT) {
        fd = openat(dirfd, name, flags | O_CREAT | O_EXCL, newFileMode);
        made = fd >= 0;
        // The umask must not decide who may read a settings file.
        if (fd >= 0 && fchmod(fd, newFileMode) != 0) {
            const int error = errno;
            close(fd);
            unlinkat(dirfd, name, 0);
            errno = error;
            return -1;
        }
        if (fd < 0 && errno == EEXIST)
            fd = openat(dirfd, name, flags);  // another process created it meanwhile
    }
    fd = Checked(fd, true, info);
    if (created != nullptr)
        *created = made && fd >= 0;
    return fd;
}

mode_t CopyableMode(mode_t mode)
{
    return mode & 0777;
}

}  // namespace base
