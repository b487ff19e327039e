// Opening files without being led astray: a planted symbolic link, a FIFO
// that would block the process, or a device in place of a file.  Programs
// that run as root open files in directories that others can write (a
// user's preference directory, "/tmp"), so every open here is
// non-blocking, close-on-exec, and checked with fstat to be a regular file.
#ifndef ARX_BASE_SAFE_OPEN_H
#define ARX_BASE_SAFE_OPEN_H

#include <sys/stat.h>
#include <sys/types.h>

namespace base {

enum class Links {
    kFollow,  // a link to a regular file is fine (system files, packages' links)
    kRefuse,  // the last path element must not be a link (ELOOP)
};

// Opens path read-only.  The descriptor, or -1 with errno: ELOOP for a
// refused link, EINVAL for anything but a regular file.  info, when given,
// receives the file's status.
int OpenForReading(const char* path, Links links, struct stat* info = nullptr);

// Opens path for reading and writing, creating it with exactly newFileMode
// (the umask does not apply) when it is missing.  Never a link, and never a
// file with more than one name: a hard link planted to another file would
// have the writer change that file.  -1 with errno (EMLINK for a file with
// several names).
int OpenForWriting(const char* path, mode_t newFileMode, struct stat* info = nullptr);

// The same for name in the directory dirfd (AT_FDCWD: the working
// directory), so that a caller that holds the directory open works on the
// files of that very directory.  created, when given, tells whether
// OpenForWritingAt made the file.
int OpenForReadingAt(int dirfd, const char* name, Links links, struct stat* info = nullptr);
int OpenForWritingAt(int dirfd, const char* name, mode_t newFileMode, struct stat* info = nullptr,
                     bool* created = nullptr);

// The permission bits a file's replacement may take over from it: never
// setuid, setgid or sticky.
mode_t CopyableMode(mode_t mode);

}  // namespace base

#endif
