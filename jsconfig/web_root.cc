#include "jsconfig/web_root.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vorn/root.h>

#include "base/safe_open.h"

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

}  // namespace

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
    const std::string& root = RealWebRoot();
    const std::string real = RealPath(path);
    if (root.empty() || real.empty())
        return false;
    return real == root || (real.size() > root.size() && real.compare(0, root.size(), root) == 0 &&
                            (root == "/" || real[root.size()] == '/'));
}

bool LinkLeadsOut(const std::string& dir, std::string_view relative)
{
    std::string path = dir;
    while (!relative.empty()) {
        const size_t slash = relative.find('/');
        const std::string_view element = relative.substr(0, slash);
        relative.remove_prefix(slash == std::string_view::npos ? relative.size() : slash + 1);
        if (element.empty() || element == ".")
            continue;
        path.append("/").append(element);
        struct stat st;
        if (lstat(path.c_str(), &st) != 0)
            return false;
        // Each link on the way must resolve inside (a dangling one does not).
        if (S_ISLNK(st.st_mode) && !ResolvesInsideWebRoot(path))
            return true;
    }
    return false;
}

int OpenInsideWebRoot(const std::string& path, struct stat& st)
{
    const int fd = base::OpenForReading(path.c_str(), base::Links::kRefuse, &st);
    if (fd >= 0 || errno != ELOOP)
        return fd;
    if (!ResolvesInsideWebRoot(path)) {
        errno = ELOOP;
        return -1;
    }
    return base::OpenForReading(path.c_str(), base::Links::kFollow, &st);
}

}  // namespace arx::jsconfig
