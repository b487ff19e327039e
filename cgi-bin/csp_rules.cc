// csp_rules.cgi: the administrators' view of the applications' CSP rule
// configs.  JSON in, JSON out (POST):
//
//   {"action": "list"}
//       -> {"success": true, "configs": [{"name": "photo-viewer", "local": false,
//                                          "valid": true, "config": {...}}, ...]}
//   {"action": "save", "name": "photo-viewer", "local": false, "config": {"rule": {...}}}
//       -> {"success": true}, or {"success": false, "error": "..."}
//   {"action": "delete", "name": "photo-viewer", "local": false}
//       -> {"success": true}, or {"success": false, "error": "..."}
//
// Saving validates the config and regenerates the policy; an invalid config
// is refused and changes nothing.  The reasons are in the system log.  Only
// POST, listing included: the program changes state, and a GET would need
// no session token.

#include <string>
#include <vector>

#include <json/json.h>
#include <vorn/err.h>
#include <vorn/fs.h>
#include <vorn/root.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

namespace {

struct ConfigDir {
    const char* path;
    bool local;
};

const ConfigDir kConfigDirs[] = {{"/usr/vorn/etc/csp", false}, {"/usr/local/etc/csp", true}};

int CollectName(const char* name, void* context)
{
    static_cast<std::vector<std::string>*>(context)->emplace_back(name);
    return 0;
}

Json::Value Failure(const char* error)
{
    Json::Value reply;
    reply["success"] = false;
    reply["error"] = error;
    return reply;
}

Json::Value List()
{
    Json::Value reply;
    reply["success"] = true;
    reply["configs"] = Json::Value(Json::arrayValue);
    for (const ConfigDir& dir : kConfigDirs) {
        const std::string path = VORNRootPathString(dir.path);
        std::vector<std::string> names;
        VLIBCDirEnum(path.c_str(), VLIBC_DIR_SKIP_HIDDEN | VLIBC_DIR_FILES_ONLY, &CollectName, &names);
        for (const std::string& name : names) {
            Json::Value entry;
            entry["name"] = name;
            entry["local"] = dir.local;
            Json::Value config;
            entry["valid"] = VORN::JsonFromFile(config, path + "/" + name) && VORN::ARX::CspRule::IsValidConf(config);
            entry["config"] = config;
            reply["configs"].append(entry);
        }
    }
    return reply;
}

Json::Value Change(const std::string& action, const Json::Value& request)
{
    if (!request["name"].isString())
        return Failure("a config name is needed");
    const std::string name = request["name"].asString();
    VORN::ARX::CspRule rule(name, request["local"].isBool() && request["local"].asBool());
    if (action == "save" && !request.isMember("config"))
        return Failure("a config is needed");
    VLIBCErrSetEx(VLIB_ERR_NONE, __FILE__, __LINE__);
    if (action == "save" && !rule.Save(request["config"]))
        return Failure(VLIBCErrGet() == VLIB_ERR_FORMAT ? "invalid config" : "the config could not be saved");
    if (action == "delete" && !rule.Delete())
        return Failure("the config could not be deleted");
    Json::Value reply;
    reply["success"] = true;
    return reply;
}

Json::Value Answer(const Json::Value* request)
{
    if (request == nullptr || !request->isObject() || !(*request)["action"].isString())
        return Failure("a JSON body with an action is needed");
    const std::string action = (*request)["action"].asString();
    if (action == "list")
        return List();
    if (action == "save" || action == "delete")
        return Change(action, *request);
    return Failure("unknown action");
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    // POST and administrators only, checked before anything is read or
    // changed; a refused request is answered here, with the security
    // headers queued above.
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_ADMIN, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply = Answer(web.In());
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
