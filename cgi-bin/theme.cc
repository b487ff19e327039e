// theme.cgi: the administrators' theme switch.  JSON in, JSON out (POST
// only, administrators only):
//
//   {"action": "list"}
//       -> {"success": true, "themes": {"dark": ["apply"], "light": ["apply"]}}
//   {"action": "apply", "theme": "dark", "step": "apply"}
//       -> {"success": true}, or {"success": false, "error": "..."}
//
// "step" names the theme's action to carry out ("apply" when missing): its
// mappings point the desktop's files at the theme's own.  The theme file
// must be root's own (it is refused otherwise); what a mapping could not
// do is in the system log.

#include <string>

#include <json/json.h>

#include <arx/theme_helper.h>
#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

namespace {

Json::Value Failure(const char* error)
{
    Json::Value reply;
    reply["success"] = false;
    reply["error"] = error;
    return reply;
}

Json::Value Answer(const Json::Value* request)
{
    if (request == nullptr || !request->isObject() || !(*request)["action"].isString())
        return Failure("a JSON body with an action is needed");
    VORN::PAD::ThemeHelper themes;
    if (!themes.Parse())
        return Failure("the theme file cannot be used");
    const std::string action = (*request)["action"].asString();
    Json::Value reply;
    reply["success"] = true;
    if (action == "list") {
        reply["themes"] = Json::Value(Json::objectValue);
        for (const std::string& theme : themes.GetKeys()) {
            Json::Value& steps = reply["themes"][theme] = Json::Value(Json::arrayValue);
            for (const std::string& step : themes.GetTheme(theme).GetKeys())
                steps.append(step);
        }
        return reply;
    }
    if (action != "apply")
        return Failure("unknown action");
    if (!(*request)["theme"].isString())
        return Failure("a theme is needed");
    const std::string theme = (*request)["theme"].asString();
    const std::string step = (*request)["step"].isString() ? (*request)["step"].asString() : "apply";
    if (!themes.GetTheme(theme).GetThemeByKey(step).isObject())
        return Failure("no such theme");
    themes.Action(theme, step);
    return reply;
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply = Answer(web.In());
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
