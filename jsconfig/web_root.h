// The web root "/usr/vorn/vornman" and the rules for paths below it.
//
// Module directories, their configs and strings files are data that an
// installed package controls.  A path that a package names ("texts",
// script file names) may not climb out with "..", and a symbolic link
// is followed only when it resolves inside the web root.
#ifndef ARX_JSCONFIG_WEB_ROOT_H
#define ARX_JSCONFIG_WEB_ROOT_H

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace arx::jsconfig {

// The web root under the system root.
std::string WebRoot();

// The base of a scan: the web root for "vornman", its "webman" directory
// for any other root name.
std::string BaseFor(const std::string& root);

// Whether a relative path that a package names keeps below where it is
// put: no ".." element and no NUL byte.
bool StaysBelow(std::string_view relative);

// Whether the existing path resolves (links followed) to the web root or a
// path below it.
bool ResolvesInsideWebRoot(const std::string& path);

// Whether an element of relative below dir is a link that does not
// resolve inside the web root (a dangling one included).  The walk ends at
// the first missing element: what does not exist leads nowhere.
bool LinkLeadsOut(const std::string& dir, std::string_view relative);

// Opens the regular file at path for reading, never blocking on a FIFO.
// A link is followed only when it resolves inside the web root.  -1 with
// errno (ELOOP for a link that leads out).
int OpenInsideWebRoot(const std::string& path, struct stat& st);

}  // namespace arx::jsconfig

#endif
