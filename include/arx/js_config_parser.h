// JSConfigParser: the web desktop's configuration, gathered from its
// modules for one language.
//
// Every module of the desktop is a directory under "webman/modules" of the
// web root "/usr/vorn/vornman": a JSON file "config" declaring its scripts
// and applications, optionally a "style.css", and its strings files in one
// directory per language.  A CGI program builds one parser per request,
// parses once and reads the documents through the getters:
//
//   VORN::PAD::JSConfigParser parser(web.GetUILanguage(), false, true);
//   parser.ParsePathFromVornman(NULL);           // the desktop itself
//   Json::Value apps = parser.GetAppConfig();
//   Json::Value texts = parser.GetModuleTexts();
//
// With the cache on (the third constructor argument), ParsePathFromVornman
// keeps what it found under "/var/cache/js_config_parser/" and the next
// request reads two files instead of every module.  Nothing compares the
// cache with the modules: whoever installs, removes or changes a module
// clears it (ClearCache, or the tool js-config-cache --clear).
#ifndef ARX_JS_CONFIG_PARSER_H
#define ARX_JS_CONFIG_PARSER_H

#include <memory>
#include <string>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace PAD {

class JSConfigParserPrivate;

class ARX_EXPORT JSConfigParser {
public:
    // lang: the language code ("enu", "ger", ...) whose strings directories
    // are used; a null or malformed code is logged and "enu" taken.  debug:
    // read the modules' debug configs ("auto_config.debug", "config.debug")
    // where they have them.  Without useCache nothing under the cache
    // directory is read, created or written.
    JSConfigParser(const char* lang, bool debug);
    JSConfigParser(const char* lang, bool debug, bool useCache);

    // Copies of the documents: entries by application id; script
    // configurations by config file and id; the style sheet URLs
    // ("...style.css?v=STAMP"); the strings directory of each application
    // for the language; {"local": [...], "domain": [...]} of the
    // applications that may be granted to local and domain users.
    Json::Value GetAppConfig();
    Json::Value GetJSConfigs();
    Json::Value GetCSSFiles();
    Json::Value GetTexts();
    Json::Value GetGrantableApps();

    // Every application's texts: sections of keys and texts, by id.  Read
    // from the strings files on the first call (and kept, with the cache
    // on, beside the configuration cache for the next request).
    Json::Value GetModuleTexts();
    // The texts of one application entry (its "jsBaseURL" and "texts"), in
    // the language or else in "enu".
    Json::Value GetModuleTexts(const Json::Value& app);
    // Each application's brief texts (its "title", "formatedTitle", the
    // "preloadTexts" it names and those of its "fb_extern" items) and the
    // feasibility checks' texts, by id.
    Json::Value GetBriefTexts();

    // The same documents without the copy each getter makes, for programs
    // that only read them (a desktop's are large: copying them costs as
    // much as reading the cache).  Valid while the parser lives and until
    // its next parse or Clear.  ModuleTexts() reads the texts first when
    // GetModuleTexts() would.
    const Json::Value& AppConfig() const;
    const Json::Value& JSConfigs() const;
    const Json::Value& CSSFiles() const;
    const Json::Value& GrantableApps() const;
    const Json::Value& ModuleTexts();

    // Empties the application entries, script configurations, style sheets
    // and strings directories before another parse; keeps the module
    // texts and grantable applications.
    void Clear();

    // Scans the modules with paths relative to "/usr/vorn/vornman/webman"
    // ("modules/..."), without the cache.
    void Parse(const char* app);
    // Scans the modules with paths relative to "/usr/vorn/vornman"
    // ("webman/modules/..."), through the cache when it is on.  app names
    // the application the page is built for; NULL or "" is the desktop.
    void ParsePathFromVornman(const char* app);

    // The stamp of the cache that ParsePathFromVornman(app) reads for lang:
    // it changes whenever the cache is built again.  "" when either of its
    // files is missing or the cache cannot be used.  Cheap (a few stat
    // calls), for URLs and ETags that must change with the configuration.
    static std::string GetCacheStamp(const char* app, const char* lang);

    // Removes every cache file (configurations, texts, brief texts) as
    // root; a parse that began before and writes after leaves nothing
    // either.  true when nothing of the cache is left.
    static bool ClearCache();

private:
    std::shared_ptr<JSConfigParserPrivate> d_;
};

// The "version" of the first entry that has one (a string or a number),
// walking the config's files and their entries in name order; "" if none.
ARX_EXPORT std::string GetPackageVersion(Json::Value& config);

}  // namespace PAD
}  // namespace VORN

#endif
