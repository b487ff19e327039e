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
// folder they are moved into, are what that user may write.  The folder
// is checked as file_list.cgi and mkdir.cgi check theirs (400 "bad_path",
// 403 "no_privilege" or "link", 404 "not_found"), and each name as
// mkdir.cgi checks a new folder's ("bad_name" in "refused").

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <json/json.h>

#include <arx/webman.h>
#include <arx/webman_file_share.h>
#include <vorn/err.h>

#include "cgi-bin/folder_request.h"
#include "cgi-bin/json_answer.h"
#include "cgi-bin/request_checks.h"
#include "cgi-bin/upload_move.h"

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

unsigned long long SizeOf(const char* path)
{
    struct stat st;
    return path != nullptr && stat(path, &st) == 0 ? static_cast<unsigned long long>(st.st_size) : 0;
}

// Whether name can be given to a file in the folder: the rules of any
// new name, and those of the folder's file system.
bool IsStorableName(WebmanFileShare& fs, OpenedFolder& folder, const std::string& name)
{
    return fs.WfmCheckNewName(name.c_str()) == 0 && fs.WfmCheckFileName(&folder.fullPath[0], name.c_str()) == 0;
}

// Moves each stored file (or the finished slice file) into the folder; a
// folder that does not pass takes none of them.
int MoveFiles(WebMan& web, int count, const char* slicePath)
{
    std::vector<std::pair<std::string, std::string>> files;  // name, stored path
    for (int i = 0; i < count; ++i) {
        const std::string prefix = "_upload_" + std::to_string(i) + "_";
        files.emplace_back(web.In((prefix + "name").c_str(), ""),
                           slicePath != nullptr ? slicePath : web.In((prefix + "path").c_str(), ""));
    }
    WebmanFileShare fs;
    OpenedFolder folder;
    if (!CheckFolder(web, fs, web.In("folder", ""), true, folder) || !OpenCheckedFolder(web, fs, folder)) {
        for (const auto& [name, path] : files)
            unlink(path.c_str());
        return 0;
    }
    Json::Value reply(Json::objectValue);
    reply["folder"] = folder.path;
    reply["files"] = Json::Value(Json::arrayValue);
    reply["refused"] = Json::Value(Json::arrayValue);
    for (const auto& [name, path] : files) {
        const unsigned long long size = SizeOf(path.c_str());
        const int error = !IsStorableName(fs, folder, name) ? EINVAL : MoveInto(path, folder.fd, name);
        Json::Value file(Json::objectValue);
        file["name"] = name;
        if (error == 0) {
            // Administrators work as root: the file becomes theirs, as a
            // file copied in over the network would.
            if (web.IsAdmin())
                fs.WfmLibChown2Admin((folder.fullPath + "/" + name).c_str(), web.GetLoginUserName().c_str());
            file["size"] = static_cast<Json::UInt64>(size);
            reply["files"].append(file);
            continue;
        }
        file["reason"] = error == EEXIST   ? "exists"
                         : error == EACCES ? "no_permission"
                         : error == EINVAL ? "bad_name"
                                           : strerror(error);
        reply["refused"].append(file);
        unlink(path.c_str());
    }
    reply["success"] = reply["refused"].empty();
    return AnswerJson(web, reply);
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
