// The files of uploads: where they may be stored and under which names.
#ifndef VORN_PLATFORM_UPLOAD_FILES_H
#define VORN_PLATFORM_UPLOAD_FILES_H

#include <sys/stat.h>
#include <time.h>

#include <string>
#include <string_view>

namespace vorn {

// "upload_" and 32 lower-case hex digits: the names the platform gives.
bool IsUploadFileName(std::string_view name);

// Creates a new upload file in the directory dirFd (O_EXCL, O_NOFOLLOW,
// mode 0600) under a fresh random name, written into name.  The
// descriptor, or -1 with errno.
int CreateUploadFile(int dirFd, std::string& name);

// Whether dir is a volume's upload folder: VOLUME/@sharebin/@tmp.
bool IsUploadArea(const std::string& dir);

// Opens the directory uploads are stored in.  A volume's upload folder is
// created when missing (as root for the moment: @sharebin 0755, @tmp
// 01733) and must be root's and either sticky or writable by root alone.
// Any other directory is used as it is.  The descriptor, or -1 (logged).
int OpenUploadDirectory(const std::string& dir);

// Whether path is a file the platform stored for the process's effective
// user: in a volume's upload folder, under an upload file name, a regular
// file with one name, owned by the effective uid.  The reason it is not,
// for the log, in why.
bool IsOwnUploadFile(const std::string& path, struct stat& st, std::string& why);

// Files in an upload folder that nobody touched for this long were left
// behind: a sliced upload whose client went away, a file its program never
// moved.
constexpr time_t kAbandonedAfterSeconds = 24 * 60 * 60;

// Removes from the upload folder dir the regular files under upload file
// names not modified for kAbandonedAfterSeconds, except the one named
// keep.  As root for the moment, since nobody else may list the folder;
// nothing is followed, and a folder that is not root's own is left alone.
// The number removed, or -1 (logged).
int SweepAbandonedUploads(const std::string& dir, std::string_view keep);

}  // namespace vorn

#endif
