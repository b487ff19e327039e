// Key-value files: reads without locks (writers replace the file
// atomically), writes under an exclusive flock on "FILE.lock".

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "base/lock_file.h"
#include "base/text.h"
#include "lib/core/no_throw.h"
#include "lib/files/keyvalue_format.h"

namespace {

constexpr mode_t kNewFileMode = 0644;

// Reads the value of key; -1 on a read failure, 0 when missing, 1 found.
int LookUp(const char* file, const char* key, std::string& value)
{
    std::string content;
    if (!base::ReadFileCached(file, content)) {
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return -1;
    }
    std::string_view found;
    if (!vorn::FindKeyValue(content, key, found))
        return 0;
    value.assign(found);
    return 1;
}

int CopyOut(const std::string& value, char* buffer, int size)
{
    const size_t length = value.size() < static_cast<size_t>(size) ? value.size() : static_cast<size_t>(size) - 1;
    memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}


}  // namespace

extern "C" int VLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int /*flags*/)
{
    if (file == nullptr || key == nullptr || buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    buffer[0] = '\0';
    std::string value;
    const int found = LookUp(file, key, value);
    if (found <= 0)
        return found;
    return CopyOut(value, buffer, size);
}

extern "C" int VLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int /*flags*/)
{
    if (file == nullptr || key == nullptr || value == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    std::string stored;
    const int found = LookUp(file, key, stored);
    if (found <= 0)
        return found;
    return strcasecmp(stored.c_str(), value) == 0 ? 1 : 0;
}

extern "C" int VLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int /*flags*/)
{
    if (file == nullptr || *file == '\0' || key == nullptr || value == nullptr ||
        !vorn::IsWritableKey(key) || !vorn::IsWritableValue(value)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    const std::string path(file);
    base::LockFileGuard lock(path + ".lock", kNewFileMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "keyvalue_file:%d cannot lock %s.lock: %m", __LINE__, file);
        VLIBCErrSet(VLIB_ERR_LOCK_FAILED);
        return -1;
    }
    // The file is replaced, never written through a link; nor is its old
    // text read through one (a link planted in a user's directory would
    // have root copy another file's text into the new one).
    std::string content;
    if (!base::ReadWholeFile(file, content, nullptr, base::Links::kRefuse) && errno != ENOENT) {
        VLIBCLog(LOG_ERR, "keyvalue_file:%d cannot read %s: %m", __LINE__, file);
        VLIBCErrSet(VLIB_ERR_READ_FAILED);
        return -1;
    }
    if (!base::WriteFileAtomically(path, vorn::SetKeyValue(content, key, value), kNewFileMode)) {
        VLIBCLog(LOG_ERR, "keyvalue_file:%d cannot write %s: %m", __LINE__, file);
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return -1;
    }
    return 0;
}

extern "C" int VLIBCFileEnumKeyValue(const char* file, VLIBCKeyValueVisitor visit, void* context)
{
    if (file == nullptr || visit == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string content;
        if (!base::ReadFileCached(file, content)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        int visited = 0;
        base::ForEachLine(content, [&](std::string_view line) {
            vorn::KeyValueLine parsed;
            if (vorn::ParseKeyValueLine(line, parsed)) {
                visit(std::string(parsed.key).c_str(), std::string(parsed.value).c_str(), context);
                ++visited;
            }
            return true;
        });
        return visited;
    });
}

extern "C" int VLIBCINFOSetKeyValue(const char* key, const char* value)
{
    return VLIBCFileSetKeyValue(VORNRootPathString(VORN_INFO_FILE).c_str(), key, value, 0);
}

extern "C" int VLIBCINFOGetKeyValue(const char* key, char* buffer, int size)
{
    const int current = VLIBCFileGetKeyValue(VORNRootPathString(VORN_INFO_FILE).c_str(), key, buffer, size, 0);
    if (current > 0)
        return current;
    const int fallback =
        VLIBCFileGetKeyValue(VORNRootPathString(VORN_INFO_DEFAULTS_FILE).c_str(), key, buffer, size, 0);
    // A missing current file is not an error while the defaults answer.
    return fallback >= 0 ? fallback : current;
}
