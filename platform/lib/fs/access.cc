// Permissions as the kernel grants them to the effective identity, and the
// hidden extended-attribute folders.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <vorn/acl.h>
#include <vorn/err.h>

#include "lib/core/no_throw.h"

namespace {

void SetErrorOf(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        VLIBCErrSet(VLIB_ERR_PATH_NOT_FOUND);
        break;
    case EACCES:
    case EPERM:
        VLIBCErrSet(VLIB_ERR_PERMISSION_DENIED);
        break;
    case ENAMETOOLONG:
    case ELOOP:
    case EINVAL:
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        break;
    case EROFS:
        VLIBCErrSet(VLIB_ERR_READ_ONLY_FS);
        break;
    default:
        VLIBCErrSet(VLIB_ERR_SYSTEM);
        break;
    }
}

bool Grants(const char* path, int mode)
{
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS) == 0;
}

// The directory that holds path's last element ("." for a bare name).
std::string HoldingDirectory(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Removing an entry: its directory may be written and entered, and a
// sticky directory leaves the entry to its owner, the directory's, and root.
bool MayDelete(const char* path)
{
    const std::string directory = HoldingDirectory(path);
    if (!Grants(directory.c_str(), W_OK | X_OK))
        return false;
    struct stat holder;
    struct stat entry;
    if (stat(directory.c_str(), &holder) != 0 || lstat(path, &entry) != 0)
        return false;
    const uid_t me = geteuid();
    return (holder.st_mode & S_ISVTX) == 0 || me == 0 || me == holder.st_uid || me == entry.st_uid;
}

}  // namespace

extern "C" int VORNACLPermGet(const char* path, unsigned int* perm)
{
    if (path == nullptr || path[0] == '\0' || perm == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    if (faccessat(AT_FDCWD, path, F_OK, AT_EACCESS) != 0) {
        SetErrorOf(errno);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        unsigned int granted = 0;
        if (Grants(path, R_OK))
            granted |= VORN_ACL_READ;
        if (Grants(path, W_OK))
            granted |= VORN_ACL_WRITE;
        if (Grants(path, X_OK))
            granted |= VORN_ACL_EXECUTE;
        if (MayDelete(path))
            granted |= VORN_ACL_DELETE;
        *perm = granted;
        return 0;
    });
}

extern "C" int VORNEAIsHiddenDir(const char* name)
{
    return name != nullptr && strcmp(name, VORN_EA_DIR_NAME) == 0 ? 1 : 0;
}

extern "C" int VORNEAIsHiddenFile(const char* name)
{
    if (name == nullptr)
        return 0;
    return strcmp(name, VORN_EA_DIR_NAME) == 0 || strcmp(name, "@tmp") == 0 || strcmp(name, "@sharebin") == 0 ? 1
                                                                                                               : 0;
}

extern "C" int VORNEAMKDir(const char* path)
{
    if (path == nullptr || path[0] == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    const mode_t mask = umask(0);
    const int made = mkdir(path, 0755);
    const int error = errno;
    umask(mask);
    if (made == 0)
        return 0;
    struct stat st;
    if (error == EEXIST && lstat(path, &st) == 0 && S_ISDIR(st.st_mode))
        return 0;
    if (error == EEXIST)
        VLIBCErrSet(VLIB_ERR_SYSTEM);  // something else is in the way
    else
        SetErrorOf(error);
    errno = error;
    return -1;
}
