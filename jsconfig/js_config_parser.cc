// The exported handle, the parse as a whole, and its use of the cache.

#include <arx/js_config_parser.h>

#include <unistd.h>

#include <arx/run_as.h>
#include <vorn/log.h>

#include "base/descriptor.h"
#include "jsconfig/config_cache.h"
#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/log_source.h"
#include "jsconfig/module_config.h"
#include "jsconfig/web_root.h"

namespace VORN {
namespace PAD {

namespace {

using arx::jsconfig::CacheSession;
using arx::jsconfig::kJSConfigParserLogSource;

constexpr char kDesktopKey[] = "ARX";
constexpr size_t kLongestLanguage = 16;

// The language names directories and cache files: anything but a plain
// name is refused.
std::string LanguageCode(const char* lang)
{
    if (lang != nullptr && arx::jsconfig::IsCacheName(lang) && std::string_view(lang).size() <= kLongestLanguage)
        return lang;
    VLIBCLog(LOG_ERR, "%s:%d language [%s] is no language code, using enu", kJSConfigParserLogSource, __LINE__,
             lang != nullptr ? lang : "(null)");
    return "enu";
}

// Lends a member to a document while the document is written, and takes it
// back however the scope ends: the documents need not be copied.
class Lent {
public:
    Lent(Json::Value& document, const char* name, Json::Value& member) : slot_(document[name]), member_(member)
    {
        slot_.swap(member_);
    }
    ~Lent() { slot_.swap(member_); }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;

private:
    Json::Value& slot_;
    Json::Value& member_;
};

// The page's application names its cache: one built for an application on
// its own port (REWRITE_APP) holds that page's filtered lists, never the
// desktop's.
std::string CacheKey(const char* app)
{
    const std::string page = JSConfigParserPrivate::PageApplication(app);
    return page.empty() ? kDesktopKey : page;
}

// No exception leaves the library: the documents come from packages and
// from files, and whatever slipped past the checks (or an allocation that
// failed) ends the operation with a log line, not the process.
template <typename Operation> void Guarded(const char* name, Operation operation)
{
    try {
        operation();
    } catch (const std::exception& e) {
        VLIBCLog(LOG_ERR, "%s:%d %s: %s", kJSConfigParserLogSource, __LINE__, name, e.what());
    }
}

}  // namespace

JSConfigParserPrivate::JSConfigParserPrivate(const char* language, bool debugConfigs, bool cache)
    : lang(LanguageCode(language)),
      debug(debugConfigs),
      useCache(cache),
      scanBase_(arx::jsconfig::WebRoot()),
      reader_(false, &arx::jsconfig::ModuleConfigNames(), arx::jsconfig::kModuleConfigBounds)
{ }

JSConfigParserPrivate::~JSConfigParserPrivate()
{
    if (pendingTexts_ >= 0)
        close(pendingTexts_);
}

void JSConfigParserPrivate::Clear()
{
    LoadPendingTexts();  // the module texts stay
    appConfig.clear();
    jsConfigs.clear();
    cssFiles.clear();
    texts.clear();
    standaloneCss.clear();
}

void JSConfigParserPrivate::Parse(const char* app)
{
    LoadPendingTexts();
    ParseModuleDir("webman");
    ParseThirdPartyDir("webman");
    ProcessCSSFiles(app);
    FilterAltPortStringFiles(app);
}

bool JSConfigParserPrivate::CacheUsable(const std::string& name)
{
    if (!useCache || cache_.refused())
        return false;
    if (arx::jsconfig::IsCacheName(name))
        return true;
    VLIBCLog(LOG_ERR, "%s:%d [%s] cannot name a cache file: not cached", kJSConfigParserLogSource, __LINE__,
             name.c_str());
    return false;
}

void JSConfigParserPrivate::ParsePathFromVornman(const char* app)
{
    LoadPendingTexts();
    Json::Value config(Json::objectValue);
    Json::Value textsDocument(Json::objectValue);
    const std::string key = CacheKey(app);
    const bool cached = CacheUsable(key);
    const std::string configPath = arx::jsconfig::ConfigCachePath(key);
    const std::string textsPath = arx::jsconfig::TextsCachePath(key, lang);
    bool configRead = false;
    bool textsRead = false;
    if (cached) {
        // The texts file as it is now, owned by the parser from here on.
        pendingPath_ = textsPath;
        pendingApp_ = app != nullptr ? app : "";
        IF_RUN_AS2("root")
        {
            configRead = cache_.Read(CacheSession::Document::kConfig, configPath, config);
            // The documents are the request's largest values: taken over,
            // not copied.
            if (configRead) {
                jsConfigs.swap(config["_jsConfig"]);
                cssFiles.swap(config["_css"]);
                appConfig.swap(config["_apps"]);
                grantableApps.swap(config["_grantableApps"]);
            }
            pendingTexts_ = cache_.Open(textsPath);
            // A scan follows, and adds to the texts: they are read now.
            if (pendingTexts_ >= 0 && !configRead) {
                const base::Descriptor file(pendingTexts_);
                pendingTexts_ = -1;
                textsRead = cache_.ReadOpened(CacheSession::Document::kTexts, file.get(), textsPath, textsDocument);
                if (textsRead) {
                    texts.swap(textsDocument["_texts"]);
                    moduleTexts.swap(textsDocument["_moduleTexts"]);
                    textsCacheHasModuleTexts_ = !moduleTexts.empty();
                }
            }
        }
        if (cache_.refused()) {
            configRead = textsRead = false;
            if (pendingTexts_ >= 0)
                close(pendingTexts_);
            pendingTexts_ = -1;
        } else {
            cacheKey_ = key;
        }
        if (configRead)
            ResolveThirdPartyUrls();
        // Read when the texts are needed.
        if (configRead && pendingTexts_ >= 0)
            return;
    }

    ParseModuleDir("vornman");
    ParseThirdPartyDir("vornman");
    ProcessCSSFiles(app);
    FilterAltPortStringFiles(app);

    if (!cached || cache_.refused())
        return;
    CreateCacheDirectories();
    const Lent scripts(config, "_jsConfig", jsConfigs);
    const Lent styleSheets(config, "_css", cssFiles);
    const Lent apps(config, "_apps", appConfig);
    const Lent grants(config, "_grantableApps", grantableApps);
    const Lent directories(textsDocument, "_texts", texts);
    const Lent allTexts(textsDocument, "_moduleTexts", moduleTexts);
    IF_RUN_AS2("root")
    {
        CacheSession::Writer writer(cache_);
        if (!writer.open())
            return;
        if (!configRead && !writer.Write(configPath, config))
            VLIBCLog(LOG_ERR, "%s:%d Failed to save config [%s] ", kJSConfigParserLogSource, __LINE__, key.c_str());
        if (!textsRead && !writer.Write(textsPath, textsDocument))
            VLIBCLog(LOG_ERR, "%s:%d Failed to save texts [%s_%s] ", kJSConfigParserLogSource, __LINE__, key.c_str(),
                     lang.c_str());
        textsCacheHasModuleTexts_ = !textsDocument["_moduleTexts"].empty();
    }
}

void JSConfigParserPrivate::CreateCacheDirectories()
{
    // Without root the guard has said why; nothing is created.
    IF_RUN_AS2("root")
    {
        cache_.CreateDirectories();
    }
}

void JSConfigParserPrivate::EnsureModuleTexts()
{
    LoadPendingTexts();
    if (!moduleTexts.empty())
        return;
    ParseTexts("vornman");
    // The texts cache that ParsePathFromVornman wrote holds the strings
    // directories only; once the texts themselves are read, the next
    // request finds them there too, instead of reading every strings file
    // again.
    if (!cacheKey_.empty() && !textsCacheHasModuleTexts_ && !moduleTexts.empty())
        SaveTexts();
}

void JSConfigParserPrivate::LoadPendingTexts()
{
    if (pendingTexts_ < 0)
        return;
    const base::Descriptor file(pendingTexts_);
    pendingTexts_ = -1;
    Json::Value document;
    if (cache_.ReadOpened(CacheSession::Document::kTexts, file.get(), pendingPath_, document)) {
        texts.swap(document["_texts"]);
        moduleTexts.swap(document["_moduleTexts"]);
        textsCacheHasModuleTexts_ = !moduleTexts.empty();
        return;
    }
    // Damaged: the strings directories as a scan of the modules finds them
    // for the same page, written back.  The configuration read from the
    // cache stays as it is.
    JSConfigParserPrivate scan(lang.c_str(), debug, false);
    scan.ParsePathFromVornman(pendingApp_.c_str());
    texts.swap(scan.texts);
    SaveTexts();
}

void JSConfigParserPrivate::SaveTexts()
{
    Json::Value textsDocument(Json::objectValue);
    const Lent directories(textsDocument, "_texts", texts);
    const Lent allTexts(textsDocument, "_moduleTexts", moduleTexts);
    IF_RUN_AS2("root")
    {
        CacheSession::Writer writer(cache_);
        if (!writer.open())
            return;
        if (!writer.Write(arx::jsconfig::TextsCachePath(cacheKey_, lang), textsDocument)) {
            VLIBCLog(LOG_ERR, "%s:%d Failed to save texts [%s_%s] ", kJSConfigParserLogSource, __LINE__,
                     cacheKey_.c_str(), lang.c_str());
            return;
        }
        textsCacheHasModuleTexts_ = !textsDocument["_moduleTexts"].empty();
    }
}

// ---- The handle ----

JSConfigParser::JSConfigParser(const char* lang, bool debug) : JSConfigParser(lang, debug, false)
{ }

// The private object first, then the shared count: should the count's
// allocation fail, the shared pointer destroys the object and passes the
// failure on.
JSConfigParser::JSConfigParser(const char* lang, bool debug, bool useCache)
    : d_(new JSConfigParserPrivate(lang, debug, useCache))
{ }

Json::Value JSConfigParser::GetAppConfig()
{
    return d_->appConfig;
}

Json::Value JSConfigParser::GetJSConfigs()
{
    return d_->jsConfigs;
}

Json::Value JSConfigParser::GetCSSFiles()
{
    return d_->cssFiles;
}

Json::Value JSConfigParser::GetTexts()
{
    Guarded("GetTexts", [&] { d_->LoadPendingTexts(); });
    return d_->texts;
}

Json::Value JSConfigParser::GetGrantableApps()
{
    return d_->grantableApps;
}

Json::Value JSConfigParser::GetModuleTexts()
{
    Guarded("GetModuleTexts", [&] { d_->EnsureModuleTexts(); });
    return d_->moduleTexts;
}

Json::Value JSConfigParser::GetModuleTexts(const Json::Value& app)
{
    Json::Value result;
    Guarded("GetModuleTexts", [&] { d_->ParseModuleTexts(app, result); });
    return result;
}

Json::Value JSConfigParser::GetBriefTexts()
{
    Json::Value result;
    Guarded("GetBriefTexts", [&] {
        d_->ParseBriefTexts("vornman", result);
        d_->ParseFeasibilityCheckTexts(result);
    });
    return result;
}

const Json::Value& JSConfigParser::AppConfig() const
{
    return d_->appConfig;
}

const Json::Value& JSConfigParser::JSConfigs() const
{
    return d_->jsConfigs;
}

const Json::Value& JSConfigParser::CSSFiles() const
{
    return d_->cssFiles;
}

const Json::Value& JSConfigParser::GrantableApps() const
{
    return d_->grantableApps;
}

const Json::Value& JSConfigParser::ModuleTexts()
{
    Guarded("ModuleTexts", [&] { d_->EnsureModuleTexts(); });
    return d_->moduleTexts;
}

void JSConfigParser::Clear()
{
    Guarded("Clear", [&] { d_->Clear(); });
}

void JSConfigParser::Parse(const char* app)
{
    Guarded("Parse", [&] { d_->Parse(app); });
}

void JSConfigParser::ParsePathFromVornman(const char* app)
{
    Guarded("ParsePathFromVornman", [&] { d_->ParsePathFromVornman(app); });
}

std::string JSConfigParser::GetCacheStamp(const char* app, const char* lang)
{
    const std::string key = CacheKey(app);
    if (lang == nullptr || !arx::jsconfig::IsCacheName(key) || !arx::jsconfig::IsCacheName(lang))
        return "";
    return arx::jsconfig::CacheStamp(key, lang);
}

bool JSConfigParser::ClearCache()
{
    IF_RUN_AS2("root")
    {
        return arx::jsconfig::ClearCacheFiles();
    }
    return false;
}

}  // namespace PAD
}  // namespace VORN
