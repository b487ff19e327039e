// logout.cgi: ends the session of the request and removes its cookie.
//
//   POST logout.cgi   (with the session's token)   ->  {"success": true}
//
// Without a valid session the authorization failure is the answer.  Only
// POST: a state-changing request must carry the token, which GET need not.

#include <json/json.h>

#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply(Json::objectValue);
    reply["success"] = web.Logout();
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
