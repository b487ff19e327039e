// mkdir.cgi: a new folder in one of the session user's folders, made as
// that user.
//
//   POST mkdir.cgi   path=/public/a&name=New folder
//   -> {"success": true, "folder": {"name": "New folder", "path": "/public/a/New folder"}}
//
// The name must be 1 to 255 bytes of clean UTF-8 and pass the rules of the
// folder's file system (no ":" or "/"; on vfat none of \ * ? " < > |; no
// "." or "..", "._..." or the platform's hidden names).  Refused: 400
// "bad_path" or "bad_name" (with the platform's "code"), 403
// "no_privilege" (no read-write privilege on the share, or the folder
// cannot be written) or "link", 404 "not_found", 409 "exists".

#include <errno.h>
#include <sys/stat.h>

#include <string>

#include <json/json.h>

#include <arx/webman.h>
#include <arx/webman_file_share.h>
#include <vorn/err.h>

#include "cgi-bin/folder_request.h"
#include "cgi-bin/request_checks.h"

namespace {

int RefuseName(WebMan& web)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"] = "bad_name";
    reply["code"] = VLIBCErrGet();
    return AnswerJson(web, reply, "400 Bad Request");
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    WebmanFileShare fs;
    const std::string name = Param(web, "name");
    if (fs.WfmCheckNewName(name.c_str()) != 0)
        return RefuseName(web);
    OpenedFolder folder;
    if (!OpenFolder(web, fs, Param(web, "path"), true, folder))
        return 0;
    if (fs.WfmCheckFileName(&folder.fullPath[0], name.c_str()) != 0)
        return RefuseName(web);
    const int mask = fs.WfmLibUmask();
    const int made = mkdirat(folder.fd, name.c_str(), 0777);
    const int error = errno;
    fs.WfmLibRestoreUmask(static_cast<unsigned int>(mask));
    if (made != 0) {
        if (error == EEXIST)
            return Refuse(web, "409 Conflict", "exists");
        if (error == EACCES || error == EPERM || error == EROFS)
            return Refuse(web, "403 Forbidden", "no_privilege");
        return Refuse(web, "500 Internal Server Error", "system");
    }
    const std::string fullPath = folder.fullPath + "/" + name;
    // Administrators work as root: the folder becomes theirs, as a folder
    // made over the network would.
    if (web.IsAdmin())
        fs.WfmLibChown2Admin(fullPath.c_str(), web.GetLoginUserName().c_str());
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["folder"]["name"] = name;
    reply["folder"]["path"] = folder.path + "/" + name;
    return AnswerJson(web, reply);
}
