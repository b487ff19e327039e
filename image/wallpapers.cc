// ImageSelectorUtils: each user's desktop wallpapers, their current slot
// kept in the user's settings.

#include <arx/image_selector_utils.h>

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include <json/json.h>

#include <arx/webutils.h>
#include <vorn/err.h>
#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/user.h>

#include "base/descriptor.h"
#include "base/safe_open.h"
#include "image/acting_user.h"
#include "image/image_store.h"
#include "image/slot_files.h"

using namespace arx::image;

namespace {

constexpr int kWallpaperThumbEdge = 120;

bool PreferenceDir(const std::string& user, std::string& dir)
{
    char buffer[4096];
    if (VORNUserPreferenceDirGet(user.c_str(), buffer, sizeof buffer) < 0)
        return false;
    dir = buffer;
    return true;
}

bool WallpaperDir(const std::string& user, std::string& dir)
{
    if (!PreferenceDir(user, dir))
        return false;
    dir += "/wallpaper_dir";
    return true;
}

bool UserNamed(const std::string& user)
{
    if (!user.empty())
        return true;
    VLIBCLog(LOG_ERR, "%s:%d Bad parameter", kSelectorSource, __LINE__);
    return false;
}

// settings["Desktop"]["wallpaper"], made an object when it is anything else.
Json::Value& WallpaperRecord(Json::Value& settings)
{
    if (!settings.isObject())
        settings = Json::Value(Json::objectValue);
    Json::Value& desktop = settings["Desktop"];
    if (!desktop.isObject())
        desktop = Json::Value(Json::objectValue);
    Json::Value& wallpaper = desktop["wallpaper"];
    if (!wallpaper.isObject())
        wallpaper = Json::Value(Json::objectValue);
    return wallpaper;
}

const Json::Value* StoredRecord(const Json::Value& settings)
{
    if (!settings.isObject() || !settings["Desktop"].isObject() || !settings["Desktop"]["wallpaper"].isObject())
        return nullptr;
    return &settings["Desktop"]["wallpaper"];
}

int GetIndex(const std::string& user)
{
    Json::Value settings;
    if (!UserNamed(user))
        return 0;
    if (!ImageSelectorUtils::loadUserSettings(user, settings)) {
        VLIBCLog(LOG_ERR, "%s:%d Load user settings failed", kSelectorSource, __LINE__);
        return 0;
    }
    const Json::Value* record = StoredRecord(settings);
    return record != nullptr && (*record)["index"].isInt() ? (*record)["index"].asInt() : 0;
}

bool SetIndex(const std::string& user, int index)
{
    Json::Value settings;
    if (!UserNamed(user))
        return false;
    if (!ImageSelectorUtils::loadUserSettings(user, settings)) {
        VLIBCLog(LOG_ERR, "%s:%d Load user settings failed", kSelectorSource, __LINE__);
        return false;
    }
    WallpaperRecord(settings)["index"] = std::max(index, 0);
    if (ImageSelectorUtils::saveUserSettings(user, settings))
        return true;
    VLIBCLog(LOG_ERR, "%s:%d Save user settings failed", kSelectorSource, __LINE__);
    return false;
}

// The wallpaper directory, made for the user (0755, theirs) when missing;
// anything else than a directory there (a link) is refused.
bool EnsureWallpaperDir(const std::string& user, uid_t uid, gid_t gid, std::string& dir)
{
    if (!WallpaperDir(user, dir))
        return false;
    struct stat st;
    if (lstat(dir.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode))
            return true;
        VLIBCLog(LOG_ERR, "%s:%d %s is not a directory", kSelectorSource, __LINE__, dir.c_str());
        return false;
    }
    if (VORNFSMkdirP(dir.c_str(), 0, 1, static_cast<int>(uid), static_cast<int>(gid), 0755) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to mkdir %s, %m", kSelectorSource, __LINE__, dir.c_str());
        return false;
    }
    return true;
}

bool UserIds(const std::string& user, uid_t& uid, gid_t& gid)
{
    if (VORNUserGetUGID(user.c_str(), &uid, &gid) == 0)
        return true;
    VLIBCLog(LOG_ERR, "%s:%d Failed to get ugid %s, %m", kSelectorSource, __LINE__, user.c_str());
    return false;
}

// Adds made by root before they acted as the user left root's lock file in
// the user's directory, which the user cannot open to lock: the user
// removes it (the directory is theirs) and the lock is made again, theirs.
void DropRootsLock(const std::string& dir, uid_t uid)
{
    const std::string lock = dir + "/.slots.lock";
    struct stat st;
    if (geteuid() == uid && lstat(lock.c_str(), &st) == 0 && st.st_uid != uid)
        unlink(lock.c_str());
}

// The whole add acts as the user (a root process included), the source
// being opened first as the caller: the user need not be able to read it.
bool Add(const std::string& user, const char* src, const char* ext, char* outPath, char* outThumb, char* outHd,
         int pathLen, int thumbLen, int hdLen)
{
    uid_t uid;
    gid_t gid;
    if (!UserNamed(user) || !UserIds(user, uid, gid))
        return false;
    const base::Descriptor source(src != nullptr ? base::OpenForReading(src, base::Links::kFollow) : -1);
    const ActingUser acting(user.c_str(), uid, gid);
    std::string dir;
    if (!acting.ok() || !EnsureWallpaperDir(user, uid, gid, dir))
        return false;
    DropRootsLock(dir, uid);
    const SetLock lock(dir.c_str());
    if (!lock.ok())
        return false;
    const int next = (GetIndex(user) + 1) % kSlots;
    RemoveSlot(dir.c_str(), "", next);
    StoreRequest request {dir.c_str(), "",      src,      ext,   outPath, outThumb,
                          outHd,       pathLen, thumbLen, hdLen, next,    kWallpaperThumbEdge};
    request.srcFd = source.get();
    return StoreImage(request) && SetIndex(user, next);
}

}  // namespace

bool ImageSelectorUtils::loadUserSettings(const std::string& user, Json::Value& out)
{
    return Guarded(false, [&] {
        std::string dir;
        if (!PreferenceDir(user, dir)) {
            VLIBCLog(LOG_ERR, "%s:%d Get preference directory failed: %d", kSelectorSource, __LINE__, VLIBCErrGet());
            return false;
        }
        if (!WebUtils::LoadJsonFile(out, (dir + "/usersettings").c_str()))
            out = Json::Value(Json::objectValue);
        return true;
    });
}

bool ImageSelectorUtils::saveUserSettings(const std::string& user, Json::Value& in)
{
    return Guarded(false, [&] {
        std::string dir;
        if (!PreferenceDir(user, dir)) {
            VLIBCLog(LOG_ERR, "%s:%d Get preference directory failed", kSelectorSource, __LINE__);
            return false;
        }
        // Root writes the file (the file functions refuse links and FIFOs
        // planted in the directory), but only for the user the process
        // acts for: a switched process never writes another user's file.
        const uid_t before = geteuid();
        uid_t uid;
        gid_t gid;
        if (before != 0 && (VORNUserGetUGID(user.c_str(), &uid, &gid) != 0 || uid != before)) {
            VLIBCLog(LOG_ERR, "%s:%d Refused to save the settings of %s as uid %u", kSelectorSource, __LINE__,
                     user.c_str(), static_cast<unsigned>(before));
            return false;
        }
        setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1));
        const bool saved = WebUtils::SaveJsonFile(in, (dir + "/usersettings").c_str());
        if (setresuid(static_cast<uid_t>(-1), before, static_cast<uid_t>(-1)) != 0)
            VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d cannot return to uid %u: %m", kSelectorSource, __LINE__,
                     static_cast<unsigned>(before));
        return saved;
    });
}

bool ImageSelectorUtils::GetDesktopWallpaperPath(const std::string& user, std::string& out)
{
    return Guarded(false, [&] {
        Json::Value settings;
        if (!UserNamed(user) || !loadUserSettings(user, settings))
            return false;
        const Json::Value* record = StoredRecord(settings);
        if (record == nullptr || !(*record)["wallpaper_path"].isString())
            return false;
        out = (*record)["wallpaper_path"].asString();
        return true;
    });
}

int ImageSelectorUtils::GetDesktopIndexKey(const std::string& user)
{
    return Guarded(0, [&] { return GetIndex(user); });
}

bool ImageSelectorUtils::SetDesktopIndexKey(const std::string& user, int index)
{
    return Guarded(false, [&] { return SetIndex(user, index); });
}

bool ImageSelectorUtils::GetDesktopFileExtByIndex(const std::string& user, int index, char* ext, int extLen)
{
    return Guarded(false, [&] {
        std::string dir, path;
        const char* found;
        if (ext == nullptr || extLen < 1) {
            VLIBCLog(LOG_ERR, "%s:%d %s", kSelectorSource, __LINE__,
                     ext == nullptr ? "Wrong return extension." : "Wrong extension size.");
            return false;
        }
        if (!UserNamed(user) || !WallpaperDir(user, dir) ||
            !FindSlotFile(dir.c_str(), "", index, kSlotImage, path, &found))
            return false;
        snprintf(ext, static_cast<size_t>(extLen), "%s", found);
        return true;
    });
}

bool ImageSelectorUtils::RemoveDesktopHistoryIfExist(const std::string& user, int index)
{
    return Guarded(false, [&] {
        std::string dir;
        uid_t uid;
        gid_t gid;
        if (!UserNamed(user) || !UserIds(user, uid, gid))
            return false;
        // As the user, like an add: a wallpaper directory the user swapped
        // for a link leads nowhere the user could not remove from.
        const ActingUser acting(user.c_str(), uid, gid);
        return acting.ok() && WallpaperDir(user, dir) && RemoveSlot(dir.c_str(), "", index);
    });
}

bool ImageSelectorUtils::AddDesktopHistory(const std::string& user, const char* src, const char* ext, char* outPath,
                                           char* outThumb, char* outHd, int pathLen, int thumbLen, int hdLen)
{
    return Guarded(false, [&] { return Add(user, src, ext, outPath, outThumb, outHd, pathLen, thumbLen, hdLen); });
}

bool ImageSelectorUtils::AddDesktopHistory(const std::string& user, const char* src, const char* ext, char* outPath,
                                           char* outThumb, int pathLen, int thumbLen)
{
    return AddDesktopHistory(user, src, ext, outPath, outThumb, nullptr, pathLen, thumbLen, -1);
}
