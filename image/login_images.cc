// ImageSelectorUtils: the login and file-sharing login image sets, their
// current slots kept in the system configuration.

#include <arx/image_selector_utils.h>

#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

#include <string>

#include <vorn/file.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "image/extensions.h"
#include "image/image_store.h"
#include "image/slot_files.h"

using namespace arx::image;

namespace {

struct LoginSet {
    const char* dir;
    const char* keyFormat;
};

constexpr LoginSet kLogin = {"/usr/vorn/etc/login_image", "login_%s_index"};
constexpr LoginSet kFileSharing = {"/usr/vorn/etc/mooring_login_image", "mooring_login_%s_index"};
constexpr int kLoginThumbEdge = 160;

bool TypeUsable(const char* type)
{
    if (IsPlainType(type) && *type != '\0')
        return true;
    VLIBCLog(LOG_ERR, "%s:%d Wrong type.", kSelectorSource, __LINE__);
    return false;
}

std::string KeyOf(const LoginSet& set, const char* type)
{
    char key[64];
    snprintf(key, sizeof key, set.keyFormat, type);
    return key;
}

int GetIndex(const LoginSet& set, const char* type)
{
    if (!TypeUsable(type))
        return 0;
    char value[64] = "0";
    const std::string file = VORNRootPathString(VORN_INFO_FILE);
    if (VLIBCFileGetKeyValue(file.c_str(), KeyOf(set, type).c_str(), value, sizeof value, 0) <= 0)
        snprintf(value, sizeof value, "0");
    return static_cast<int>(strtol(value, nullptr, 10));
}

bool SetIndex(const LoginSet& set, const char* type, int index)
{
    if (!TypeUsable(type))
        return false;
    char value[64];
    snprintf(value, sizeof value, "%d", index < 0 ? 0 : index & 7);
    return VLIBCINFOSetKeyValue(KeyOf(set, type).c_str(), value) == 0;
}

bool GetExt(const LoginSet& set, int index, const char* type, char* ext, int extLen)
{
    if (ext == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong return extension.", kSelectorSource, __LINE__);
        return false;
    }
    if (extLen < 1) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong extension size.", kSelectorSource, __LINE__);
        return false;
    }
    std::string path;
    const char* found;
    if (!TypeUsable(type) || !FindSlotFile(VORNRootPathString(set.dir).c_str(), type, index, kSlotImage, path, &found))
        return false;
    snprintf(ext, static_cast<size_t>(extLen), "%s", found);
    return true;
}

bool Remove(const LoginSet& set, const char* type, int index)
{
    return TypeUsable(type) && RemoveSlot(VORNRootPathString(set.dir).c_str(), type, index);
}

bool Add(const LoginSet& set, const char* type, const char* src, const char* ext, char* outPath, char* outThumb,
         int pathLen, int thumbLen)
{
    if (!TypeUsable(type))
        return false;
    const std::string dir = VORNRootPathString(set.dir);
    const SetLock lock(dir.c_str());
    if (!lock.ok())
        return false;
    // The remainder of a signed division, as stored values have always had it.
    const int next = (GetIndex(set, type) + 1) % kSlots;
    Remove(set, type, next);
    const StoreRequest request {dir.c_str(), type,    src,      ext, outPath, outThumb,
                                nullptr,     pathLen, thumbLen, -1,  next,    kLoginThumbEdge};
    return StoreImage(request) && SetIndex(set, type, next);
}

}  // namespace

int ImageSelectorUtils::GetLoginIndexKey(const char* type)
{
    return Guarded(0, [&] { return GetIndex(kLogin, type); });
}

bool ImageSelectorUtils::SetLoginIndexKey(const char* type, int index)
{
    return Guarded(false, [&] { return SetIndex(kLogin, type, index); });
}

bool ImageSelectorUtils::GetLoginFileExtByIndex(int index, const char* type, char* ext, int extLen)
{
    return Guarded(false, [&] { return GetExt(kLogin, index, type, ext, extLen); });
}

bool ImageSelectorUtils::RemoveLoginHistoryIfExist(const char* type, int index)
{
    return Guarded(false, [&] { return Remove(kLogin, type, index); });
}

bool ImageSelectorUtils::AddLoginHistory(const char* type, const char* src, const char* ext, char* outPath,
                                         char* outThumb, int pathLen, int thumbLen)
{
    return Guarded(false, [&] { return Add(kLogin, type, src, ext, outPath, outThumb, pathLen, thumbLen); });
}

int ImageSelectorUtils::GetFileSharingLoginIndexKey(const char* type)
{
    return Guarded(0, [&] { return GetIndex(kFileSharing, type); });
}

bool ImageSelectorUtils::SetFileSharingLoginIndexKey(const char* type, int index)
{
    return Guarded(false, [&] { return SetIndex(kFileSharing, type, index); });
}

bool ImageSelectorUtils::GetFileSharingLoginFileExtByIndex(int index, const char* type, char* ext, int extLen)
{
    return Guarded(false, [&] { return GetExt(kFileSharing, index, type, ext, extLen); });
}

bool ImageSelectorUtils::RemoveFileSharingLoginHistoryIfExist(const char* type, int index)
{
    return Guarded(false, [&] { return Remove(kFileSharing, type, index); });
}

bool ImageSelectorUtils::AddFileSharingLoginHistory(const char* type, const char* src, const char* ext, char* outPath,
                                                    char* outThumb, int pathLen, int thumbLen)
{
    return Guarded(false, [&] { return Add(kFileSharing, type, src, ext, outPath, outThumb, pathLen, thumbLen); });
}
