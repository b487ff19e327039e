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
#include <utility>
#include <vector>

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

// Whether the open descriptor fd is the web root or below it, by the path
// the kernel knows it under now: a check no link swapped in after the open
// can fool.  False when that cannot be told (no /proc).
bool DescriptorInsideWebRoot(int fd);

// "/proc/self/fd/N": the name by which the process opens again (or hands
// to a program that takes a path) the file its descriptor fd holds.
std::string DescriptorPath(int fd);

// A directory below the web root, open for the paths below it: each
// lookup walks a few elements instead of the whole path from "/".
class WebDirectory {
public:
    // Opens path (absolute) as a directory; open() tells whether it is,
    // and is false for one that links lead out of the web root.
    explicit WebDirectory(const std::string& path);
    // The directory name below parent (links followed: the caller checked
    // them), reached through parent's descriptor: nothing is opened.
    WebDirectory(const WebDirectory& parent, const std::string& name);
    ~WebDirectory();
    WebDirectory(const WebDirectory&) = delete;
    WebDirectory& operator=(const WebDirectory&) = delete;

    bool open() const { return fd_ >= 0; }
    const std::string& path() const { return path_; }
    // The status of relative (a link's own with AT_SYMLINK_NOFOLLOW).
    bool Status(const std::string& relative, struct stat& st, int flags) const;

    // Whether relative below the directory is readable by the process's
    // effective ids.
    bool Readable(const std::string& relative) const;
    // Whether something exists at relative.
    bool Exists(const std::string& relative) const;

    // Whether an element of relative is a link that does not resolve inside
    // the web root (a dangling one included).  The walk ends at the first
    // missing element: what does not exist leads nowhere.
    bool LinkLeadsOut(std::string_view relative) const;

    // Opens the regular file at relative for reading, never blocking on a
    // FIFO.  Links are followed only to a file inside the web root, and
    // what they lead to is opened only when it is one.  -1 with errno
    // (ELOOP for a link that leads out, EINVAL for what is not a regular
    // file).
    int OpenFile(const std::string& relative, struct stat& st) const;

    // A new descriptor of the directory itself, for reading its entries.
    int OpenListing() const;

private:
    int OpenThroughLinks(const std::string& below, int flags) const;
    std::string Below(const std::string& relative) const { return prefix_ + relative; }

    std::string path_;
    std::string prefix_;  // "name/" of a directory reached through its parent
    int fd_;
    bool owned_;
};

// The entries of a directory but "." and "..", in byte order of their
// names (so which of two modules wins an id does not depend on the file
// system), each with its type (DT_DIR, DT_LNK, DT_REG or DT_UNKNOWN; a
// link's own).
std::vector<std::pair<std::string, unsigned char>> SortedEntries(const WebDirectory& dir);

}  // namespace arx::jsconfig

#endif
