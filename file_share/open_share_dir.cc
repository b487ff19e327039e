// Opening a folder below a share's folder without following any link: the
// check and the use are one step, so nothing can be swapped in between.
// The result is a path descriptor (O_PATH): what the caller does with it
// (listing, making an entry) asks the kernel for that permission then.

#include <arx/webman_file_share.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace {

WEBFMERR ErrorOf(int error)
{
    if (error == ENOENT || error == ENOTDIR)
        return WEBFM_ERR_NOT_FOUND;
    if (error == EPERM || error == EACCES)
        return WEBFM_ERR_PERMISSION;
    return WEBFM_ERR_SYSTEM;
}

// Why element below fd could not be opened as a directory: a link (or a
// file) on the way is a bad path; otherwise as errno says.
WEBFMERR WhyNot(int fd, const std::string& element, int error)
{
    struct stat st;
    if ((error == ELOOP || error == ENOTDIR) && fstatat(fd, element.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0)
        return WEBFM_ERR_BAD_PATH;
    return ErrorOf(error);
}

}  // namespace

int WebmanFileShare::WfmOpenShareDir(const std::string& folder, const std::string& rest)
{
    WfmLibSetErr(WEBFM_ERR_NONE);
    if (folder.empty() || folder[0] != '/') {
        WfmLibSetErr(WEBFM_ERR_BAD_PARAMETER);
        return -1;
    }
    // The share's own folder is the administrator's word, links and all.
    // Path descriptors: a folder on the way needs only to be entered, not
    // read (a homes folder of mode 0711).
    int fd = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        WfmLibSetErr(ErrorOf(errno));
        return -1;
    }
    size_t start = 0;
    while (start < rest.size()) {
        size_t end = rest.find('/', start);
        if (end == std::string::npos)
            end = rest.size();
        const std::string element = rest.substr(start, end - start);
        start = end + 1;
        if (element.empty())
            continue;
        if (element == "." || element == "..") {
            close(fd);
            WfmLibSetErr(WEBFM_ERR_BAD_PARAMETER);
            return -1;
        }
        const int next = openat(fd, element.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            WfmLibSetErr(WhyNot(fd, element, errno));
            close(fd);
            return -1;
        }
        close(fd);
        fd = next;
    }
    return fd;
}
