// sessions.cgi: an administrator ends other users' sessions.  Their holders
// are told to log in again ("relogin").
//
//   POST sessions.cgi  action=logout_user&user=alice         ->  {"success": true, "ended": 2}
//   POST sessions.cgi  action=logout_address&address=10.0.0.7
//
// The second form shows the session filter: the platform hands each
// session to it as a json-c object.

#include <string.h>

#include <string>

#include <json-c/json.h>
#include <json/json.h>

#include <arx/webman.h>

namespace {

// Ends the sessions of one client address.
BOOL FromAddress(json_object* session, void* data)
{
    json_object* address = nullptr;
    return json_object_object_get_ex(session, "address", &address) &&
           strcmp(json_object_get_string(address), static_cast<const char*>(data)) == 0;
}

}  // namespace

int main()
{
    WebMan web(true);
    if (!web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    const std::string action = web.In("action", "");
    int ended = -1;
    if (action == "logout_user")
        ended = web.LogoutByUser(web.In("user", ""));
    else if (action == "logout_address")
        ended = web.RemoveSessionByFunc(FromAddress, const_cast<char*>(web.In("address", "")));

    Json::Value reply(Json::objectValue);
    reply["success"] = ended >= 0;
    if (ended >= 0)
        reply["ended"] = ended;
    else
        reply["error"] = action == "logout_user" || action == "logout_address" ? "system_error" : "action";
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
