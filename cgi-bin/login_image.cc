// login_image.cgi: the pictures of the login page, each type ("background",
// "logo") with its last eight and their thumbnails.  The login page reads
// the chosen ones without a session; everything else is for administrators.
//
//   GET  login_image.cgi?action=current&type=background            the chosen picture (no session needed)
//   GET  login_image.cgi?action=chosen&type=background             -> {"success": true, "exists": true}
//   GET  login_image.cgi?action=list&type=background
//        -> {"success": true, "type": "background", "current": 1, "slots": [{"slot": 0, "ext": ".jpg"}, ...]}
//   GET  login_image.cgi?action=image&type=logo&slot=N&kind=thumb|image
//   POST login_image.cgi   multipart/form-data: "type", then one picture
//        (a logo at most 1 MiB, a background at most 25 MiB) -> {"success": true, "current": N}
//   POST login_image.cgi   action=choose&type=logo&slot=N -> {"success": true, "current": N}

#include <initializer_list>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include <json/json.h>

#include <arx/image_selector_utils.h>
#include <arx/webman.h>
#include <vorn/root.h>

#include "cgi-bin/image_answers.h"
#include "cgi-bin/request_checks.h"

namespace {

constexpr const char* kLoginImageDir = "/usr/vorn/etc/login_image";

// The types the login page shows; nullptr for any other text.
const char* TypeOf(const char* text)
{
    for (const char* known : {"background", "logo"}) {
        if (text != nullptr && strcmp(text, known) == 0)
            return known;
    }
    return nullptr;
}

int Current(WebMan& web, const char* type)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["type"] = type;
    reply["current"] = ImageSelectorUtils::GetLoginIndexKey(type);
    return AnswerJson(web, reply);
}

int List(WebMan& web, const char* type)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["type"] = type;
    reply["current"] = ImageSelectorUtils::GetLoginIndexKey(type);
    reply["slots"] = SlotList([type](int slot, char* ext, int size) {
        return ImageSelectorUtils::GetLoginFileExtByIndex(slot, type, ext, size);
    });
    return AnswerJson(web, reply);
}

int Picture(WebMan& web, const char* type, int slot, bool thumb)
{
    const std::string dir = VORNRootPathString(kLoginImageDir);
    char path[4096];
    if (slot < 0 || !ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), slot, type, thumb, path, sizeof path, false))
        web.ResponseNotFound();
    return AnswerPicture(web, path);
}

int Add(WebMan& web)
{
    Upload upload;
    // The type is a field of the same form: read with the upload.
    if (!TakeUpload(web, ImageSelectorUtils::CheckBackgroundFileSize, upload))
        return 0;
    const char* type = TypeOf(web.In("type", ""));
    const bool fits =
        type != nullptr && (strcmp(type, "logo") != 0 || ImageSelectorUtils::CheckLogoFileSize(upload.path.c_str()));
    char path[4096], thumb[4096];
    const bool added = fits && ImageSelectorUtils::AddLoginHistory(type, upload.path.c_str(), upload.ext.c_str(), path,
                                                                   thumb, sizeof path, sizeof thumb);
    unlink(upload.path.c_str());
    if (type == nullptr)
        return Refuse(web, "400 Bad Request", "type");
    if (!fits)
        return Refuse(web, "413 Content Too Large", "too_large");
    return added ? Current(web, type) : Refuse(web, "422 Unprocessable Content", "not_a_picture");
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    const char* method = getenv("REQUEST_METHOD");
    const bool reading = method != nullptr && (strcmp(method, "GET") == 0 || strcmp(method, "HEAD") == 0);
    // What the login page shows, before anyone logs in.
    const std::string publicAction = reading ? web.In("action", "") : "";
    if (publicAction == "current" || publicAction == "chosen") {
        const char* type = TypeOf(web.In("type", ""));
        if (type == nullptr)
            web.ResponseNotFound();
        if (publicAction == "current")
            return Picture(web, type, ImageSelectorUtils::GetLoginIndexKey(type), false);
        char ext[8];
        Json::Value reply(Json::objectValue);
        reply["success"] = true;
        reply["exists"] = ImageSelectorUtils::GetLoginFileExtByIndex(ImageSelectorUtils::GetLoginIndexKey(type), type,
                                                                     ext, sizeof ext);
        return AnswerJson(web, reply);
    }
    if ((!reading && AnsweredUnlessPost(web)) || !web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    if (web.setEUGID() != 0)
        return Refuse(web, "500 Internal Server Error", "identity");
    if (!reading && web.IsUploadRequest())
        return Add(web);
    const char* type = TypeOf(web.In("type", ""));
    if (type == nullptr)
        return Refuse(web, "400 Bad Request", "type");
    const std::string action = web.In("action", reading ? "list" : "");
    if (reading && action == "image")
        return Picture(web, type, SlotOf(web.In("slot", "")), strcmp(web.In("kind", "image"), "thumb") == 0);
    if (reading)
        return action == "list" ? List(web, type) : Refuse(web, "400 Bad Request", "action");
    const int slot = SlotOf(web.In("slot", ""));
    char ext[8];
    if (action != "choose" || slot < 0 || !ImageSelectorUtils::GetLoginFileExtByIndex(slot, type, ext, sizeof ext))
        return Refuse(web, "404 Not Found", "no_such_slot");
    if (!ImageSelectorUtils::SetLoginIndexKey(type, slot))
        return Refuse(web, "500 Internal Server Error", "system");
    return Current(web, type);
}
