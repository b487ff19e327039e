// What the image programs share: replies, slot numbers, the uploaded
// picture, and sending a stored picture back.
#ifndef ARX_CGI_BIN_IMAGE_ANSWERS_H
#define ARX_CGI_BIN_IMAGE_ANSWERS_H

#include <string>

#include <json/json.h>

#include <arx/webman.h>

#include "cgi-bin/json_answer.h"

// {"success": false, "error": error} with status.
int Refuse(WebMan& web, const char* status, const char* error);

// A slot number "0" to "7"; -1 for anything else.
int SlotOf(const char* text);

// The stored slots as [{"slot": N, "ext": "jpg"}, ...]: those for which
// extensionOf(slot, ext, size) finds a picture.
template <typename ExtensionOf> Json::Value SlotList(ExtensionOf extensionOf)
{
    Json::Value slots(Json::arrayValue);
    for (int slot = 0; slot < 8; ++slot) {
        char ext[8];
        if (!extensionOf(slot, ext, static_cast<int>(sizeof ext)))
            continue;
        Json::Value entry(Json::objectValue);
        entry["slot"] = slot;
        entry["ext"] = ext;
        slots.append(entry);
    }
    return slots;
}

// The picture sent with the request (one file field), stored by the
// platform in an upload folder: its path and its name's extension.  false
// (answered already) when there is none or it is too large for limit.
struct Upload {
    std::string path;
    std::string ext;
};
bool TakeUpload(WebMan& web, bool (*sizeAllowed)(const char*), Upload& upload);

// Prints the picture at path with its content type, or the not-found
// response.  Only regular files, never through a link.
int AnswerPicture(WebMan& web, const std::string& path);

#endif
