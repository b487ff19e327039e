// The style sheets of the page being built: the extra style sheets an
// application names, and, once the scan is over, the filters.  The full
// desktop leaves out the style sheets of standalone applications that
// asked not to be loaded with it; a standalone application served on its
// own port keeps only its own style sheets and texts, those of the
// packages it names, and the few every page needs.

#include <stdlib.h>
#include <sys/stat.h>

#include <iterator>
#include <set>
#include <string>

#include <vorn/log.h>

#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/json_member.h"
#include "jsconfig/log_source.h"
#include "jsconfig/web_root.h"

namespace VORN {
namespace PAD {

namespace {

using arx::jsconfig::Member;

// Every page on another port may load these.
constexpr const char* kAlwaysAllowed[] = {
    "webman/modules/Utils/style.css",
    "webman/modules/FileChooser/style.css",
    "webman/modules/FileChooserV6/style.css",
};

// The path of a style sheet URL: the text before the last "?v=".
std::string StylePath(const Json::Value& url)
{
    if (!url.isString())
        return "";
    const std::string text = url.asString();
    const size_t version = text.rfind("?v=");
    return version == std::string::npos ? text : text.substr(0, version);
}

template <typename Keep> void KeepStyleSheets(Json::Value& cssFiles, Keep keep)
{
    Json::Value kept(Json::arrayValue);
    for (Json::Value& url : cssFiles) {
        if (keep(StylePath(url)))
            kept.append(std::move(url));
    }
    cssFiles.swap(kept);
}

// A member the parser writes, an object: whatever a package put there
// gives way.  The name is kept by pointer, as the reader keeps known names.
Json::Value& OwnObject(Json::Value& entry, const Json::StaticString& name)
{
    Json::Value& member = entry[name];
    if (!member.isObject())
        member = Json::Value(Json::objectValue);
    return member;
}

}  // namespace

void JSConfigParserPrivate::AddAdditionalCSSFiles(const std::string& id)
{
    const Json::Value& entry = Member(appConfig, id);
    const Json::Value& base = Member(entry, "jsBaseURL");
    if (!base.isString())
        return;
    const arx::jsconfig::WebDirectory dir(Absolute(base.asString()));
    AddAdditionalCSSFiles(id, dir);
}

void JSConfigParserPrivate::AddAdditionalCSSFiles(const std::string& id, const arx::jsconfig::WebDirectory& dir)
{
    if (!appConfig.isObject() || !appConfig.isMember(id) || !appConfig[id].isObject())
        return;
    Json::Value& entry = appConfig[id];
    const Json::Value& base = Member(entry, "jsBaseURL");
    if (!base.isString())
        return;
    const std::string moduleDir = base.asString();
    const std::string style = moduleDir + "/style.css";
    Json::Value& cssFile = OwnObject(entry, Json::StaticString("css_file"));
    OwnObject(entry, Json::StaticString("standalone_css_file"))[style] = true;
    cssFile[style] = true;
    const Json::Value& additional = Member(entry, "additionalCSSFiles");
    if (!additional.isArray())
        return;
    for (const Json::Value& name : additional) {
        if (!name.isString())
            continue;
        const std::string file = name.asString();
        // A package's names stay in its directory, and in the web root.
        if (file.empty() || !arx::jsconfig::StaysBelow(file) || !dir.Readable(file))
            continue;
        if (dir.LinkLeadsOut(file)) {
            VLIBCLog(LOG_ERR, "%s:%d Skip %s/%s: a link out of the web root.", arx::jsconfig::kJSConfigParserLogSource,
                     __LINE__, moduleDir.c_str(), file.c_str());
            continue;
        }
        struct stat st;
        const std::string path = moduleDir + "/" + file;
        cssFile[path] = true;
        cssFiles.append(path +
                        "?v=" + std::to_string(dir.Status(file, st, 0) ? static_cast<long long>(st.st_mtime) : 0));
    }
}

std::string JSConfigParserPrivate::PageApplication(const char* app)
{
    if (app != nullptr && *app != '\0')
        return app;
    const char* rewritten = getenv("REWRITE_APP");
    return rewritten != nullptr ? rewritten : "";
}

void JSConfigParserPrivate::ProcessCSSFiles(const char* app)
{
    const std::string application = PageApplication(app);
    if (!application.empty()) {
        // The lookup adds a null entry for a name no module declares, which
        // the cache keeps: the page learns that the name is no application.
        if (!appConfig.isObject())
            appConfig = Json::Value(Json::objectValue);
        const Json::Value& type = Member(appConfig[application], "type");
        if (type.isString() && type.asString() == "standalone") {
            FilterAltPortCSSFiles(application);
            return;
        }
    }
    FilterStandaloneCss();
}

void JSConfigParserPrivate::FilterStandaloneCss()
{
    if (standaloneCss.empty() || !cssFiles.isArray())
        return;
    KeepStyleSheets(cssFiles, [&](const std::string& path) { return standaloneCss.count(path) == 0; });
}

void JSConfigParserPrivate::FilterAltPortCSSFiles(const std::string& app)
{
    const Json::Value& entry = Member(appConfig, app);
    const Json::Value& packages = Member(entry, "white_pkg_list");
    if (packages.isNull() || !cssFiles.isArray())
        return;
    std::set<std::string> allowed(std::begin(kAlwaysAllowed), std::end(kAlwaysAllowed));
    if (packages.isArray()) {
        for (const Json::Value& package : packages) {
            if (!package.isString())
                continue;
            const Json::Value& own = Member(Member(appConfig, package.asString()), "css_file");
            if (own.isObject()) {
                for (const std::string& path : own.getMemberNames())
                    allowed.insert(path);
            }
        }
    }
    const Json::Value& own = Member(entry, "standalone_css_file");
    KeepStyleSheets(cssFiles, [&](const std::string& path) {
        return allowed.count(path) != 0 || (own.isObject() && own.isMember(path));
    });
}

void JSConfigParserPrivate::FilterAltPortStringFiles(const char* app)
{
    const std::string application = PageApplication(app);
    if (application.empty())
        return;
    const Json::Value& entry = Member(appConfig, application);
    const Json::Value& packages = Member(entry, "white_pkg_list");
    if (packages.isNull())
        return;
    std::set<std::string> allowed;
    const Json::Value& own = Member(entry, "string_file");
    if (own.isString())
        allowed.insert(own.asString());
    if (packages.isArray()) {
        for (const Json::Value& package : packages) {
            if (!package.isString())
                continue;
            const Json::Value& file = Member(Member(appConfig, package.asString()), "string_file");
            if (file.isString())
                allowed.insert(file.asString());
        }
    }
    Json::Value kept(Json::objectValue);
    if (texts.isObject()) {
        for (const std::string& id : texts.getMemberNames()) {
            if (texts[id].isString() && allowed.count(texts[id].asString()) != 0)
                kept[id] = texts[id];
        }
    }
    texts.swap(kept);
}

}  // namespace PAD
}  // namespace VORN
