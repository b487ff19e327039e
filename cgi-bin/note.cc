// note.cgi: answers one note of the appliance's notes file by name.
//
//   GET note.cgi?name=welcome  ->  {"name": "welcome", "success": true, "text": "..."}
//
// An unknown name gets the not-found response.  The file is read under the
// shared lock that writers of settings files respect.

#include <json/json.h>
#include <vorn/root.h>

#include <arx/webman.h>
#include <arx/webutils.h>

namespace {

constexpr char kNotesFile[] = "/usr/vorn/etc/notes.json";

}  // namespace

int main()
{
    WebMan web(true);
    const char* name = web.In("name", "");

    Json::Value notes;
    const std::string path = VORNRootPathString(kNotesFile);
    if (!WebUtils::LoadJsonFile(notes, path.c_str()) || !notes.isObject() || !notes.isMember(name) ||
        !notes[name].isString())
        web.ResponseNotFound();

    Json::Value reply;
    reply["success"] = true;
    reply["name"] = name;
    reply["text"] = notes[name];
    web.AddSecurityHeaders(nullptr);
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
