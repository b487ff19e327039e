// upload.cgi: files into a folder of a shared folder, for logged-in users.
//
//   POST upload.cgi   multipart/form-data: "folder" ("/public/photos"),
//                     then one or more file fields
//   -> {"success": true, "folder": "/public/photos",
//       "files": [{"name": "a.jpg", "size": 1234}], "refused": []}
//
// A large file is sent in slices, one request each, all with the header
// X-Tmp-File: ID (the client's id of the upload) and X-Slice-Offset: the
// bytes sent before; the last one also with X-Slice-Finish: 1.  Slices
// before the last answer {"success": true, "received": BYTES}; the last
// moves the whole file into the folder.  A refused slice answers the
// bytes received so far, from which the client resumes.
//
// The body is read as the session's user: the files it stores, and the
// folder they are moved into, are what that user may write.

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <json/json.h>

#include <arx/webman.h>
#include <vorn/err.h>

#include "cgi-bin/json_answer.h"
#include "cgi-bin/request_checks.h"
#include "cgi-bin/share_folder.h"

namespace {

struct Failure {
    int code;
    const char* status;
    const char* error;
};

// LoadIn's results, and the HTTP status and error word of each.
constexpr Failure kFailures[] = {
    {-2, "400 Bad Request", "malformed"},     {-3, "413 Content Too Large", "over_limit"},
    {-4, "507 Insufficient Storage", "no_space"}, {-12, "507 Insufficient Storage", "no_space"},
    {-13, "503 Service Unavailable", "no_volume"},
};

int Refuse(WebMan& web, const char* status, const char* error)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"] = error;
    AnswerJson(web, reply, status);
    return 0;
}

unsigned long long SizeOf(const char* path)
{
    struct stat st;
    return path != nullptr && stat(path, &st) == 0 ? static_cast<unsigned long long>(st.st_size) : 0;
}

// Moves each stored file (or the finished slice file) into the folder.
int MoveFiles(WebMan& web, int count, const char* slicePath)
{
    std::string share;
    std::string shown;
    const int folder = OpenShareFolder(web.In("folder", ""), share, shown);
    const bool writable = folder >= 0 && SharePrivilege(share, web.GetLoginUserName(), web.IsAdmin()) == 2;
    Json::Value reply(Json::objectValue);
    reply["folder"] = shown;
    reply["files"] = Json::Value(Json::arrayValue);
    reply["refused"] = Json::Value(Json::arrayValue);
    for (int i = 0; i < count; ++i) {
        const std::string prefix = "_upload_" + std::to_string(i) + "_";
        const std::string name = web.In((prefix + "name").c_str(), "");
        const std::string path = slicePath != nullptr ? slicePath : web.In((prefix + "path").c_str(), "");
        const unsigned long long size = SizeOf(path.c_str());
        int error = !writable ? EACCES : !IsStorableName(name) ? EINVAL : MoveInto(path, folder, name);
        Json::Value file(Json::objectValue);
        file["name"] = name;
        if (error == 0) {
            file["size"] = static_cast<Json::UInt64>(size);
            reply["files"].append(file);
            continue;
        }
        file["reason"] = error == EEXIST ? "exists" : error == EACCES ? "no_permission" : error == EINVAL ? "bad_name"
                                                                                                   : strerror(error);
        reply["refused"].append(file);
        unlink(path.c_str());
    }
    if (folder >= 0)
        close(folder);
    reply["success"] = reply["refused"].empty();
    AnswerJson(web, reply, folder < 0 ? "404 Not Found" : !writable ? "403 Forbidden" : nullptr);
    return 0;
}

// One slice: appended to the upload's file, or the first one stored and
// recorded; the last one moves the file into the folder.
int TakeSlice(WebMan& web, int stored)
{
    const char* collecting = web.GetSliceUploadTmpFile();
    if (collecting == nullptr) {
        collecting = web.In("_upload_0_path", nullptr);
        if (stored != 1 || collecting == nullptr || !web.SaveSliceUploadTmpFile(getenv("HTTP_X_TMP_FILE"), collecting)) {
            if (collecting != nullptr)
                unlink(collecting);
            return Refuse(web, "400 Bad Request", "slice_not_recorded");
        }
    }
    if (web.IsSliceUploadFinish()) {
        const std::string path = collecting;
        web.DeleteSliceUploadTmpFile();
        return MoveFiles(web, 1, path.c_str());
    }
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["received"] = static_cast<Json::UInt64>(SizeOf(collecting));
    AnswerJson(web, reply);
    return 0;
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    if (!web.IsUploadRequest())
        return Refuse(web, "415 Unsupported Media Type", "not_multipart");
    if (web.setEUGID() != 0)
        return Refuse(web, "500 Internal Server Error", "identity");
    const int stored = web.LoadIn(nullptr);
    if (stored < 0) {
        static const Failure kWrongOffset = {-2, "409 Conflict", "offset"};
        const Failure* failure = VLIBCErrGet() == VLIB_ERR_SLICE_OFFSET ? &kWrongOffset : nullptr;
        for (const Failure& known : kFailures) {
            if (known.code == stored && failure == nullptr)
                failure = &known;
        }
        Json::Value reply(Json::objectValue);
        reply["success"] = false;
        reply["error"] = failure != nullptr ? failure->error : "system";
        reply["code"] = stored;
        if (web.IsSliceUploadRequest())  // where the client resumes
            reply["received"] = static_cast<Json::UInt64>(SizeOf(web.GetSliceUploadTmpFile()));
        AnswerJson(web, reply, failure != nullptr ? failure->status : "500 Internal Server Error");
        return 0;
    }
    if (web.IsSliceUploadRequest())
        return TakeSlice(web, stored);
    return MoveFiles(web, stored, nullptr);
}
