// login.cgi: logs a user in with a password and, for a user with two-step
// login, a one-time code.  Form or JSON body:
//
//   POST login.cgi   user=alice&password=...[&otp_code=123456][&language=ger]
//
//   {"success": true, "user": "alice", "is_admin": false, "token": "..."}
//       and the session cookie "id"
//   {"success": false, "error": "..."}  with error one of
//       "wrong_credentials"  unknown user or wrong password (alike)
//       "account_disabled"   the account is locked or expired
//       "otp_required"       send the one-time code as otp_code
//       "otp_wrong"          the one-time code given was wrong or used
//       "blocked"            too many failures from this address
//       "cross_site"         the form was sent from a page of another site
//       "system_error"
//
// Only POST, and only from the appliance's own pages: a login runs before
// any session (and so any token) exists, so a page of another site could
// otherwise log the browser in to an account of its choosing.
// State-changing requests of the session carry "token" as the header
// X-VornToken (or the parameter VornToken).

#include <string>

#include <json/json.h>

#include <arx/webman.h>

#include "cgi-bin/json_answer.h"
#include "cgi-bin/request_checks.h"

namespace {

// A parameter of a form or of a JSON body.
std::string Param(WebMan& web, const char* name)
{
    if (const Json::Value* json = web.In()) {
        const Json::Value& value = json->isObject() ? (*json)[name] : Json::Value();
        return value.isString() ? value.asString() : "";
    }
    return web.In(name, "");
}

const char* ErrorOf(int result, bool codeGiven)
{
    switch (result) {
    case VORN_LOGIN_WRONG:
        return "wrong_credentials";
    case VORN_LOGIN_DISABLED:
        return "account_disabled";
    case VORN_LOGIN_OTP_NEEDED:
        return codeGiven ? "otp_wrong" : "otp_required";
    case VORN_LOGIN_BLOCKED:
        return "blocked";
    default:
        return "system_error";
    }
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web))
        return 0;
    Json::Value reply(Json::objectValue);
    if (IsCrossSiteRequest()) {
        web.AddHeader("Status", "403 Forbidden");
        reply["success"] = false;
        reply["error"] = "cross_site";
        AnswerJson(web, reply);
        return 0;
    }

    const std::string user = Param(web, "user");
    const std::string password = Param(web, "password");
    const std::string code = Param(web, "otp_code");
    const std::string language = Param(web, "language");
    _tag_login_params params = {user.c_str(), password.c_str(), language.empty() ? nullptr : language.c_str()};
    const int result = code.empty() ? web.Login(&params) : web.LoginWithOTPAuth(&params, code.c_str());

    reply["success"] = result == VORN_LOGIN_SUCCESS;
    if (result == VORN_LOGIN_SUCCESS) {
        reply["user"] = web.GetLoginUserName();
        reply["is_admin"] = web.IsAdmin();
        reply["token"] = web.GetVornToken(false);
    } else {
        reply["error"] = ErrorOf(result, !code.empty());
    }
    AnswerJson(web, reply);
    return 0;
}
