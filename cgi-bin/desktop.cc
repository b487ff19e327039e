// desktop.cgi: the web desktop's configuration for the session's language
// and user (logged-in users, GET).
//
//   GET desktop.cgi?part=version[&app=ID]
//       -> {"success": true, "lang": "ger", "user": "alice", "version": "STAMP"}
//   GET desktop.cgi?part=config&lang=ger&user=alice&v=STAMP[&app=ID]
//       -> {"success": true, "lang": "ger", "user": "alice", "version": "STAMP",
//           "apps": {...}, "jsConfigs": {...}, "css": [...], "grantable": {...}}
//   GET desktop.cgi?part=texts&lang=ger&user=alice&v=STAMP[&app=ID]
//       -> {"success": true, "lang": "ger", "user": "alice", "version": "STAMP", "texts": {...}}
//
// The applications are those the session's user may open (AppPrivilege:
// grantable ones as the privilege table says, the rest for administrators;
// an add-on entry with "allUsers" for everyone); libraries and entries of
// other types are everyone's.  With app, the documents are those of the
// page of that application on its own port: its own style sheets and texts
// and those of the packages it names; an application the user may not
// open is answered 403.
//
// A module whose strings have no directory for the language gives its
// English texts.  The version is the stamp of the cache, which changes
// whenever the cache is built again (js-config-cache --clear, after a
// module changed), joined with the stamp of the privilege table and the
// groups, which changes with every grant.  A URL that names the current
// version, the session's language and user always gets the same document:
// it carries an ETag, and a request whose If-None-Match holds that tag is
// answered "304 Not Modified" without reading the cache.  Any other URL is
// answered with the current document and "Cache-control: no-store": the
// page asks for the version first, then for the documents of that version.

#include <stdio.h>

#include <string>
#include <unordered_set>

#include <json/json.h>

#include <vorn/app_privilege.h>

#include <arx/app_privilege.h>
#include <arx/js_config_parser.h>
#include <arx/webman.h>
#include <arx/webutils.h>

#include "cgi-bin/compact_json.h"
#include "cgi-bin/json_answer.h"

namespace {

using VORN::PAD::AppPrivilege;
using VORN::PAD::JSConfigParser;

// Entries the user opens, as opposed to libraries and scripts.
bool IsApplication(const Json::Value& entry)
{
    if (!entry.isObject() || !entry["type"].isString())
        return false;
    const std::string type = entry["type"].asString();
    return type == "app" || type == "standalone" || type == "url" || type == "legacy";
}

// The ids of the grantable applications, local or domain: looked up once
// per entry of a configuration of hundreds.
std::unordered_set<std::string> GrantableIds(const Json::Value& grantable)
{
    std::unordered_set<std::string> ids;
    if (!grantable.isObject())
        return ids;
    for (const char* kind : {"local", "domain"}) {
        const Json::Value& list = grantable[kind];
        if (!list.isArray())
            continue;
        for (const Json::Value& element : list) {
            if (element.isString())
                ids.insert(element.asString());
        }
    }
    return ids;
}

// Which of the configuration's entries the session's user may see: the
// privilege table decides grantable applications; an add-on that says
// "allUsers" is everyone's; the rest is the administrators'.
class Visible {
public:
    Visible(const JSConfigParser& parser, const std::string& user)
        : apps_(parser.AppConfig()), grantable_(GrantableIds(parser.GrantableApps())),
          privilege_(parser.GrantableApps()), user_(user)
    { }

    bool operator()(const std::string& id, const Json::Value& entry)
    {
        const Json::Value* declared = apps_.isObject() ? apps_.find(id.data(), id.data() + id.size()) : nullptr;
        const Json::Value& app = declared != nullptr ? *declared : entry;
        if (!IsApplication(app))
            return true;
        const bool grantable = grantable_.count(id) != 0;
        if (!grantable && app["allUsers"].isBool() && app["allUsers"].asBool())
            return true;
        return privilege_.IsUserHasAppPriv(user_, id, "");
    }

private:
    const Json::Value& apps_;
    const std::unordered_set<std::string> grantable_;
    AppPrivilege privilege_;
    const std::string user_;
};

// Whether the user may open the application named app.
bool MayOpen(const JSConfigParser& parser, Visible& visible, const std::string& app)
{
    const Json::Value& apps = parser.AppConfig();
    return apps.isObject() && apps.isMember(app) && IsApplication(apps[app]) && visible(app, apps[app]);
}

// The version of the documents for this session: the cache's and the
// privileges'.
std::string Version(const char* app, const std::string& lang)
{
    const std::string cache = JSConfigParser::GetCacheStamp(app, lang.c_str());
    char privileges[256];
    if (cache.empty() || VLIBAppPrivStampGet(privileges, sizeof privileges) < 0)
        return "";
    return cache + "~" + privileges;
}

enum class Part { kVersion, kConfig, kTexts, kUnknown };

Part PartNamed(const std::string& name)
{
    if (name == "version")
        return Part::kVersion;
    if (name == "config")
        return Part::kConfig;
    if (name == "texts")
        return Part::kTexts;
    return Part::kUnknown;
}

// The documents are large: compact, UTF-8 as it is, and written piece by
// piece from the parser's own documents into one text, never copied into a
// reply.
class Reply {
public:
    void Add(const char* name, const Json::Value& value)
    {
        Name(name);
        AppendCompactJson(value, out_);
    }
    // An object's members that keep(name, member) keeps; with depth 2,
    // the members of each member (objects of objects).
    template <typename Keep> void AddFiltered(const char* name, const Json::Value& value, int depth, Keep& keep)
    {
        Name(name);
        WriteFiltered(value, depth, keep);
    }
    void Write()
    {
        out_.append("}\n");
        fwrite(out_.data(), 1, out_.size(), stdout);
    }

private:
    void Name(const char* name)
    {
        out_.append(empty_ ? "{" : ",");
        AppendJsonString(name, out_);
        out_.push_back(':');
        empty_ = false;
    }
    template <typename Keep> void WriteFiltered(const Json::Value& value, int depth, Keep& keep)
    {
        if (!value.isObject()) {
            AppendCompactJson(value, out_);
            return;
        }
        out_.push_back('{');
        bool first = true;
        for (auto member = value.begin(); member != value.end(); ++member) {
            const std::string name = member.name();
            if (depth == 1 && !keep(name, *member))
                continue;
            if (!first)
                out_.push_back(',');
            AppendJsonString(name, out_);
            out_.push_back(':');
            if (depth == 1)
                AppendCompactJson(*member, out_);
            else
                WriteFiltered(*member, depth - 1, keep);
            first = false;
        }
        out_.push_back('}');
    }

    std::string out_;
    bool empty_ = true;
};

int Refuse(WebMan& web, const char* status, const char* error)
{
    Json::Value reply;
    reply["success"] = false;
    reply["error"] = error;
    return AnswerJson(web, reply, status);
}

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (!web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    const Part part = PartNamed(web.In("part", "config"));
    if (part == Part::kUnknown)
        return Refuse(web, "400 Bad Request", "part");

    // The session's language names the cache and the strings directories;
    // the user decides the applications.
    const std::string lang = web.GetUILanguage();
    const std::string user = web.GetLoginUserName();
    const std::string appName = web.In("app", "");
    const char* app = appName.empty() ? nullptr : appName.c_str();
    std::string version = Version(app, lang);
    // Only a URL naming what it gets may be cached: the version, the
    // language and the user are in it.
    const bool stable = part != Part::kVersion && !version.empty() && version == web.In("v", "") &&
                        lang == web.In("lang", "") && user == web.In("user", "");
    if (stable && WebUtils::OutputNotModifiedIfMatch(WebUtils::CreateCGIETag()))
        return 0;

    // A page of its own only for an application the user may open.  A
    // name without a cache of its own is first looked up in the desktop's
    // documents, so that a name no module declares never gets one; once it
    // has one, the page's documents (which hold every application) say.
    JSConfigParser parser(lang.c_str(), false, true);
    if (app != nullptr && JSConfigParser::GetCacheStamp(app, lang.c_str()).empty()) {
        JSConfigParser desktop(lang.c_str(), false, true);
        desktop.ParsePathFromVornman(nullptr);
        Visible visible(desktop, user);
        if (!MayOpen(desktop, visible, appName))
            return Refuse(web, "403 Forbidden", "app");
    }
    parser.ParsePathFromVornman(app);
    Visible visible(parser, user);
    if (app != nullptr && !MayOpen(parser, visible, appName))
        return Refuse(web, "403 Forbidden", "app");
    if (version.empty())
        version = Version(app, lang);  // built just now
    Reply reply;
    if (part == Part::kConfig) {
        reply.AddFiltered("apps", parser.AppConfig(), 1, visible);
        reply.AddFiltered("jsConfigs", parser.JSConfigs(), 2, visible);
        reply.Add("css", parser.CSSFiles());
        reply.Add("grantable", parser.GrantableApps());
    } else if (part == Part::kTexts) {
        reply.Add("texts", parser.ModuleTexts());
    }
    reply.Add("lang", lang);
    reply.Add("success", true);
    reply.Add("user", user);
    reply.Add("version", version);

    const std::string etag = stable ? WebUtils::CreateCGIETag() : "";
    if (!etag.empty()) {
        // Revalidated on every use: a private document, cached by the
        // browser that asked for it only.
        web.AddHeader("ETag", etag.c_str());
        web.AddHeader("Cache-control", "private, no-cache");
    } else {
        web.AddHeader("Cache-control", "no-store");
    }
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    reply.Write();
    return 0;
}
