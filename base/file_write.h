// Writing files whole: all of a buffer, and atomic replacement.
#ifndef ARX_BASE_FILE_WRITE_H
#define ARX_BASE_FILE_WRITE_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

namespace base {

// Writes all of data to fd, retrying short writes and interrupted calls.
bool WriteAll(int fd, std::string_view data);

// Makes the file open in to hold what the file open in from holds: its
// bytes are copied over to's from the start (inside the kernel where it
// can) and to is cut to their length after, so that the old bytes need not
// be written back first.  Offsets of neither descriptor move.
bool OverwriteWithFile(int to, int from);

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

// What a file written by ReplaceFileAt gets: its permission bits, and its
// owner and group (-1: the writer's).
struct NewFile {
    mode_t mode = 0644;
    uid_t owner = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
};

// Replaces name in the directory dirfd with content: a temporary file
// beside it is created (never through a link), written, given its mode and
// owner, synced and renamed over name.  temporaryName names that file when
// the caller alone writes there (it holds a lock), so that an interrupted
// writer leaves nothing that the next one does not take away; "" picks a
// fresh hidden name (".NAME.XXXXXX").  Readers see the old file or the new
// one.  On failure name is as it was, no temporary file is left, and errno
// tells why.  The directory itself is not synced.
bool ReplaceFileAt(int dirfd, const std::string& name, std::string_view content, const NewFile& file,
                   const std::string& temporaryName = "");
// The same with the content written by writeContent (true when all of it is
// written, false with errno set), for content that is produced as it is
// written rather than held whole in memory.  writeContent gets the
// temporary file's descriptor open for reading and writing: a duplicate it
// keeps reads the file back after the rename without opening it by name.
bool ReplaceFileAt(int dirfd, const std::string& name, const std::function<bool(int fd)>& writeContent,
                   const NewFile& file, const std::string& temporaryName = "");

// Creates path with content and mode, never replacing a file there: a
// temporary file beside it is written whole and then linked to the name,
// which fails when the name is taken.  So the file appears whole or not at
// all.  1 created, 0 the name was taken, -1 failure (errno says why); no
// temporary file is left.
int CreateFileExclusively(const std::string& path, std::string_view content, mode_t mode);

}  // namespace base

#endif
