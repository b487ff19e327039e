#include "file_io.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>

#include <unordered_map>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/file.h>

namespace vorn {

namespace {

bool WriteAll(int fd, std::string_view data)
{
    while (!data.empty()) {
        const ssize_t written = write(fd, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

void SyncDirectoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

}  // namespace

bool ReadWholeFile(const char* path, std::string& content, struct stat* info)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    const int error = fstat(fd, &st) != 0 ? errno : !S_ISREG(st.st_mode) ? EINVAL : 0;
    if (info != nullptr)
        *info = st;
    if (error != 0) {
        close(fd);
        errno = error;
        return false;
    }
    // Straight into the string, one byte more than the size: a regular
    // file's short read is its end, so no read is spent on finding it.
    size_t length = 0;
    content.resize(static_cast<size_t>(st.st_size) + 1);
    for (;;) {
        const ssize_t got = read(fd, &content[length], content.size() - length);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            const int readError = errno;
            close(fd);
            content.clear();
            errno = readError;
            return false;
        }
        length += static_cast<size_t>(got);
        if (length < content.size())
            break;
        content.resize(content.size() * 2);  // the file grew since fstat
    }
    content.resize(length);
    close(fd);
    return true;
}

bool SameVersion(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

bool ReadFileCached(const char* path, std::string& content)
{
    struct Cached {
        struct stat version;
        std::string content;
    };
    static std::unordered_map<std::string, Cached> cache;
    constexpr size_t kMostFiles = 32;

    // A file read before is checked with stat; the first read needs none.
    const auto found = cache.find(path);
    struct stat st;
    if (found != cache.end() && stat(path, &st) == 0 && SameVersion(found->second.version, st)) {
        content = found->second.content;
        return true;
    }
    Cached read;
    if (!ReadWholeFile(path, read.content, &read.version))
        return false;
    content = read.content;
    if (cache.size() >= kMostFiles)
        cache.clear();
    cache[path] = std::move(read);
    return true;
}

bool WriteFileAtomically(const std::string& path, std::string_view content, mode_t newFileMode)
{
    mode_t mode = newFileMode;
    struct stat st;
    if (stat(path.c_str(), &st) == 0)
        mode = st.st_mode & 07777;

    std::string temporary = path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = WriteAll(fd, content) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
    int error = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && rename(temporary.c_str(), path.c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        unlink(temporary.c_str());
        errno = error;
        return false;
    }
    SyncDirectoryOf(path);
    return true;
}

bool MakeDirectories(const std::string& path, mode_t mode)
{
    struct stat st;
    if (stat(path.c_str(), &st) == 0)
        return S_ISDIR(st.st_mode);
    const size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !MakeDirectories(path.substr(0, slash), mode))
        return false;
    return mkdir(path.c_str(), mode) == 0 || (errno == EEXIST && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode));
}

bool MakePrivateDirectory(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !MakeDirectories(path.substr(0, slash), 0755))
        return false;
    return MakeDirectories(path, 0700);
}

bool ListDirectory(const std::string& path, std::vector<std::string>& names)
{
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr)
        return false;
    names.clear();
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(dir);
    return true;
}

}  // namespace vorn

extern "C" int VLIBCFileExist(const char* path)
{
    if (path == nullptr || *path == '\0')
        return 0;
    struct stat st;
    return stat(path, &st) == 0 ? 1 : 0;
}
