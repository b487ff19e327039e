// JSON settings files read and written whole under a flock on the file.

#include <arx/webutils.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>

#include <json/reader.h>
#include <json/writer.h>

namespace WebUtils {

int LockFile(const char* path, bool exclusive)
{
    const int fd = open(path != nullptr ? path : "", O_RDONLY | O_CLOEXEC);
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
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    std::ifstream stream;
    const int fd = LockFile(path, false);
    bool ok = false;
    try {
        stream.open(path != nullptr ? path : "", std::ios::in);
        Json::Value parsed;
        ok = stream.good() && reader.parse(stream, parsed, false);
        if (ok)
            out.swap(parsed);
    } catch (const std::exception&) {
        ok = false;  // nesting deeper than the reader's limit, or no memory
    }
    stream.close();
    UnlockFile(fd);
    return ok;
}

bool SaveJsonFile(Json::Value& value, const char* path)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::FastWriter writer;
#pragma GCC diagnostic pop
    std::ofstream stream;
    // The lock is taken on the existing file before the stream truncates the
    // same inode.  A file that does not exist yet is created without a lock.
    const int fd = LockFile(path, true);
    bool ok = false;
    try {
        stream.open(path != nullptr ? path : "", std::ios::out | std::ios::trunc);
        if (stream.is_open()) {
            stream << writer.write(value);
            ok = true;
        }
    } catch (const std::exception&) {
        ok = false;
    }
    stream.close();
    UnlockFile(fd);
    return ok;
}

void GetServiceEnabled(Json::Value& /*value*/)
{
}

}  // namespace WebUtils
