#include "base/directories.h"

#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

namespace base {

bool IsDirectory(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool MakeDirectories(const std::string& path, mode_t mode)
{
    if (IsDirectory(path))
        return true;
    const size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !MakeDirectories(path.substr(0, slash), mode))
        return false;
    return mkdir(path.c_str(), mode) == 0 || (errno == EEXIST && IsDirectory(path));
}

bool MakePrivateDirectory(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !MakeDirectories(path.substr(0, slash), 0755))
        return false;
    return MakeDirectories(path, 0700);
}

bool ListDirectory(const std::string& path, std::vector<std::string>& names)
{
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr)
        return false;
    names.clear();
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(dir);
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    const int error = errno;
    closedir(dir);
    errno = error;
    return error == 0;
}

}  // namespace base
