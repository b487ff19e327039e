#include "cgi-bin/folder_request.h"

#include <unistd.h>

#include <json/json.h>

#include <vorn/err.h>

std::string Param(WebMan& web, const char* name)
{
    if (const Json::Value* json = web.In()) {
        if (json->isObject() && (*json)[name].isString())
            return (*json)[name].asString();
        if (json->isObject() && !json->empty())
            return "";
    }
    return web.In(name, "");
}

int Refuse(WebMan& web, const char* status, const char* error)
{
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"] = error;
    reply["code"] = static_cast<int>(WfmLibGetErr());
    return AnswerJson(web, reply, status);
}

OpenedFolder::~OpenedFolder()
{
    if (fd >= 0)
        close(fd);
}

int RefuseFolder(WebMan& web)
{
    switch (WfmLibGetErr()) {
    case WEBFM_ERR_BAD_PATH:
        Refuse(web, "403 Forbidden", "link");  // a link, or a file, on the way
        break;
    case WEBFM_ERR_PERMISSION:
        Refuse(web, "403 Forbidden", "no_privilege");
        break;
    case WEBFM_ERR_NOT_FOUND:
        Refuse(web, "404 Not Found", "not_found");
        break;
    default:
        Refuse(web, "500 Internal Server Error", "system");
        break;
    }
    return 0;
}

bool CheckFolder(WebMan& web, WebmanFileShare& fs, const std::string& path, bool write, OpenedFolder& folder)
{
    if (fs.WfmCheckRequestPath(path.c_str()) != 0 || path == "/") {
        Refuse(web, "400 Bad Request", "bad_path");
        return false;
    }
    folder.path = path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    const std::string user = web.GetLoginUserName();
    if (!fs.CheckShareListPrivilege(user, "", folder.path)) {
        const bool missing = WfmLibGetErr() == WEBFM_ERR_NOT_FOUND;
        Refuse(web, missing ? "404 Not Found" : "403 Forbidden", missing ? "not_found" : "no_privilege");
        return false;
    }
    if (!fs.WfmFullPathGet(folder.path.c_str(), folder.fullPath, folder.share, folder.folderOfShare, folder.rest,
                           user)) {
        Refuse(web, "404 Not Found", "not_found");
        return false;
    }
    folder.writable = fs.IsDirUserHome(folder.path, user.c_str()) ||
                      fs.WfmLibHasPrivilege(folder.path.c_str(), user.c_str(), "", WEBFM_SHARE_PRIV_RW) == 1;
    if (write && !folder.writable) {
        Refuse(web, "403 Forbidden", "no_privilege");
        return false;
    }
    return true;
}

bool OpenCheckedFolder(WebMan& web, WebmanFileShare& fs, OpenedFolder& folder)
{
    folder.fd = fs.WfmOpenShareDir(folder.folderOfShare, folder.rest);
    if (folder.fd < 0) {
        RefuseFolder(web);
        return false;
    }
    return true;
}

bool OpenFolder(WebMan& web, WebmanFileShare& fs, const std::string& path, bool write, OpenedFolder& folder)
{
    if (!CheckFolder(web, fs, path, write, folder))
        return false;
    // From here on the user's identity: what the user may not open, the
    // program cannot either.
    if (web.setEUGID() != 0) {
        Refuse(web, "500 Internal Server Error", "identity");
        return false;
    }
    return OpenCheckedFolder(web, fs, folder);
}
