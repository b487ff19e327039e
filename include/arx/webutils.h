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

#include <string>

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

// ---- Stamps, ETags and "304 Not Modified" --------------------------------
//
// The desktop loads scripts, style sheets and texts through URLs that carry
// a stamp ("?v=1732312345"), so that a browser fetches them again exactly
// when they changed.  A stamp is a modification time in decimal seconds;
// when the file cannot be examined it is the current time, which changes
// on every request and so is never cached.
//
// The document root is DOCUMENT_ROOT, the script directory that of
// SCRIPT_FILENAME (both "/usr/vorn/vornman/" under the system root when
// unset); each is read once per process.

// The stamp of path, resolved as the web server would: a query ("?...")
// is ignored; "" (or NULL) is the script directory; a path beginning with
// "/" is below the document root; a relative path containing "webman/" is
// taken as it stands (relative to the working directory), any other
// relative path is below the script directory.
ARX_EXPORT std::string GetModifyTime(const char* path);

// The stamp of the factory defaults ("/etc.defaults/vorninfo.conf").
ARX_EXPORT std::string GetVornDefModifyTime();

// The stamp of a module family's UI strings directory: the document root's
// "scripts/texts", "webman/texts" or "webfm/texts" for a module whose name
// begins with "scripts", "webman" or "webfm"; the current time for any
// other module.
ARX_EXPORT std::string GetUIStringModifyTime(const std::string& module);

// The ETag of the request's URI (SCRIPT_NAME "?" QUERY_STRING): the MD5
// of that text in a zero-filled 1024-byte buffer, as four groups of four
// bytes in lower-case hex without leading zeros ("5-ab-..."), the form
// clients compare.  "" when SCRIPT_NAME is unset or MD5 fails.  libcrypto
// is loaded on the first call: programs that never ask for an ETag never
// map it.
ARX_EXPORT std::string CreateCGIETag();

// When the request's If-None-Match is exactly etag (no quotes, no lists),
// prints "Status: 304 Not Modified" and the ETag as the whole response and
// returns true: the program then prints nothing more.  false, printing
// nothing, for an empty etag or another (or no) If-None-Match.
ARX_EXPORT bool OutputNotModifiedIfMatch(const std::string& etag);

}  // namespace WebUtils

#endif
