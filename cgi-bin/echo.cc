// echo.cgi: answers with the parameters it was given.
//
// A JSON body is echoed whole; form or query parameters are read by name.
// The parameter "tag" is sent back as the header X-Echo-Tag, unless the
// platform refuses it (a value that would split the response), which the
// reply then says.

#include <json/json.h>

#include <arx/webman.h>

namespace {

const char* const kFormNames[] = {"name", "message", "tag"};

// The tag of a JSON body: its string member "tag", if any.
const char* JsonTag(const Json::Value& json)
{
    if (!json.isObject() || !json.isMember("tag") || !json["tag"].isString())
        return nullptr;
    return json["tag"].asCString();
}

}  // namespace

int main()
{
    WebMan web(true);
    Json::Value reply(Json::objectValue);
    reply["success"] = true;

    const char* tag = nullptr;
    if (Json::Value* json = web.In()) {
        reply["source"] = "json";
        reply["data"] = *json;
        tag = JsonTag(*json);
    } else {
        reply["source"] = "form";
        reply["data"] = Json::Value(Json::objectValue);
        for (const char* name : kFormNames) {
            if (const char* value = web.In(name, nullptr))
                reply["data"][name] = value;
        }
        tag = web.In("tag", nullptr);
    }
    if (tag != nullptr && web.AddHeader("X-Echo-Tag", tag) == 0)
        reply["tag_refused"] = true;

    web.AddSecurityHeaders(nullptr);
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
