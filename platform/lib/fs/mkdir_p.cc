// Creating a directory with its parents.

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <vorn/err.h>
#include <vorn/fs.h>

#include "lib/core/no_throw.h"

namespace {

bool IsDirectory(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Gives the directory just created its mode and owner through a descriptor
// that no link planted in its place can redirect.
bool Settle(const std::string& path, int uid, int gid, mode_t mode)
{
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = (uid == -1 && gid == -1) || fchown(fd, static_cast<uid_t>(uid), static_cast<gid_t>(gid)) == 0;
    // After fchown, which clears the set-id bits.
    ok = ok && fchmod(fd, mode) == 0;
    const int error = errno;
    close(fd);
    errno = error;
    return ok;
}

// Creates path (and, with parents, its missing parents); false with errno.
bool MakeDirectory(const std::string& path, bool parents, int uid, int gid, mode_t mode)
{
    const size_t slash = path.find_last_of('/');
    const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
    if (parents && slash != std::string::npos && !IsDirectory(parent) &&
        !MakeDirectory(parent, true, -1, -1, 0755))
        return false;
    if (mkdir(path.c_str(), 0700) != 0)
        return errno == EEXIST && IsDirectory(path);
    if (Settle(path, uid, gid, mode))
        return true;
    const int error = errno;
    rmdir(path.c_str());
    errno = error;
    return false;
}

}  // namespace

extern "C" int VORNFSMkdirP(const char* path, int /*flags*/, int parents, int uid, int gid, int mode)
{
    if (path == nullptr || *path == '\0' || mode < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string dir = path;
        while (dir.size() > 1 && dir.back() == '/')
            dir.pop_back();
        if (MakeDirectory(dir, parents != 0, uid, gid, static_cast<mode_t>(mode) & 07777))
            return 0;
        VLIBCErrSet(errno == ENOENT && parents == 0 ? VLIB_ERR_NOT_FOUND : VLIB_ERR_WRITE_FAILED);
        return -1;
    });
}
