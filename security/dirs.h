// Directories of the rule store.
#ifndef ARX_SECURITY_DIRS_H
#define ARX_SECURITY_DIRS_H

#include <sys/types.h>

#include <string>

namespace arx::csp {

bool IsDirectory(const std::string& path);

// Creates path and every missing directory above it with mode.  true when
// path is a directory afterwards.
bool MakeDirs(const std::string& path, mode_t mode);

}  // namespace arx::csp

#endif
