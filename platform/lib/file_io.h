// Whole-file reads and atomic replacement.
#ifndef VORN_PLATFORM_FILE_IO_H
#define VORN_PLATFORM_FILE_IO_H

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

// Reads a regular file whole.  false with errno set on failure.  info,
// when given, receives the file's status as read.
bool ReadWholeFile(const char* path, std::string& content, struct stat* info = nullptr);

// Whether two statuses are of the same version of a file: replacing a file
// (by rename) gives another inode, changing it another time or size.
bool SameVersion(const struct stat& a, const struct stat& b);

// ReadWholeFile for small files a process reads again and again (the user
// database, the configuration): the content is kept per process and read
// again only when stat tells of another version of the file.
bool ReadFileCached(const char* path, std::string& content);

// Replaces path with content: a temporary file in the same directory is
// written, synced and renamed over it, so readers see the old or the new
// file, never a part.  The file keeps its mode; a new one gets newFileMode.
// On failure nothing is left behind and errno tells why.
bool WriteFileAtomically(const std::string& path, std::string_view content, mode_t newFileMode);

// Creates path and its missing parents with mode (before the umask); true
// when path is a directory afterwards.
bool MakeDirectories(const std::string& path, mode_t mode);

// MakeDirectories for a directory that only its owner may enter: the
// missing parents get 0755, path itself 0700.
bool MakePrivateDirectory(const std::string& path);

// The names in a directory but "." and ".."; false when it cannot be read.
bool ListDirectory(const std::string& path, std::vector<std::string>& names);

}  // namespace vorn

#endif
