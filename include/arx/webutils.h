// WebUtils: helpers that CGI programs share.
//
// JSON settings files are read and written whole under an advisory flock
// on the file itself: readers share the lock, writers hold it exclusively,
// so a reader never sees a file that a writer is in the middle of.  They
// live where their users can write, so a file is only ever opened when it
// is a regular file with one name: never through a symbolic link, never a
// FIFO or device.
#ifndef ARX_WEBUTILS_H
#define ARX_WEBUTILS_H

#include <json/value.h>

#include <arx/export.h>

namespace WebUtils {

// Opens path read-only and takes a blocking flock on it (exclusive or
// shared).  The descriptor, or a negative value when the file cannot be
// opened or is a link or no regular file (no lock is held then).  The file
// is never created here.
ARX_EXPORT int LockFile(const char* path, bool exclusive);

// Releases and closes a descriptor of LockFile; a negative one is ignored.
ARX_EXPORT void UnlockFile(int fd);

// Reads path under a shared lock into out.  false, with out untouched, when
// the file cannot be opened, is a link or no regular file, is larger than
// 16 MiB, or is not JSON.
ARX_EXPORT bool LoadJsonFile(Json::Value& out, const char* path);

// Rewrites path in place under an exclusive lock, as one line of compact
// JSON and a newline.  A missing file is created with mode 0644 (the
// umask does not apply).  false when the file cannot be opened for
// writing (also a link, a file with a second name, or no regular file) or
// the write fails.  The in-place rewrite is what keeps the lock
// meaningful: never replace these files by rename.
ARX_EXPORT bool SaveJsonFile(Json::Value& value, const char* path);

// Kept for existing callers: does nothing.
ARX_EXPORT void GetServiceEnabled(Json::Value& value);

}  // namespace WebUtils

#endif
