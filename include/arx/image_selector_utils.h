// ImageSelectorUtils: the images of the login page, of the file-sharing
// login page and each user's desktop wallpaper, each kept in a ring of
// eight numbered slots per type with a thumbnail beside every image.
//
//   set                 directory                               current slot
//   login               /usr/vorn/etc/login_image               login_TYPE_index in /etc/vorninfo.conf
//   file-sharing login  /usr/vorn/etc/mooring_login_image       mooring_login_TYPE_index
//   wallpaper           PREFERENCE-DIR/wallpaper_dir (per user) "Desktop"."wallpaper"."index" in usersettings
//
// Files of slot N: TYPE N EXT (the image), TYPE N "thumb" EXT (its
// thumbnail, 160 or 120 pixels), and for wallpapers N "_hd" EXT (the
// picture at full quality).  Adding an image takes the slot after the
// current one, empties it, stores the image there (re-encoded when large,
// and always for a login background) and then makes it current.
//
//   char path[4096], thumb[4096];
//   if (ImageSelectorUtils::AddLoginHistory("background", upload, ".jpg", path, thumb,
//                                           sizeof path, sizeof thumb)) ...
//
// Types are plain names (letters, digits, '_' and '-', not beginning with
// '-'); functions log their failures and return false, -1 or 0.
#ifndef ARX_IMAGE_SELECTOR_UTILS_H
#define ARX_IMAGE_SELECTOR_UTILS_H

#include <string>

#include <json/value.h>

#include <arx/export.h>

class ARX_EXPORT ImageSelectorUtils {
public:
    // ext is one of ".jpg", ".jpeg", ".jpe", ".bmp", ".gif", ".png" (any case).
    static bool CheckFileType(const char* ext);
    // size <= 1 MiB
    static bool CheckLogoFileSize(const char* path);
    // size <= 25 MiB
    static bool CheckBackgroundFileSize(const char* path);
    // size > 2 MiB
    static bool IsImageNeededCompress(const char* path);
    // The image has an alpha channel (the tool's verbose description says so).
    static bool IsImageTransparent(const char* path);

    // The existing file of a slot (image, thumbnail or HD copy), trying the
    // known extensions in order; a negative index is slot 0.
    static bool GetFilePathByIndex(const char* dir, int index, const char* type, bool thumb, char* out,
                                   int outLen, bool hd);

    static int GetLoginIndexKey(const char* type);
    static bool SetLoginIndexKey(const char* type, int index);
    static bool GetLoginFileExtByIndex(int index, const char* type, char* ext, int extLen);
    static bool RemoveLoginHistoryIfExist(const char* type, int index);
    static bool AddLoginHistory(const char* type, const char* src, const char* ext, char* outPath, char* outThumb,
                                int pathLen, int thumbLen);

    static int GetFileSharingLoginIndexKey(const char* type);
    static bool SetFileSharingLoginIndexKey(const char* type, int index);
    static bool GetFileSharingLoginFileExtByIndex(int index, const char* type, char* ext, int extLen);
    static bool RemoveFileSharingLoginHistoryIfExist(const char* type, int index);
    static bool AddFileSharingLoginHistory(const char* type, const char* src, const char* ext, char* outPath,
                                           char* outThumb, int pathLen, int thumbLen);

    // The user's "usersettings" (an empty object when the file is missing
    // or unreadable); the save is made as root.
    static bool loadUserSettings(const std::string& user, Json::Value& out);
    static bool saveUserSettings(const std::string& user, Json::Value& in);

    static bool GetDesktopWallpaperPath(const std::string& user, std::string& out);
    static int GetDesktopIndexKey(const std::string& user);
    static bool SetDesktopIndexKey(const std::string& user, int index);
    static bool GetDesktopFileExtByIndex(const std::string& user, int index, char* ext, int extLen);
    static bool RemoveDesktopHistoryIfExist(const std::string& user, int index);
    static bool AddDesktopHistory(const std::string& user, const char* src, const char* ext, char* outPath,
                                  char* outThumb, char* outHd, int pathLen, int thumbLen, int hdLen);
    static bool AddDesktopHistory(const std::string& user, const char* src, const char* ext, char* outPath,
                                  char* outThumb, int pathLen, int thumbLen);
};

#endif
