#include "jsconfig/web_root.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/openat2.h>

#include <algorithm>

#include <vorn/root.h>

namespace arx::jsconfig {

namespace {

constexpr char kWebRoot[] = "/usr/vorn/vornman";

std::string RealPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : std::string();
}

// The web root with its own links resolved, found once per system root.
const std::string& RealWebRoot()
{
    static std::string root;
    static std::string real;
    const std::string current = WebRoot();
    if (current != root) {
        root = current;
        real = RealPath(current);
    }
    return real;
}

// Whether real (a resolved path) is root or below it.
bool IsInside(const std::string& root, std::string_view real)
{
    if (root.empty() || real.empty())
        return false;
    return real == root || (real.size() > root.size() && real.compare(0, root.size(), root) == 0 &&
                            (root == "/" || real[root.size()] == '/'));
}

}  // namespace

std::string DescriptorPath(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

std::string WebRoot()
{
    return VORNRootPathString(kWebRoot);
}

std::string BaseFor(const std::string& root)
{
    return root == "vornman" ? WebRoot() : WebRoot() + "/webman";
}

bool StaysBelow(std::string_view relative)
{
    if (relative.find('\0') != std::string_view::npos)
        return false;
    while (!relative.empty()) {
        const size_t slash = relative.find('/');
        if (relative.substr(0, slash) == "..")
            return false;
        if (slash == std::string_view::npos)
            break;
        relative.remove_prefix(slash + 1);
    }
    return true;
}

bool ResolvesInsideWebRoot(const std::string& path)
{
    return IsInside(RealWebRoot(), RealPath(path));
}

bool DescriptorInsideWebRoot(int fd)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(DescriptorPath(fd).c_str(), target, sizeof target);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof target || target[0] != '/')
        return false;  // without /proc no link is taken
    return IsInside(RealWebRoot(), std::string_view(target, static_cast<size_t>(length)));
}

WebDirectory::WebDirectory(const std::string& path)
    : path_(path), fd_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), owned_(true)
{
    // A path with a link in it counts only when it leads to the web root or
    // below: asked of the directory opened, which no link can swap.
    if (fd_ >= 0 && !DescriptorInsideWebRoot(fd_)) {
        close(fd_);
        fd_ = -1;
    }
}

// A scan makes a dozen calls per module: paths below the parent's
// descriptor save opening and closing each module directory.
WebDirectory::WebDirectory(const WebDirectory& parent, const std::string& name)
    : path_(parent.path_ + "/" + name), prefix_(parent.prefix_ + name + "/"), fd_(parent.fd_), owned_(false)
{ }

WebDirectory::~WebDirectory()
{
    if (owned_ && fd_ >= 0)
        close(fd_);
}

// With the effective ids, as the process would open the file: a check with
// the real ids (access(2)) costs the kernel a copy of the credentials on
// every call, and answers for the wrong user once the process acts as
// another.
bool WebDirectory::Readable(const std::string& relative) const
{
    return fd_ >= 0 && faccessat(fd_, Below(relative).c_str(), R_OK, AT_EACCESS) == 0;
}

bool WebDirectory::Exists(const std::string& relative) const
{
    return fd_ >= 0 && faccessat(fd_, Below(relative).c_str(), F_OK, AT_EACCESS) == 0;
}

bool WebDirectory::Status(const std::string& relative, struct stat& st, int flags) const
{
    return fd_ >= 0 && fstatat(fd_, Below(relative).c_str(), &st, flags) == 0;
}

bool WebDirectory::LinkLeadsOut(std::string_view relative) const
{
    if (fd_ < 0)
        return false;
    // Nearly always there is no link at all: one lookup that refuses any
    // link says so.  A link (ELOOP), a missing element or an older kernel
    // takes the walk below.
    struct open_how how = {};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    const std::string below = Below(std::string(relative));
    const int fd = static_cast<int>(syscall(SYS_openat2, fd_, below.c_str(), &how, sizeof how));
    if (fd >= 0) {
        close(fd);
        return false;
    }
    std::string walked;
    while (!relative.empty()) {
        const size_t slash = relative.find('/');
        const std::string_view element = relative.substr(0, slash);
        relative.remove_prefix(slash == std::string_view::npos ? relative.size() : slash + 1);
        if (element.empty() || element == ".")
            continue;
        walked.append(walked.empty() ? "" : "/").append(element);
        struct stat st;
        if (!Status(walked, st, AT_SYMLINK_NOFOLLOW))
            return false;
        // Each link on the way must resolve inside (a dangling one does not).
        if (S_ISLNK(st.st_mode) && !ResolvesInsideWebRoot(path_ + "/" + walked))
            return true;
    }
    return false;
}

int WebDirectory::OpenFile(const std::string& relative, struct stat& st) const
{
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    if (fd_ < 0) {
        errno = EBADF;
        return -1;
    }
    const std::string below = Below(relative);
    // Nearly always the file is below the directory with no link on the
    // way: one open that refuses anything else says so.  Otherwise (a link,
    // a "..", or openat2 refused by the kernel or a filter of system calls)
    // the file is opened with links followed and the file reached decides,
    // so that a link swapped in between a check and the open cannot lead
    // out.
    struct open_how how = {};
    how.flags = kFlags;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    int fd = static_cast<int>(syscall(SYS_openat2, fd_, below.c_str(), &how, sizeof how));
    if (fd < 0 && (errno == ELOOP || errno == EXDEV || errno == ENOSYS || errno == EPERM))
        fd = OpenThroughLinks(below, kFlags);
    if (fd < 0)
        return -1;
    // Regular files only: O_NONBLOCK kept the open from waiting on a FIFO.
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        errno = EINVAL;
        return -1;
    }
    return fd;
}

// Where the links lead is learnt from a descriptor that opens nothing
// (O_PATH reaches no driver: a link to a watchdog or a tape device has no
// effect), and only a regular file inside the web root is then opened,
// through that descriptor rather than the path again.
int WebDirectory::OpenThroughLinks(const std::string& below, int flags) const
{
    const int path = openat(fd_, below.c_str(), O_PATH | O_CLOEXEC);
    if (path < 0)
        return -1;
    struct stat st;
    int fd = -1;
    if (!DescriptorInsideWebRoot(path))
        errno = ELOOP;
    else if (fstat(path, &st) != 0 || !S_ISREG(st.st_mode))
        errno = EINVAL;
    else
        fd = ::open(DescriptorPath(path).c_str(), flags);
    const int saved = errno;
    close(path);
    errno = saved;
    return fd;
}

int WebDirectory::OpenListing() const
{
    return fd_ >= 0 ? openat(fd_, prefix_.empty() ? "." : prefix_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
}

std::vector<std::pair<std::string, unsigned char>> SortedEntries(const WebDirectory& dir)
{
    std::vector<std::pair<std::string, unsigned char>> entries;
    const int fd = dir.OpenListing();
    if (fd < 0)
        return entries;
    // Read into the stack rather than through opendir's buffer: a large
    // allocation costs the allocator a consolidation of everything freed.
    alignas(dirent64) char buffer[16384];
    ssize_t got;
    while ((got = getdents64(fd, buffer, sizeof buffer)) > 0) {
        for (ssize_t offset = 0; offset < got;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
                continue;
            unsigned char type = entry->d_type;
            struct stat st;
            if (type == DT_UNKNOWN && dir.Status(name, st, AT_SYMLINK_NOFOLLOW))
                type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
            entries.emplace_back(name, type);
        }
    }
    close(fd);
    std::sort(entries.begin(), entries.end());
    return entries;
}

}  // namespace arx::jsconfig
