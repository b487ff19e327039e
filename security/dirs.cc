#include "dirs.h"

#include <errno.h>
#include <sys/stat.h>

namespace arx::csp {

bool IsDirectory(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool MakeDirs(const std::string& path, mode_t mode)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (mkdir(parent.c_str(), mode) != 0 && errno != EEXIST)
            return false;
    }
    if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST)
        return false;
    return IsDirectory(path);
}

}  // namespace arx::csp
