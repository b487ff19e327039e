// The desktop configuration parser's state and operations; the exported
// JSConfigParser is a handle on one of these.
//
// Paths in the documents are relative to the scan's base (the web root, or
// its "webman" directory for Parse); the files are reached through that
// base, never through the process's working directory.
#ifndef ARX_JSCONFIG_JS_CONFIG_PARSER_PRIVATE_H
#define ARX_JSCONFIG_JS_CONFIG_PARSER_PRIVATE_H

#include <sys/stat.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <json/reader.h>
#include <json/value.h>

#include <arx/localized_string_parser.h>
#include <arx/vorn_conf.h>

#include "base/json_read.h"
#include "jsconfig/config_cache.h"
#include "jsconfig/web_root.h"

namespace VORN {
namespace PAD {

class JSConfigParserPrivate {
public:
    JSConfigParserPrivate(const char* language, bool debugConfigs, bool cache);
    virtual ~JSConfigParserPrivate();
    JSConfigParserPrivate(const JSConfigParserPrivate&) = delete;
    JSConfigParserPrivate& operator=(const JSConfigParserPrivate&) = delete;

    // ---- The parse and its cache (js_config_parser.cc) ----
    void Parse(const char* app);
    void ParsePathFromVornman(const char* app);
    void Clear();
    // GetModuleTexts(): fills moduleTexts when empty.
    void EnsureModuleTexts();
    // Reads the texts cache that ParsePathFromVornman found and left for
    // when the texts are needed (a page asking for its configuration does
    // not need them).  Every use of texts and moduleTexts comes after it.
    void LoadPendingTexts();

    // ---- Modules (module_scan.cc) ----
    void ParseModuleDir(const std::string& root);
    bool ParserJSConfig(const std::string& moduleDir);
    void RegisterJS(const std::string& moduleDir, const Json::Value& config, Json::Value& appEntry,
                    Json::Value& standaloneEntry);
    void RegisterJS(const std::string& moduleDir, const Json::Value& config);
    static bool LoadStandaloneCssInARX(const Json::Value& entry);
    static std::string GetURL(const char* protocol, const char* host, const char* port, const char* path);

    // ---- Style sheets (css_files.cc) ----
    void AddAdditionalCSSFiles(const std::string& id);
    void ProcessCSSFiles(const char* app);
    void FilterStandaloneCss();
    void FilterAltPortCSSFiles(const std::string& app);
    void FilterAltPortStringFiles(const char* app);
    // The application the page is built for: app when given, else the
    // server's REWRITE_APP, else "" (the desktop).
    static std::string PageApplication(const char* app);

    // ---- Add-on packages (third_party.cc) ----
    void ParseThirdPartyDir(const std::string& root);
    bool ParseThirdPartyDesktopConfig(const std::string& packageDir, const std::string& packageName);
    bool ParseThirdPartyAppConfig(const std::string& packageDir, const std::string& packageName);
    // The "url" of every add-on entry built again for this request's host:
    // a cached document holds the host of the request that built it.
    void ResolveThirdPartyUrls();

    // ---- Texts (module_texts.cc) ----
    void ParseTexts(const std::string& root);
    void ParseModuleTexts(const Json::Value& app, Json::Value& result);
    void ParseBriefTexts(const std::string& root, Json::Value& result);
    void ParseFeasibilityCheckTexts(Json::Value& result);

    VornConf conf;
    std::string lang;
    Json::Value jsConfigs;
    Json::Value cssFiles;
    Json::Value appConfig;
    Json::Value texts;
    Json::Value moduleTexts;
    Json::Value grantableApps;
    bool debug;
    // The strings format's reader for callers of this object.  The parser
    // itself reads strings files through descriptors it checked to be in
    // the web root (strings/strings_read.h): the same texts, no path that
    // can change between the check and the open.
    LocalizedStringParser stringParser;
    std::set<std::string> standaloneCss;
    bool useCache;

private:
    // The absolute path of a path relative to the scan's base.
    std::string Absolute(const std::string& relative) const { return scanBase_ + "/" + relative; }
    // The names of the directories (and links to directories inside the
    // web root) below parent, in name order; links out are logged.
    std::vector<std::string> PackageDirectories(const arx::jsconfig::WebDirectory& parent,
                                                const std::string& relativeDir);
    void AddAdditionalCSSFiles(const std::string& id, const arx::jsconfig::WebDirectory& dir);
    // desktop.cfg or application.cfg of a package.
    enum class AddOnFile { kDesktop, kApplication };
    bool ParseThirdPartyConfig(const std::string& packageDir, const std::string& packageName, AddOnFile kind);
    // One module, its directory open.
    bool ParseModule(const std::string& moduleDir, const arx::jsconfig::WebDirectory& dir);
    // Reads and parses a module's config file (or a debug config) into
    // config; refused (logged) when it is out of bounds or not JSON.  st:
    // the file's status.
    enum class ConfigRead { kUnopened, kRefused, kParsed };
    ConfigRead ReadModuleConfig(const arx::jsconfig::WebDirectory& dir, const std::string& moduleDir,
                                const std::string& name, Json::Value& config, struct stat& st);
    // RegisterJS of a config that the caller gives up: its entries are
    // moved into the documents.
    void RegisterEntries(const std::string& moduleDir, const arx::jsconfig::WebDirectory& dir, Json::Value& config,
                         Json::Value& appEntry, Json::Value& standaloneEntry);
    // The strings directory of an entry with "texts", relative to the base,
    // or "" (logged) when the entry's path leaves its module.
    std::string LanguageDirectory(const std::string& moduleDir, const arx::jsconfig::WebDirectory& dir,
                                  const std::string& id, const Json::Value& textsName);
    // The cache, when this parser may use it for name (a key or an id).
    bool CacheUsable(const std::string& name);
    // The cache's directories, created as root.
    void CreateCacheDirectories();
    // Writes the texts cache of the last parse through the cache: the
    // strings directories and the module texts.
    void SaveTexts();

    std::string scanBase_;
    base::JsonReader reader_;
    std::string configText_;  // one buffer for every config the scan reads
    arx::jsconfig::CacheSession cache_;
    std::string cacheKey_;  // of the last ParsePathFromVornman through the cache
    // The texts cache file open but not yet read, and the page it is for.
    int pendingTexts_ = -1;
    std::string pendingPath_;
    std::string pendingApp_;
    bool textsCacheHasModuleTexts_ = false;
};

}  // namespace PAD
}  // namespace VORN

#endif
