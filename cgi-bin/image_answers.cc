#include "cgi-bin/image_answers.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <arx/image_selector_utils.h>

int Refuse(WebMan& web, const char* status, const char* error)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"] = error;
    return AnswerJson(web, reply, status);
}

int SlotOf(const char* text)
{
    return text != nullptr && text[0] >= '0' && text[0] <= '7' && text[1] == '\0' ? text[0] - '0' : -1;
}

bool TakeUpload(WebMan& web, bool (*sizeAllowed)(const char*), Upload& upload)
{
    const int stored = web.LoadIn(nullptr);
    const char* path = stored == 1 ? web.In("_upload_0_path", nullptr) : nullptr;
    if (path == nullptr) {
        for (int i = 0; i < stored; ++i)
            unlink(web.In(("_upload_" + std::to_string(i) + "_path").c_str(), ""));
        Refuse(web, "400 Bad Request", stored < 0 ? "upload" : "one_picture");
        return false;
    }
    upload.path = path;
    const std::string name = web.In("_upload_0_name", "");
    const size_t dot = name.rfind('.');
    upload.ext = dot == std::string::npos ? "" : name.substr(dot);
    const char* refusal = !ImageSelectorUtils::CheckFileType(upload.ext.c_str()) ? "file_type"
                          : !sizeAllowed(path)                                   ? "too_large"
                                                                                 : nullptr;
    if (refusal == nullptr)
        return true;
    unlink(path);
    Refuse(web, refusal[0] == 'f' ? "415 Unsupported Media Type" : "413 Content Too Large", refusal);
    return false;
}

namespace {

const char* ContentTypeOf(const std::string& path)
{
    static const struct {
        const char* ext;
        const char* type;
    } kTypes[] = {{".jpg", "image/jpeg"}, {".jpeg", "image/jpeg"}, {".jpe", "image/jpeg"},
                  {".png", "image/png"},  {".gif", "image/gif"},   {".bmp", "image/bmp"}};
    const size_t dot = path.rfind('.');
    for (const auto& known : kTypes) {
        if (dot != std::string::npos && strcasecmp(path.c_str() + dot, known.ext) == 0)
            return known.type;
    }
    return nullptr;
}

}  // namespace

int AnswerPicture(WebMan& web, const std::string& path)
{
    const char* type = ContentTypeOf(path);
    const int fd = type != nullptr ? open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC) : -1;
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (fd >= 0)
            close(fd);
        web.ResponseNotFound();
    }
    web.AddHeader("Cache-control", "no-store");
    web.AddHeader("X-Content-Type-Options", "nosniff");
    web.WriteHeader(type);
    char buffer[65536];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0)
        fwrite(buffer, 1, static_cast<size_t>(n), stdout);
    close(fd);
    fflush(stdout);
    return 0;
}
