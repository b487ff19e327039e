#include "cgi-bin/share_folder.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <vector>

#include <vorn/file.h>
#include <vorn/root.h>
#include <vorn/user.h>

namespace {

constexpr char kShareFile[] = "/usr/vorn/etc/share.conf";

std::string ShareValue(const std::string& share, const char* key)
{
    char value[4096];
    const std::string file = VORNRootPathString(kShareFile);
    return VLIBCFileGetSectionValue(file.c_str(), share.c_str(), key, value, sizeof value) >= 0 ? value : "";
}

// Whether a comma list of names and "@group"s names user.
bool Lists(const std::string& list, const std::string& user)
{
    std::stringstream items(list);
    std::string item;
    while (std::getline(items, item, ',')) {
        item.erase(0, item.find_first_not_of(" \t"));
        item.erase(item.find_last_not_of(" \t") + 1);
        if (item == user || (item.size() > 1 && item[0] == '@' && VLIBGroupIsMember(item.c_str() + 1, user.c_str()) == 1))
            return true;
    }
    return false;
}

std::vector<std::string> Elements(const std::string& folder)
{
    std::vector<std::string> elements;
    std::stringstream parts(folder);
    std::string part;
    bool first = true;
    while (std::getline(parts, part, '/')) {
        if (!(first && part.empty()))  // the leading '/'
            elements.push_back(part);
        first = false;
    }
    if (!elements.empty() && elements.back().empty() && elements.size() > 1)
        elements.pop_back();  // a trailing '/'
    return elements;
}

int CopyInto(const std::string& from, int folderFd, const std::string& name)
{
    const int in = open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st;
    if (in < 0 || fstat(in, &st) != 0) {
        const int error = errno;
        if (in >= 0)
            close(in);
        return error;
    }
    const int out = openat(folderFd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    int error = out < 0 ? errno : 0;
    for (off_t left = st.st_size; error == 0 && left > 0;) {
        const ssize_t sent = sendfile(out, in, nullptr, static_cast<size_t>(left));
        if (sent <= 0)
            error = sent < 0 ? errno : EIO;
        else
            left -= sent;
    }
    if (out >= 0 && close(out) != 0 && error == 0)
        error = errno;
    close(in);
    if (error != 0) {
        if (out >= 0)
            unlinkat(folderFd, name.c_str(), 0);
        return error;
    }
    unlink(from.c_str());
    return 0;
}

}  // namespace

int SharePrivilege(const std::string& share, const std::string& user, bool isAdmin)
{
    if (ShareValue(share, "path").empty() || Lists(ShareValue(share, "deny"), user))
        return 0;
    if (isAdmin || Lists(ShareValue(share, "rw"), user))
        return 2;
    return Lists(ShareValue(share, "ro"), user) ? 1 : 0;
}

int OpenShareFolder(const std::string& folder, std::string& share, std::string& shown)
{
    const std::vector<std::string> elements = Elements(folder);
    if (elements.empty() || elements[0].empty())
        return -1;
    share = elements[0];
    const std::string path = ShareValue(share, "path");
    if (path.empty() || path[0] != '/')
        return -1;
    int fd = open(VORNRootPathString(path.c_str()).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    shown = "/" + share;
    for (size_t i = 1; i < elements.size() && fd >= 0; ++i) {
        const std::string& element = elements[i];
        int next = -1;
        if (IsStorableName(element))
            next = openat(fd, element.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        close(fd);
        fd = next;
        shown += "/" + element;
    }
    return fd;
}

bool IsStorableName(const std::string& name)
{
    if (name.empty() || name.size() > 255 || name == "." || name == "..")
        return false;
    for (const char c : name) {
        if (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    }
    return true;
}

int MoveInto(const std::string& from, int folderFd, const std::string& name)
{
    // Readable by those who may read the folder, like any file put there.
    const int fd = open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return errno;
    fchmod(fd, 0644);
    close(fd);
    if (renameat2(AT_FDCWD, from.c_str(), folderFd, name.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    return errno == EXDEV ? CopyInto(from, folderFd, name) : errno;
}
