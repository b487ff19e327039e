#include "base/file_read.h"

#include <errno.h>
#include <unistd.h>

#include <unordered_map>

namespace base {

bool ReadWholeDescriptor(int fd, const struct stat& st, std::string& content, size_t most)
{
    // Straight into the string, one byte more than the size: a regular
    // file's short read is its end, so no read is spent on finding it.
    // The byte past most, when read, tells a file that grew too large.
    if (static_cast<size_t>(st.st_size) > most) {
        content.clear();
        errno = EFBIG;
        return false;
    }
    const size_t limit = most < std::numeric_limits<size_t>::max() ? most + 1 : most;
    size_t length = 0;
    content.resize(static_cast<size_t>(st.st_size) + 1);
    for (;;) {
        const ssize_t got = read(fd, &content[length], content.size() - length);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            content.clear();
            return false;
        }
        length += static_cast<size_t>(got);
        if (length > most) {
            content.clear();
            errno = EFBIG;
            return false;
        }
        if (length < content.size())
            break;
        // The file grew since fstat.
        content.resize(content.size() > limit / 2 ? limit : content.size() * 2);
    }
    content.resize(length);
    return true;
}

bool ReadWholeFile(const char* path, std::string& content, struct stat* info, Links links)
{
    content.clear();
    struct stat st;
    const int fd = OpenForReading(path, links, &st);
    if (fd < 0)
        return false;
    if (info != nullptr)
        *info = st;
    const bool read = ReadWholeDescriptor(fd, st, content);
    const int error = errno;
    close(fd);
    errno = error;
    return read;
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

}  // namespace base
