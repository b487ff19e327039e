// sessions.cgi: an administrator ends other users' sessions.  Their holders
// are told to log in again ("relogin").
//
//   POST sessions.cgi  action=logout_user&user=alice         ->  {"success": true, "ended": 2}
//   POST sessions.cgi  action=logout_address&address=10.0.0.7
//
// The second form shows the session filter: the platform hands each
// session to it as a json-c object.  Only POST: a state-changing request
// must carry the session token, which GET need not.

#include <string.h>

#include <string>

#include <json-c/json.h>
#include <json/json.h>

#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

namespace {

// Ends the sessions of one client address.
BOOL FromAddress(json_object* session, void* data)
{
    json_object* address = nullptr;
    return json_object_object_get_ex(session, "address", &address) &&
           strcmp(json_object_get_string(address), static_cast<const char*>(data)) == 0;
}

// Does what the parameter "action" asks for and says how it went.
void EndSessions(WebMan& web, Json::Value& reply)
{
    const std::string action = web.In("action", "");
    int ended;
    if (action == "logout_user")
        ended = web.LogoutByUser(web.In("user", ""));
    else if (action == "logout_address")
        ended = web.RemoveSessionByFunc(FromAddress, const_cast<char*>(web.In("address", "")));
    else
        ended = -2;
    reply["success"] = ended >= 0;
    if (ended >= 0)
        reply["ended"] = ended;
    else
        reply["error"] = ended == -2 ? "action" : "system_error";
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply(Json::objectValue);
    EndSessions(web, reply);
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
