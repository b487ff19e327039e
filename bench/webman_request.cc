// The measured program: an ordinary request through WebMan.  It reads a JSON
// body, takes a parameter from it, and answers headers and a JSON body.
#include <json/json.h>

#include <arx/webman.h>

int main()
{
    WebMan web(true);
    Json::Value reply(Json::objectValue);
    reply["success"] = true;
    if (const Json::Value* params = web.In()) {
        reply["count"] = params->size();
        if (params->isObject() && params->isMember("name"))
            reply["name"] = (*params)["name"];
    }
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
