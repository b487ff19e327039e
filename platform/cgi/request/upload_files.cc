#include "cgi/request/upload_files.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/volume.h>

#include "base/root_moment.h"

namespace vorn {

namespace {

constexpr std::string_view kPrefix = "upload_";
constexpr size_t kHexDigits = 32;

// The upload folder of the volume dir is on, or "".
std::string UploadAreaOf(const std::string& dir)
{
    char volume[4096];
    char bin[4096];
    if (VolumePathParse(dir.c_str(), volume, sizeof volume) <= 0 ||
        VORNShareBinPathGet(volume, bin, sizeof bin) < 0)
        return "";
    return std::string(bin) + "/@tmp";
}

bool IsTrustedArea(const struct stat& st)
{
    return S_ISDIR(st.st_mode) && st.st_uid == 0 && ((st.st_mode & S_ISVTX) != 0 || (st.st_mode & 022) == 0);
}

// @sharebin and @tmp of a volume, as root for the moment.
bool CreateUploadArea(const std::string& dir)
{
    base::RootMoment root;
    if (!root.ok())
        return false;
    const std::string bin = dir.substr(0, dir.rfind('/'));
    const bool ok = VORNFSMkdirP(bin.c_str(), 0, 0, 0, 0, 0755) == 0 && VORNFSMkdirP(dir.c_str(), 0, 0, 0, 0, 01733) == 0;
    const int error = errno;
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "upload_files:%d cannot return from root: %m", __LINE__);
    errno = error;
    return ok;
}

}  // namespace

bool IsUploadFileName(std::string_view name)
{
    if (name.size() != kPrefix.size() + kHexDigits || name.substr(0, kPrefix.size()) != kPrefix)
        return false;
    return name.find_first_not_of("0123456789abcdef", kPrefix.size()) == std::string_view::npos;
}

int CreateUploadFile(int dirFd, std::string& name)
{
    static const char kHex[] = "0123456789abcdef";
    for (int attempt = 0; attempt < 4; ++attempt) {
        unsigned char random[kHexDigits / 2];
        if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
            return -1;
        name.assign(kPrefix);
        for (const unsigned char byte : random) {
            name += kHex[byte >> 4];
            name += kHex[byte & 0xf];
        }
        const int fd = openat(dirFd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd >= 0) {
            fchmod(fd, 0600);  // whatever the umask
            return fd;
        }
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

bool IsUploadArea(const std::string& dir)
{
    const std::string area = UploadAreaOf(dir);
    return !area.empty() && area == dir;
}

int OpenUploadDirectory(const std::string& dir)
{
    const bool area = IsUploadArea(dir);
    struct stat st;
    if (area && lstat(dir.c_str(), &st) != 0 && errno == ENOENT && !CreateUploadArea(dir)) {
        VLIBCLog(LOG_ERR, "upload_files:%d cannot create the upload folder %s: %m", __LINE__, dir.c_str());
        return -1;
    }
    // O_PATH: files are created in it by those who may not list it.
    const int fd = open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | (area ? O_NOFOLLOW : 0));
    if (fd < 0) {
        VLIBCLog(LOG_ERR, "upload_files:%d cannot open the directory %s: %m", __LINE__, dir.c_str());
        return -1;
    }
    if (area && (fstat(fd, &st) != 0 || !IsTrustedArea(st))) {
        VLIBCLog(LOG_ERR, "upload_files:%d the upload folder %s is not root's own (owner %u, mode %04o)", __LINE__,
                 dir.c_str(), static_cast<unsigned>(st.st_uid), static_cast<unsigned>(st.st_mode & 07777));
        close(fd);
        return -1;
    }
    return fd;
}

bool IsOwnUploadFile(const std::string& path, struct stat& st, std::string& why)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos || !IsUploadFileName(std::string_view(path).substr(slash + 1))) {
        why = "no upload file name";
        return false;
    }
    const std::string dir = path.substr(0, slash);
    struct stat area;
    if (!IsUploadArea(dir) || lstat(dir.c_str(), &area) != 0 || !IsTrustedArea(area)) {
        why = "not in a volume's upload folder";
        return false;
    }
    if (lstat(path.c_str(), &st) != 0) {
        why = "missing";
        return false;
    }
    if (!S_ISREG(st.st_mode) || st.st_nlink != 1) {
        why = "not a regular file of one name";
        return false;
    }
    if (st.st_uid != geteuid()) {
        why = "another user's";
        return false;
    }
    return true;
}

int SweepAbandonedUploads(const std::string& dir, std::string_view keep)
{
    if (!IsUploadArea(dir))
        return 0;
    base::RootMoment root;
    if (!root.ok())
        return -1;
    int removed = -1;
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st;
    DIR* stream = fd >= 0 && fstat(fd, &st) == 0 && IsTrustedArea(st) ? fdopendir(fd) : nullptr;
    if (stream != nullptr) {
        removed = 0;
        const time_t before = time(nullptr) - kAbandonedAfterSeconds;
        while (const dirent* entry = readdir(stream)) {
            const std::string_view name = entry->d_name;
            struct stat file;
            if (IsUploadFileName(name) && name != keep &&
                fstatat(dirfd(stream), entry->d_name, &file, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(file.st_mode) &&
                file.st_mtime < before && unlinkat(dirfd(stream), entry->d_name, 0) == 0)
                ++removed;
        }
        closedir(stream);
    } else if (fd >= 0) {
        close(fd);
    }
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "upload_files:%d cannot return from root: %m", __LINE__);
    if (removed < 0)
        VLIBCLog(LOG_ERR, "upload_files:%d cannot look for abandoned uploads in %s", __LINE__, dir.c_str());
    else if (removed > 0)
        VLIBCLog(LOG_NOTICE, "upload_files:%d removed %d upload files untouched for a day from %s", __LINE__, removed,
                 dir.c_str());
    return removed;
}

}  // namespace vorn
