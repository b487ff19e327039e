// module_data.cgi: a module's small JSON blob for the session user.
//
//   POST module_data.cgi   action=get&module=Calendar
//       {"success": true, "exists": true, "data": {...}}
//   POST module_data.cgi   action=set&module=Calendar&data={"view":"month"}
//       {"success": true}
//   POST module_data.cgi   action=remove&module=Calendar
//       {"success": true}
//   {"success": false, "error": "..."} with "action", "data" (no JSON, or
//   larger than 64 KiB) or "not_stored" (the module's name is refused, or
//   the blob could not be written).
//
// Module names are letters, digits, '.', '_' and '-'.  The blob is kept
// by the platform's task manager in the user's preference directory,
// written as the user.  POST only, with the session token.

#include <string.h>

#include <memory>
#include <string>

#include <json/json.h>

#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

namespace {

constexpr size_t kLargestBlob = 64 << 10;

bool ParseBlob(const char* text, Json::Value& data)
{
    if (text == nullptr || strlen(text) > kLargestBlob)
        return false;
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["stackLimit"] = 64;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(text, text + strlen(text), &data, nullptr);
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    web.AddHeader("Cache-control", "no-store");
    if (AnsweredUnlessPost(web) || !web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    Json::Value reply(Json::objectValue);
    if (web.setEUGID() != 0) {
        reply["error"] = "system";
    } else {
        const std::string action = web.In("action", "");
        const char* module = web.In("module", "");
        Json::Value data;
        if (action == "get") {
            reply["exists"] = web.ReadModuleData(module, data);
            reply["data"] = data;
        } else if (action == "set") {
            if (!ParseBlob(web.In("data", nullptr), data))
                reply["error"] = "data";
            else if (!web.WriteModuleData(module, data))
                reply["error"] = "not_stored";
        } else if (action == "remove") {
            web.RemoveModuleData(module);
        } else {
            reply["error"] = "action";
        }
    }
    reply["success"] = !reply.isMember("error");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
