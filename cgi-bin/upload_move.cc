#include "cgi-bin/upload_move.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int CopyInto(const std::string& from, int folderFd, const std::string& name)
{
    const int in = open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st;
    if (in < 0 || fstat(in, &st) != 0) {
        const int error = errno;
        if (in >= 0)
            close(in);
        return error;
    }
    const int out = openat(folderFd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    int error = out < 0 ? errno : 0;
    for (off_t left = st.st_size; error == 0 && left > 0;) {
        const ssize_t sent = sendfile(out, in, nullptr, static_cast<size_t>(left));
        if (sent <= 0)
            error = sent < 0 ? errno : EIO;
        else
            left -= sent;
    }
    if (out >= 0 && close(out) != 0 && error == 0)
        error = errno;
    close(in);
    if (error != 0) {
        if (out >= 0)
            unlinkat(folderFd, name.c_str(), 0);
        return error;
    }
    unlink(from.c_str());
    return 0;
}

}  // namespace

int MoveInto(const std::string& from, int folderFd, const std::string& name)
{
    // Readable by those who may read the folder, like any file put there.
    const int fd = open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return errno;
    fchmod(fd, 0644);
    close(fd);
    if (renameat2(AT_FDCWD, from.c_str(), folderFd, name.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    return errno == EXDEV ? CopyInto(from, folderFd, name) : errno;
}
