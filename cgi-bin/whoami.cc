// whoami.cgi: the session's user, and the identity the program runs as
// after switching to that user.
//
//   GET whoami.cgi   ->  {"success": true, "user": "alice", "is_admin": false,
//                         "euid": 1102, "egid": 100, "groups": [100],
//                         "language": "enu", "browser": {...}, "token": "..."}
//
// Administrators run as root (effective uid 0) with their own group.

#include <unistd.h>

#include <json/json.h>

#include <arx/webman.h>

namespace {

Json::Value Groups()
{
    Json::Value groups(Json::arrayValue);
    gid_t list[256];
    const int count = getgroups(256, list);
    for (int i = 0; i < count; ++i)
        groups.append(static_cast<Json::UInt>(list[i]));
    return groups;
}

Json::Value Browser(WebMan& web)
{
    _tag_vorn_browser_info_ info = {0, ""};
    Json::Value browser(Json::objectValue);
    web.GetBrowserInfo(&info);
    browser["type"] = info.type;
    browser["version"] = info.szVersion;
    return browser;
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (!web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply(Json::objectValue);
    reply["user"] = web.GetLoginUserName();
    reply["is_admin"] = web.IsAdmin();
    reply["token"] = web.GetVornToken(false);
    reply["success"] = web.setEUGID() == 0;
    reply["euid"] = static_cast<Json::UInt>(geteuid());
    reply["egid"] = static_cast<Json::UInt>(getegid());
    reply["groups"] = Groups();
    reply["language"] = web.GetUILanguage();
    reply["browser"] = Browser(web);
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
