// wallpaper.cgi: the logged-in user's desktop wallpapers, the last eight
// with their thumbnails, made and read as the user in the user's
// preference directory.
//
//   GET  wallpaper.cgi?action=list
//        -> {"success": true, "current": 2, "slots": [{"slot": 0, "ext": ".jpg"}, ...]}
//   GET  wallpaper.cgi?action=image&slot=N&kind=thumb|image|hd   the picture
//   GET  wallpaper.cgi?action=image&slot=current                 the chosen one
//   POST wallpaper.cgi   multipart/form-data, one picture (.jpg .jpeg .jpe .png .gif .bmp, at most 25 MiB)
//        -> {"success": true, "current": N}   it becomes the wallpaper
//   POST wallpaper.cgi   action=choose&slot=N -> {"success": true, "current": N}

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include <json/json.h>

#include <arx/image_selector_utils.h>
#include <arx/webman.h>
#include <vorn/user.h>

#include "cgi-bin/image_answers.h"
#include "cgi-bin/request_checks.h"

namespace {

// The user's wallpaper directory; "" when the user has no preference directory.
std::string WallpaperDir(const std::string& user)
{
    char dir[4096];
    return VORNUserPreferenceDirGet(user.c_str(), dir, sizeof dir) < 0 ? "" : std::string(dir) + "/wallpaper_dir";
}

// Makes slot the wallpaper: its number and its picture's path.
bool Choose(const std::string& user, int slot)
{
    char path[4096];
    const std::string dir = WallpaperDir(user);
    if (dir.empty() ||
        !ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), slot, "", false, path, sizeof path, false) ||
        !ImageSelectorUtils::SetDesktopIndexKey(user, slot))
        return false;
    Json::Value settings;
    if (!ImageSelectorUtils::loadUserSettings(user, settings))
        return false;
    settings["Desktop"]["wallpaper"]["wallpaper_path"] = path;
    return ImageSelectorUtils::saveUserSettings(user, settings);
}

int Current(WebMan& web, const std::string& user)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["current"] = ImageSelectorUtils::GetDesktopIndexKey(user);
    return AnswerJson(web, reply);
}

int List(WebMan& web, const std::string& user)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["current"] = ImageSelectorUtils::GetDesktopIndexKey(user);
    reply["slots"] = SlotList([&user](int slot, char* ext, int size) {
        return ImageSelectorUtils::GetDesktopFileExtByIndex(user, slot, ext, size);
    });
    return AnswerJson(web, reply);
}

int Picture(WebMan& web, const std::string& user)
{
    const char* slotText = web.In("slot", "");
    const int slot = strcmp(slotText, "current") == 0 ? ImageSelectorUtils::GetDesktopIndexKey(user) : SlotOf(slotText);
    const std::string kind = web.In("kind", "image");
    const std::string dir = WallpaperDir(user);
    char path[4096];
    if (slot < 0 || (kind != "thumb" && kind != "image" && kind != "hd") || dir.empty() ||
        !ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), slot, "", kind == "thumb", path, sizeof path,
                                                kind == "hd"))
        web.ResponseNotFound();
    return AnswerPicture(web, path);
}

int Add(WebMan& web, const std::string& user)
{
    Upload upload;
    if (!TakeUpload(web, ImageSelectorUtils::CheckBackgroundFileSize, upload))
        return 0;
    char path[4096], thumb[4096];
    const bool added = ImageSelectorUtils::AddDesktopHistory(user, upload.path.c_str(), upload.ext.c_str(), path, thumb,
                                                             sizeof path, sizeof thumb);
    unlink(upload.path.c_str());
    const int slot = ImageSelectorUtils::GetDesktopIndexKey(user);
    if (!added || !Choose(user, slot))
        return Refuse(web, "422 Unprocessable Content", "not_a_picture");
    return Current(web, user);
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    const char* method = getenv("REQUEST_METHOD");
    const bool reading = method != nullptr && (strcmp(method, "GET") == 0 || strcmp(method, "HEAD") == 0);
    if ((!reading && AnsweredUnlessPost(web)) || !web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    if (web.setEUGID() != 0)
        return Refuse(web, "500 Internal Server Error", "identity");
    const std::string user = web.GetLoginUserName();
    if (reading) {
        const std::string action = web.In("action", "list");
        if (action == "image")
            return Picture(web, user);
        return action == "list" ? List(web, user) : Refuse(web, "400 Bad Request", "action");
    }
    if (web.IsUploadRequest())
        return Add(web, user);
    if (strcmp(web.In("action", ""), "choose") != 0)
        return Refuse(web, "400 Bad Request", "action");
    const int slot = SlotOf(web.In("slot", ""));
    if (slot < 0 || !Choose(user, slot))
        return Refuse(web, "404 Not Found", "no_such_slot");
    return Current(web, user);
}
