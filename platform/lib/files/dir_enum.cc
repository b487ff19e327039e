// Directory enumeration in byte order of the names.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/fs.h>

#include "lib/core/no_throw.h"

namespace {

bool IsRegularFile(int dirFd, const struct dirent* entry)
{
    if (entry->d_type == DT_REG)
        return true;
    if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN)
        return false;
    struct stat st;
    return fstatat(dirFd, entry->d_name, &st, 0) == 0 && S_ISREG(st.st_mode);
}

bool Wanted(int dirFd, const struct dirent* entry, int flags)
{
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
        return false;
    if ((flags & VLIBC_DIR_SKIP_HIDDEN) != 0 && name[0] == '.')
        return false;
    return (flags & VLIBC_DIR_FILES_ONLY) == 0 || IsRegularFile(dirFd, entry);
}

// The wanted names of dir; false with errno set when it cannot be read.
bool ReadNames(const char* dir, int flags, std::vector<std::string>& names)
{
    DIR* stream = opendir(dir);
    if (stream == nullptr)
        return false;
    const int dirFd = dirfd(stream);
    for (;;) {
        errno = 0;
        const struct dirent* entry = readdir(stream);
        if (entry == nullptr)
            break;
        if (Wanted(dirFd, entry, flags))
            names.emplace_back(entry->d_name);
    }
    const int error = errno;
    closedir(stream);
    errno = error;
    return error == 0;
}

}  // namespace

extern "C" int VLIBCDirEnum(const char* dir, int flags, VLIBCDirVisitor visit, void* context)
{
    if (dir == nullptr || *dir == '\0' || visit == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<std::string> names;
        if (!ReadNames(dir, flags, names)) {
            VLIBCErrSet(errno == ENOENT ? VLIB_ERR_NOT_FOUND : VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        std::sort(names.begin(), names.end());
        int visited = 0;
        for (const std::string& name : names) {
            ++visited;
            if (visit(name.c_str(), context) != 0)
                break;
        }
        return visited;
    });
}
