// Whether something exists at a path.

#include <sys/stat.h>

#include <vorn/file.h>

extern "C" int VLIBCFileExist(const char* path)
{
    if (path == nullptr || *path == '\0')
        return 0;
    struct stat st;
    return stat(path, &st) == 0 ? 1 : 0;
}
