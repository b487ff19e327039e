#include "base/file_write.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/safe_open.h"

namespace base {

namespace {

void SyncDirectoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

std::string TemporaryName(const std::string& path, Temporary temporary)
{
    if (temporary == Temporary::kBeside)
        return path + ".XXXXXX";
    const size_t nameStart = path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1;
    return path.substr(0, nameStart) + "." + path.substr(nameStart) + ".XXXXXX";
}

// Creates a fresh hidden temporary file for name in dirfd: its descriptor,
// with the name chosen in temporary.
int CreateTemporaryAt(int dirfd, const std::string& name, std::string& temporary)
{
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    for (int attempt = 0; attempt < 100; ++attempt) {
        unsigned char random[6];
        if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
            return -1;
        temporary = "." + name + ".";
        for (unsigned char byte : random)
            temporary.push_back(kLetters[byte % (sizeof kLetters - 1)]);
        const int fd = openat(dirfd, temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

}  // namespace

bool ReplaceFileAt(int dirfd, const std::string& name, std::string_view content, const NewFile& file,
                   const std::string& temporaryName)
{
    return ReplaceFileAt(
        dirfd, name, [content](int fd) { return WriteAll(fd, content); }, file, temporaryName);
}

bool ReplaceFileAt(int dirfd, const std::string& name, const std::function<bool(int fd)>& writeContent,
                   const NewFile& file, const std::string& temporaryName)
{
    std::string temporary = temporaryName;
    int fd;
    if (temporary.empty()) {
        fd = CreateTemporaryAt(dirfd, name, temporary);
    } else {
        // What an interrupted writer left under the name goes first; an
        // unlink never follows a link.
        unlinkat(dirfd, temporary.c_str(), 0);
        fd = openat(dirfd, temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    }
    if (fd < 0)
        return false;
    const bool owned = file.owner == static_cast<uid_t>(-1) && file.group == static_cast<gid_t>(-1);
    bool ok = writeContent(fd) && (owned || fchown(fd, file.owner, file.group) == 0) && fchmod(fd, file.mode) == 0 &&
              fdatasync(fd) == 0;
    int error = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && renameat(dirfd, temporary.c_str(), dirfd, name.c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        unlinkat(dirfd, temporary.c_str(), 0);
        errno = error;
    }
    return ok;
}

bool OverwriteWithFile(int to, int from)
{
    struct stat st;
    if (fstat(from, &st) != 0)
        return false;
    const off_t size = st.st_size;
    off_t done = 0;
    bool inKernel = true;
    while (done < size) {
        ssize_t copied = -1;
        if (inKernel) {
            off_t in = done;
            off_t out = done;
            copied = copy_file_range(from, &in, to, &out, static_cast<size_t>(size - done), 0);
            if (copied < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) {
                inKernel = false;
                continue;
            }
        } else {
            char buffer[16384];
            copied = pread(from, buffer, std::min<off_t>(size - done, sizeof buffer), done);
            if (copied > 0) {
                const ssize_t written = pwrite(to, buffer, static_cast<size_t>(copied), done);
                if (written != copied) {
                    if (written >= 0)
                        errno = ENOSPC;  // a short write to a regular file
                    copied = -1;
                }
            }
        }
        if (copied < 0 && errno == EINTR)
            continue;
        if (copied <= 0) {
            if (copied == 0)
                errno = EIO;  // the file shrank under us
            return false;
        }
        done += copied;
    }
    return ftruncate(to, size) == 0;
}

bool WriteAll(int fd, std::string_view data)
{
    while (!data.empty()) {
        const ssize_t written = write(fd, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (written == 0) {
            errno = EIO;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

bool WriteFileAtomically(const std::string& path, std::string_view content, mode_t newFileMode,
                         Temporary temporary)
{
    struct stat st;
    const mode_t mode = lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? CopyableMode(st.st_mode)
                                                                              : newFileMode;
    std::string name = TemporaryName(path, temporary);
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = WriteAll(fd, content) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
    int error = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && rename(name.c_str(), path.c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        unlink(name.c_str());
        errno = error;
        return false;
    }
    SyncDirectoryOf(path);
    return true;
}

int CreateFileExclusively(const std::string& path, std::string_view content, mode_t mode)
{
    std::string temporary = path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return -1;
    bool ok = fchmod(fd, mode) == 0 && WriteAll(fd, content) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    int result = -1;
    if (ok)
        result = link(temporary.c_str(), path.c_str()) == 0 ? 1 : errno == EEXIST ? 0 : -1;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return result;
}

}  // namespace base
