// What the image programs share: replies, slot numbers, the uploaded
// picture, and sending a stored picture back.
#ifndef ARX_CGI_BIN_IMAGE_ANSWERS_H
#define ARX_CGI_BIN_IMAGE_ANSWERS_H

#include <string>

#include <json/json.h>

#include <arx/webman.h>

// Prints reply as JSON, with status when given ("403 Forbidden").
int AnswerJson(WebMan& web, Json::Value& reply, const char* status = nullptr);
// {"success": false, "error": error} with status.
int Refuse(WebMan& web, const char* status, const char* error);

// A slot number "0" to "7"; -1 for anything else.
int SlotOf(const char* text);

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
