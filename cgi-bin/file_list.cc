// file_list.cgi: the shared folders the session's user may see, or the
// sub-folders of one of their folders, listed as that user.
//
//   GET file_list.cgi                ->  {"success": true, "path": "/",
//                                         "folders": [{"name": "public", "path": "/public",
//                                                      "writable": true}, ...]}
//   GET file_list.cgi?path=/public/a ->  {"success": true, "path": "/public/a", "writable": true,
//                                         "folders": [{"name": "b", "path": "/public/a/b",
//                                                      "mtime": 1732312345, "mount_type": ""}, ...]}
//
// "home" stands for the user's own home when homes are on.  Folders come
// in the folder tree's order (names compared ignoring case); links, files,
// the platform's hidden folders and names that are no clean UTF-8 are
// left out, and in a share that hides unreadable folders, so is every
// folder the user could not enter and read.  Refused: 400 "bad_path" (a
// path with "..", ".", "//", controls, no UTF-8, names over 255 bytes),
// 403 "no_privilege" or "link", 404 "not_found".

#include <algorithm>
#include <string>
#include <vector>

#include <json/json.h>

#include <arx/webman.h>
#include <arx/webman_file_share.h>
#include <vorn/acl.h>
#include <vorn/list.h>
#include <vorn/share.h>
#include <vorn/unicode.h>
#include <vorn/user.h>

#include "cgi-bin/folder_request.h"

namespace {

bool ByName(const Json::Value& a, const Json::Value& b)
{
    return VLIBCUnicodeUTF8StrCaseCmp(a["name"].asCString(), b["name"].asCString()) < 0;
}

Json::Value Folder(const std::string& name, const std::string& path)
{
    Json::Value folder(Json::objectValue);
    folder["name"] = name;
    folder["path"] = path;
    return folder;
}

// The shares the user may list, and their home.
int ListShares(WebMan& web, WebmanFileShare& fs)
{
    const std::string user = web.GetLoginUserName();
    std::vector<Json::Value> folders;
    VLIBSZLIST* names = VLIBCSzListAlloc(32);
    if (names == nullptr || VORNShareEnum(&names) < 0) {
        VLIBCSzListFree(names);
        return Refuse(web, "500 Internal Server Error", "system");
    }
    for (int i = 0; i < names->nItem; ++i) {
        const std::string path = std::string("/") + VLIBCSzListGet(names, i);
        if (fs.WfmCheckRequestPath(path.c_str()) != 0 || fs.IsDirUserHome(path, nullptr) ||
            !fs.CheckShareListPrivilege(user, "", path))
            continue;
        Json::Value folder = Folder(path.substr(1), path);
        folder["writable"] = fs.WfmLibHasPrivilege(path.c_str(), user.c_str(), "", WEBFM_SHARE_PRIV_RW) == 1;
        folders.push_back(folder);
    }
    VLIBCSzListFree(names);
    std::string home;
    if (VORNServiceUserHomeIsEnabled() == 1 && fs.WfmUserHomeFullPathGet(home, user)) {
        Json::Value folder = Folder("home", "/home");
        folder["writable"] = true;
        folders.push_back(folder);
    }
    std::sort(folders.begin(), folders.end(), ByName);
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["path"] = "/";
    reply["folders"] = Json::Value(Json::arrayValue);
    for (const Json::Value& folder : folders)
        reply["folders"].append(folder);
    return AnswerJson(web, reply);
}

// Whether the share asks to hide what its users cannot read.
bool HidesUnreadable(WebmanFileShare& fs, const std::string& share)
{
    VORNSHARE* record = nullptr;
    if (fs.IsDirUserHome(share, nullptr) || VORNShareGet(share.c_str(), &record) != 0)
        return false;
    const bool hide = fs.WfmLibIsHideUnreadable(record);
    VORNShareFree(record);
    return hide;
}

int ListFolder(WebMan& web, WebmanFileShare& fs, const std::string& path)
{
    OpenedFolder folder;
    if (!OpenFolder(web, fs, path, false, folder))
        return 0;
    std::vector<_tag_SUBDIR_ENTRY_INFO_> entries;
    if (!fs.WfmLibEnumSubDirAt(folder.fd, folder.fullPath, entries))
        return RefuseFolder(web);
    const bool hide = HidesUnreadable(fs, folder.share);
    VORNPrivilege::FileAccessor accessor;
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    reply["path"] = folder.path;
    reply["writable"] = folder.writable && accessor.ACLAccess(folder.fullPath, VORN_ACL_WRITE | VORN_ACL_EXECUTE);
    reply["folders"] = Json::Value(Json::arrayValue);
    for (const _tag_SUBDIR_ENTRY_INFO_& entry : entries) {
        // A name no request could name again is not shown either.
        if (fs.WfmCheckNewName(entry.name.c_str()) != 0)
            continue;
        if (hide && !accessor.ACLAccess(entry.fullPath, VORN_ACL_READ | VORN_ACL_EXECUTE))
            continue;
        Json::Value item = Folder(entry.name, folder.path + "/" + entry.name);
        item["mtime"] = static_cast<Json::Int64>(entry.mtime);
        item["mount_type"] = entry.mountType;
        reply["folders"].append(item);
    }
    return AnswerJson(web, reply);
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (!web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    WebmanFileShare fs;
    const std::string path = Param(web, "path");
    if (path.empty() || path == "/")
        return ListShares(web, fs);
    return ListFolder(web, fs, path);
}
