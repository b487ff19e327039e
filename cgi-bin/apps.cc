// apps.cgi: the administrators' view of who may open which grantable
// application.  JSON in, JSON out (POST only, administrators only):
//
//   {"action": "list"}
//       -> {"success": true, "apps": [{"id": "VORN.PAD.App.Calendar", "title": "Calendar",
//                                       "local": true, "domain": true,
//                                       "allow": ["@users"], "deny": ["carol"]}, ...]}
//   {"action": "set", "app": "VORN.PAD.App.Calendar", "name": "alice", "rule": "allow"}
//       -> {"success": true}, or {"success": false, "error": "..."}
//
// name is a user or "@group"; rule "allow", "deny" or "none" (off both
// lists).  Only applications the desktop's modules declare grantable can
// be changed.  A change shows on the desktop at once: its version follows
// the privilege table.

#include <set>
#include <string>

#include <json/json.h>
#include <vorn/app_privilege.h>
#include <vorn/user.h>

#include <arx/js_config_parser.h>
#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

namespace {

using VORN::PAD::JSConfigParser;

Json::Value Failure(const char* error)
{
    Json::Value reply;
    reply["success"] = false;
    reply["error"] = error;
    return reply;
}

void CollectName(const char* name, int rule, void* context)
{
    Json::Value& entry = *static_cast<Json::Value*>(context);
    entry[rule == VLIB_APP_PRIV_ALLOW ? "allow" : "deny"].append(name);
}

bool Lists(const Json::Value& list, const std::string& id)
{
    for (const Json::Value& element : list) {
        if (element.isString() && element.asString() == id)
            return true;
    }
    return false;
}

Json::Value List(JSConfigParser& parser)
{
    const Json::Value& grantable = parser.GrantableApps();
    const Json::Value& apps = parser.AppConfig();
    const Json::Value& texts = parser.ModuleTexts();
    std::set<std::string> ids;
    for (const char* kind : {"local", "domain"}) {
        for (const Json::Value& id : grantable[kind]) {
            if (id.isString())
                ids.insert(id.asString());
        }
    }
    Json::Value reply;
    reply["success"] = true;
    reply["apps"] = Json::Value(Json::arrayValue);
    for (const std::string& id : ids) {
        Json::Value entry;
        entry["id"] = id;
        // The title's text reference ("section:key") in the application's texts.
        const Json::Value& title = apps.isMember(id) ? apps[id]["title"] : Json::Value::nullSingleton();
        std::string text = id;
        if (title.isString() && title.asString().find(':') != std::string::npos) {
            const std::string reference = title.asString();
            const size_t colon = reference.find(':');
            const Json::Value& found = texts[id][reference.substr(0, colon)][reference.substr(colon + 1)];
            if (found.isString())
                text = found.asString();
        }
        entry["title"] = text;
        entry["local"] = Lists(grantable["local"], id);
        entry["domain"] = Lists(grantable["domain"], id);
        entry["allow"] = Json::Value(Json::arrayValue);
        entry["deny"] = Json::Value(Json::arrayValue);
        if (VLIBAppPrivEnum(id.c_str(), &CollectName, &entry) < 0)
            return Failure("the privilege table cannot be read");
        reply["apps"].append(entry);
    }
    return reply;
}

Json::Value Set(JSConfigParser& parser, const Json::Value& request)
{
    if (!request["app"].isString() || !request["name"].isString() || !request["rule"].isString())
        return Failure("an app, a name and a rule are needed");
    const std::string app = request["app"].asString();
    const std::string name = request["name"].asString();
    const std::string ruleName = request["rule"].asString();
    const int rule = ruleName == "allow"  ? VLIB_APP_PRIV_ALLOW
                     : ruleName == "deny" ? VLIB_APP_PRIV_DENY
                     : ruleName == "none" ? VLIB_APP_PRIV_NONE
                                          : -1;
    if (rule < 0)
        return Failure("the rule is allow, deny or none");
    const Json::Value& grantable = parser.GrantableApps();
    if (!Lists(grantable["local"], app) && !Lists(grantable["domain"], app))
        return Failure("not a grantable application");
    VLIBUSERINFO user;
    if (name.empty() || (name[0] != '@' && VLIBUserInfoGet(name.c_str(), &user) != 0))
        return Failure("no such user");
    if (VLIBAppPrivSet(app.c_str(), name.c_str(), rule) != 0)
        return Failure("the privilege could not be saved");
    Json::Value reply;
    reply["success"] = true;
    return reply;
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    const Json::Value* request = web.In();
    Json::Value reply;
    if (request == nullptr || !request->isObject() || !(*request)["action"].isString()) {
        reply = Failure("a JSON body with an action is needed");
    } else {
        JSConfigParser parser(web.GetUILanguage(), false, true);
        parser.ParsePathFromVornman(nullptr);
        const std::string action = (*request)["action"].asString();
        reply = action == "list" ? List(parser) : action == "set" ? Set(parser, *request) : Failure("unknown action");
    }
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
