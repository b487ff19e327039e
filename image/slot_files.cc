#include "image/slot_files.h"

#include <initializer_list>
#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <vorn/fs.h>
#include <vorn/log.h>

#include "image/extensions.h"

namespace arx::image {

std::string SlotFileName(const char* dir, const char* type, int index, SlotFile kind, const char* ext)
{
    static const char* const kFormats[] = {"%s/%s%d%s", "%s/%s%dthumb%s", "%s/%s%d_hd%s"};
    char path[4097];
    snprintf(path, sizeof path, kFormats[kind], dir, type, index, ext);
    return path;
}

bool FindSlotFile(const char* dir, const char* type, int index, SlotFile kind, std::string& path, const char** ext)
{
    if (dir == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Dir is null", kSelectorSource, __LINE__);
        return false;
    }
    if (!IsPlainType(type)) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong type.", kSelectorSource, __LINE__);
        return false;
    }
    for (const char* known : kKnownExtensions) {
        std::string candidate = SlotFileName(dir, type, index < 0 ? 0 : index, kind, known);
        if (access(candidate.c_str(), F_OK) == 0) {
            path = std::move(candidate);
            *ext = known;
            return true;
        }
    }
    return false;
}

bool RemoveSlot(const char* dir, const char* type, int index)
{
    if (dir == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Dir is null", kSelectorSource, __LINE__);
        return false;
    }
    if (!IsPlainType(type)) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong type.", kSelectorSource, __LINE__);
        return false;
    }
    if (index < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong index.", kSelectorSource, __LINE__);
        return false;
    }
    for (const char* known : kKnownExtensions) {
        for (SlotFile kind : {kSlotImage, kSlotHd, kSlotThumb})
            unlink(SlotFileName(dir, type, index, kind, known).c_str());
    }
    return true;
}

SetLock::SetLock(const char* dir)
{
    constexpr int kSeconds = 120;  // two runs of the image tool, and more
    struct stat st;
    if (stat(dir, &st) != 0 && mkdir(dir, 0755) != 0 && errno != EEXIST) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to mkdir %s, %m", kSelectorSource, __LINE__, dir);
        return;
    }
    fd_ = VLIBCFileLockTimeByFile((std::string(dir) + "/.slots.lock").c_str(), 1, kSeconds);
    if (fd_ < 0)
        VLIBCLog(LOG_ERR, "%s:%d Failed to lock the slots of %s", kSelectorSource, __LINE__, dir);
}

SetLock::~SetLock()
{
    VLIBCFileUnlock(fd_);
}

bool FileSize(const char* path, long long& size)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d stat %s failed. (%m)", kSelectorSource, __LINE__, path != nullptr ? path : "(null)");
        return false;
    }
    size = static_cast<long long>(st.st_size);
    return true;
}

}  // namespace arx::image
