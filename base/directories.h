// Directories: creating them with their parents, listing them.
#ifndef ARX_BASE_DIRECTORIES_H
#define ARX_BASE_DIRECTORIES_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace base {

bool IsDirectory(const std::string& path);

// Creates path and its missing parents with mode (before the umask); true
// when path is a directory afterwards.
bool MakeDirectories(const std::string& path, mode_t mode);

// MakeDirectories for a directory that only its owner may enter: the
// missing parents get 0755, path itself 0700.
bool MakePrivateDirectory(const std::string& path);

// The names in a directory but "." and ".." (in the file system's order);
// false with errno set when it cannot be read.
bool ListDirectory(const std::string& path, std::vector<std::string>& names);

}  // namespace base

#endif
