// WebUtils: helpers that CGI programs share.
//
// JSON settings files are read and written whole under an advisory flock
// on the file itself: readers share the lock, writers hold it exclusively,
// so a reader never sees a file that a writer is in the middle of.
#ifndef ARX_WEBUTILS_H
#define ARX_WEBUTILS_H

#include <json/value.h>

#include <arx/export.h>

namespace WebUtils {

// Opens path read-only and takes a blocking flock on it (exclusive or
// shared).  The descriptor, or a negative value when the file cannot be
// opened (no lock is held then).  The file is never created here.
ARX_EXPORT int LockFile(const char* path, bool exclusive);

// Releases and closes a descriptor of LockFile; a negative one is ignored.
ARX_EXPORT void UnlockFile(int fd);

// Reads path under a shared lock into out.  false, with out untouched, when
// the file cannot be opened or is not JSON.
ARX_EXPORT bool LoadJsonFile(Json::Value& out, const char* path);

// Rewrites path in place under an exclusive lock, as one line of compact
// JSON and a newline.  A missing file is created (0666 less the umask).
// false when the file cannot be opened for writing.  The in-place rewrite
// is what keeps the lock meaningful: never replace these files by rename.
ARX_EXPORT bool SaveJsonFile(Json::Value& value, const char* path);

// Kept for existing callers: does nothing.
ARX_EXPORT void GetServiceEnabled(Json::Value& value);

}  // namespace WebUtils

#endif
