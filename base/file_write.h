// Writing files whole: all of a buffer, and atomic replacement.
#ifndef ARX_BASE_FILE_WRITE_H
#define ARX_BASE_FILE_WRITE_H

#include <sys/types.h>

#include <string>
#include <string_view>

namespace base {

// Writes all of data to fd, retrying short writes and interrupted calls.
bool WriteAll(int fd, std::string_view data);

enum class Temporary {
    kBeside,  // "NAME.XXXXXX"
    kHidden,  // ".NAME.XXXXXX": directory scans that skip hidden names never see it
};

// Replaces path with content: a temporary file in the same directory is
// written, synced and renamed over it, so readers see the old or the new
// file, never a part.  The file keeps the permission bits of the one it
// replaces (never setuid, setgid or sticky; a link is not followed for
// them); a new one gets newFileMode.  On failure the old file stays, no
// temporary file is left, and errno tells why.
bool WriteFileAtomically(const std::string& path, std::string_view content, mode_t newFileMode,
                         Temporary temporary = Temporary::kBeside);

// Creates path with content and mode, never replacing a file there: a
// temporary file beside it is written whole and then linked to the name,
// which fails when the name is taken.  So the file appears whole or not at
// all.  1 created, 0 the name was taken, -1 failure (errno says why); no
// temporary file is left.
int CreateFileExclusively(const std::string& path, std::string_view content, mode_t mode);

}  // namespace base

#endif
