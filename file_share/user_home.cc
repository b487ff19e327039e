// Users' homes, and the file-system path of a request path.

#include <arx/webman_file_share.h>

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>

#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/share.h>
#include <vorn/user.h>

#include "file_share/log_source.h"

using arx::file_share::kFileShareLogSource;

namespace {

constexpr char kHomesPrefix[] = "/homes/";

bool BeginsWith(const std::string& text, const char* prefix)
{
    return text.compare(0, strlen(prefix), prefix) == 0;
}

bool IsDirectoryUser(const char* user)
{
    return strchr(user, '\\') != nullptr || strchr(user, '@') != nullptr;
}

// The "/homes/..." part of a directory user's home, made when homes are
// on; "" when the user or the home cannot be had.
std::string DirectoryUserHomePrefix(const char* user)
{
    VLIBUSERINFO info{};
    if (VORNUserGet(user, &info) != 0)
        return "";
    if (VORNServiceUserHomeIsEnabled() == 1 &&
        VORNFSMkdirP(info.szHome, 0, 1, static_cast<int>(info.uid), static_cast<int>(info.gid), 0755) != 0)
        return "";
    const char* homes = strstr(info.szHome, kHomesPrefix);
    return homes != nullptr ? homes : "";
}

}  // namespace

BOOL WebmanFileShare::IsDirUserHome(const std::string& path, const char* user)
{
    if (path == "home" || path == "/home")
        return true;
    if (!BeginsWith(path, "/homes") || user == nullptr)
        return path.size() > 5 && BeginsWith(path, "/home/");
    const std::string prefix = IsDirectoryUser(user) ? DirectoryUserHomePrefix(user) : kHomesPrefix + std::string(user);
    if (prefix.empty() || path.size() < prefix.size() || strncasecmp(path.c_str(), prefix.c_str(), prefix.size()) != 0)
        return false;
    return path.size() == prefix.size() || path[prefix.size()] == '/';
}

BOOL WebmanFileShare::WfmUserHomeFullPathGet(std::string& out, std::string user)
{
    VLIBUSERINFO info{};
    if (VORNUserGet(user.c_str(), &info) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to get user (%s)", kFileShareLogSource, __LINE__, user.c_str());
        return false;
    }
    char resolved[4095];
    if (!WfmLibRealFullPathGet(info.szHome, resolved, sizeof resolved)) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to get real path (%s)", kFileShareLogSource, __LINE__, info.szHome);
        return false;
    }
    out = resolved;
    return true;
}

BOOL WebmanFileShare::WfmFullPathGet(const char* path, std::string& fullPath, std::string& share,
                                     std::string& shareFolder, std::string& rest, std::string user)
{
    WfmLibSetErr(WEBFM_ERR_NONE);
    if (path == nullptr || path[0] == '\0' || user.empty()) {
        WfmLibSetErr(WEBFM_ERR_BAD_PARAMETER);
        return false;
    }
    char* token = WfmLibGetTokOfPath(path, true);
    if (token == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d WfmLibGetTokOfPath fail", kFileShareLogSource, __LINE__);
        WfmLibSetErr(WEBFM_ERR_BAD_PATH);
        return false;
    }
    const std::string name = token;
    free(token);
    std::string folder;
    if (IsDirUserHome(name, nullptr)) {
        if (!WfmUserHomeFullPathGet(folder, user)) {
            VLIBCLog(LOG_ERR, "%s:%d WfmUserHomeFullPathGet fail", kFileShareLogSource, __LINE__);
            WfmLibSetErr(WEBFM_ERR_BAD_PATH);
            return false;
        }
    } else {
        VORNSHARE* record = nullptr;
        if (VORNShareGet(name.c_str(), &record) != 0) {
            VLIBCLog(LOG_ERR, "%s:%d VORNShareGet fail", kFileShareLogSource, __LINE__);
            WfmLibSetErr(WEBFM_ERR_NOT_FOUND);
            return false;
        }
        folder = record->szPath;
        VORNShareFree(record);
    }
    // What follows the share's name and its "/".
    std::string after = path;
    after.erase(0, after.find_first_not_of('/'));
    after.erase(0, name.size());
    if (!after.empty() && after[0] == '/')
        after.erase(0, 1);
    while (!after.empty() && after.back() == '/')
        after.pop_back();
    share = name;
    shareFolder = folder;
    rest = after;
    fullPath = after.empty() ? folder : folder + "/" + after;
    return true;
}
