// The request context: whole small files.

#include <arx/webman.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/log.h>

#include "base/safe_open.h"
#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

char* WebMan::szReadFile(const char* path, int maxSize)
{
    // Never a FIFO or a device: the process would wait on it, or read
    // without end.
    struct stat st;
    const int fd = base::OpenForReading(path != nullptr ? path : "", base::Links::kFollow, &st);
    if (fd < 0) {
        VLIBCLog(LOG_ERR, "%s (%d) Failed to open %s. (%s)", kWebManLogSource, __LINE__, path ? path : "(null)",
                 strerror(errno));
        return nullptr;
    }
    if (st.st_size > maxSize) {
        close(fd);
        return nullptr;
    }
    const long size = static_cast<long>(st.st_size);
    char* buffer = static_cast<char*>(calloc(1, static_cast<size_t>(size) + 1));
    if (buffer == nullptr) {
        VLIBCLog(LOG_ERR, "%s (%d) Failed to malloc(%ld).", kWebManLogSource, __LINE__, size);
        close(fd);
        return nullptr;
    }
    if (read(fd, buffer, static_cast<size_t>(size)) != size) {
        VLIBCLog(LOG_ERR, "%s (%d) read file failed. (%s)", kWebManLogSource, __LINE__, strerror(errno));
        free(buffer);
        close(fd);
        return nullptr;
    }
    close(fd);
    return buffer;
}
