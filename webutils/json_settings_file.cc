// JSON settings files read and written whole under a flock on the file.
//
// They live in directories that their users can write (preference
// directories), and the programs that read and write them usually run as
// root: a file is opened only when it is a regular file of one name, never
// through a link and never waiting on a FIFO (base/safe_open.h).

#include <arx/webutils.h>

#include <errno.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <json/reader.h>
#include <json/writer.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "base/safe_open.h"

namespace {

constexpr mode_t kNewFileMode = 0644;
// Settings are a few KiB; a file this large is not ours, and reading it
// whole would only exhaust the process.
constexpr off_t kLargestSettingsFile = 16 << 20;

// Opens a settings file for reading: a regular file of one name (a second
// name would let its planter have root read another file for him).
int OpenSettingsFile(const char* path, struct stat& st)
{
    const int fd = base::OpenForReading(path != nullptr ? path : "", base::Links::kRefuse, &st);
    if (fd >= 0 && st.st_nlink > 1) {
        close(fd);
        errno = EMLINK;
        return -1;
    }
    return fd;
}

}  // namespace

namespace WebUtils {

int LockFile(const char* path, bool exclusive)
{
    struct stat st;
    const int fd = OpenSettingsFile(path, st);
    if (fd < 0)
        return fd;
    flock(fd, exclusive ? LOCK_EX : LOCK_SH);
    return fd;
}

void UnlockFile(int fd)
{
    if (fd < 0)
        return;
    flock(fd, LOCK_UN);
    close(fd);
}

bool LoadJsonFile(Json::Value& out, const char* path)
{
    struct stat st;
    const int fd = OpenSettingsFile(path, st);
    if (fd < 0)
        return false;
    bool ok = false;
    try {
        flock(fd, LOCK_SH);
        std::string text;
        if (st.st_size <= kLargestSettingsFile && base::ReadWholeDescriptor(fd, st, text)) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
            Json::Reader reader;
#pragma GCC diagnostic pop
            Json::Value parsed;
            ok = reader.parse(text.data(), text.data() + text.size(), parsed, false);
            if (ok)
                out.swap(parsed);
        }
    } catch (const std::exception&) {
        ok = false;  // nesting deeper than the reader's limit, or no memory
    }
    UnlockFile(fd);
    return ok;
}

bool SaveJsonFile(Json::Value& value, const char* path)
{
    std::string text;
    try {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        text = Json::FastWriter().write(value);
#pragma GCC diagnostic pop
    } catch (const std::exception&) {
        return false;
    }
    // The lock is taken on the very inode that is then truncated and
    // rewritten, a new file's included.
    const int fd = base::OpenForWriting(path != nullptr ? path : "", kNewFileMode);
    if (fd < 0)
        return false;
    flock(fd, LOCK_EX);
    const bool ok = ftruncate(fd, 0) == 0 && base::WriteAll(fd, text);
    UnlockFile(fd);
    return ok;
}

void GetServiceEnabled(Json::Value& /*value*/)
{
}

}  // namespace WebUtils
