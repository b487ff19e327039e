// The module scan: every directory under "webman/modules" and what its
// "config" declares.  A module that cannot be read or parsed, or that
// names a path out of its directory or the web root, is logged and left
// out; the scan goes on with the next.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include <vorn/log.h>

#include "base/file_read.h"
#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/json_member.h"
#include "jsconfig/log_source.h"
#include "jsconfig/module_config.h"
#include "jsconfig/web_root.h"

namespace VORN {
namespace PAD {

namespace {

using arx::jsconfig::kJSConfigParserLogSource;
using arx::jsconfig::Member;

constexpr char kLinkOut[] = "a link out of the web root";
constexpr char kPathOut[] = "a path out of the module directory";

void LogSkip(const std::string& what, const char* why)
{
    VLIBCLog(LOG_ERR, "%s:%d Skip %s: %s.", kJSConfigParserLogSource, __LINE__, what.c_str(), why);
}

void LogNotObject(const std::string& what)
{
    VLIBCLog(LOG_ERR, "%s:%d Skip %s: Config is not an object.", kJSConfigParserLogSource, __LINE__, what.c_str());
}

void LogConfigError(const std::string& configPath, const std::string& errors)
{
    VLIBCLog(LOG_ERR, "%s:%d %s: %s\n", kJSConfigParserLogSource, __LINE__, configPath.c_str(), errors.c_str());
}

std::string Stamp(time_t time)
{
    return std::to_string(static_cast<long long>(time));
}

}  // namespace

}  // namespace PAD
}  // namespace VORN

namespace arx::jsconfig {

const base::StaticNames& ModuleConfigNames()
{
    // Those the library reads or adds, and those every module has.
    // clang-format off
    static const base::StaticNames names{
        "type", "texts", "title", "desc", "icon", "appWindow", "allUsers", "grantPrivilege", "depend", "url",
        "version", "preloadTexts", "formatedTitle", "fb_extern", "text", "items", "loadCssInARX",
        "additionalCSSFiles", "standalone_css_file", "css_file", "jsBaseURL", "jsID", "string_file"};
    // clang-format on
    return names;
}

bool ParseModuleConfig(std::string_view text, base::JsonReader& reader, Json::Value& config, std::string& errors)
{
    try {
        return reader.Parse(text, config, &errors);
    } catch (const std::exception& e) {
        errors = e.what();  // no memory
        return false;
    }
}

}  // namespace arx::jsconfig

namespace VORN {
namespace PAD {

void JSConfigParserPrivate::ParseModuleDir(const std::string& root)
{
    scanBase_ = arx::jsconfig::BaseFor(root);
    const std::string relativeDir = root == "vornman" ? "webman/modules" : "modules";
    const arx::jsconfig::WebDirectory modules(Absolute(relativeDir));
    for (const std::string& name : PackageDirectories(modules, relativeDir))
        ParseModule(relativeDir + "/" + name, arx::jsconfig::WebDirectory(modules, name));
}

JSConfigParserPrivate::ConfigRead JSConfigParserPrivate::ReadModuleConfig(const arx::jsconfig::WebDirectory& dir,
                                                                          const std::string& moduleDir,
                                                                          const std::string& name, Json::Value& config,
                                                                          struct stat& st)
{
    const int fd = dir.OpenFile(name, st);
    if (fd < 0) {
        if (errno == ELOOP)
            LogSkip(moduleDir + "/" + name, kLinkOut);
        return ConfigRead::kUnopened;
    }
    constexpr off_t kLargest = arx::jsconfig::kLargestModuleConfig;
    const bool read = base::ReadWholeDescriptor(fd, st, configText_, kLargest);
    const int error = errno;
    close(fd);
    if (!read && error == EFBIG) {
        LogConfigError(moduleDir + "/config", "larger than " + std::to_string(kLargest) + " bytes");
        return ConfigRead::kRefused;
    }
    if (!read)
        return ConfigRead::kUnopened;
    std::string errors;
    if (!arx::jsconfig::ParseModuleConfig(configText_, reader_, config, errors)) {
        LogConfigError(moduleDir + "/config", errors);
        return ConfigRead::kRefused;
    }
    return ConfigRead::kParsed;
}

std::vector<std::string> JSConfigParserPrivate::PackageDirectories(const arx::jsconfig::WebDirectory& parent,
                                                                   const std::string& relativeDir)
{
    std::vector<std::string> names;
    for (const auto& [name, type] : arx::jsconfig::SortedEntries(parent)) {
        if (type != DT_DIR && type != DT_LNK)
            continue;
        if (type == DT_LNK && !arx::jsconfig::ResolvesInsideWebRoot(Absolute(relativeDir + "/" + name))) {
            LogSkip(relativeDir + "/" + name, kLinkOut);
            continue;
        }
        names.push_back(name);
    }
    return names;
}

bool JSConfigParserPrivate::ParserJSConfig(const std::string& moduleDir)
{
    const arx::jsconfig::WebDirectory dir(Absolute(moduleDir));
    return dir.open() && ParseModule(moduleDir, dir);
}

bool JSConfigParserPrivate::ParseModule(const std::string& moduleDir, const arx::jsconfig::WebDirectory& dir)
{
    Json::Value config;
    struct stat st;
    ConfigRead read = ConfigRead::kUnopened;
    bool readConfig = true;
    if (debug) {
        const char* chosen = dir.Exists("auto_config.debug") ? "auto_config.debug" : "config.debug";
        read = ReadModuleConfig(dir, moduleDir, chosen, config, st);
        readConfig = read == ConfigRead::kUnopened;
    }
    if (readConfig)
        read = ReadModuleConfig(dir, moduleDir, "config", config, st);
    if (read != ConfigRead::kParsed)
        return false;

    Json::Value appEntry;
    Json::Value standaloneEntry;
    RegisterEntries(moduleDir, dir, config, appEntry, standaloneEntry);

    if (!dir.Readable("style.css"))
        return true;
    const std::string stylePath = moduleDir + "/style.css";
    if (!standaloneEntry.isNull() && !LoadStandaloneCssInARX(standaloneEntry))
        standaloneCss.insert(stylePath);
    // The config's time, not the style sheet's, versions the style sheet.
    struct stat configSt;
    const time_t configTime = readConfig                          ? st.st_mtime
                              : dir.Status("config", configSt, 0) ? configSt.st_mtime
                                                                  : time(nullptr);
    cssFiles.append(stylePath + "?v=" + Stamp(configTime));
    return true;
}

void JSConfigParserPrivate::RegisterJS(const std::string& moduleDir, const Json::Value& config)
{
    Json::Value appEntry;
    Json::Value standaloneEntry;
    RegisterJS(moduleDir, config, appEntry, standaloneEntry);
}

void JSConfigParserPrivate::RegisterJS(const std::string& moduleDir, const Json::Value& config, Json::Value& appEntry,
                                       Json::Value& standaloneEntry)
{
    const arx::jsconfig::WebDirectory dir(Absolute(moduleDir));
    Json::Value copy = config;
    RegisterEntries(moduleDir, dir, copy, appEntry, standaloneEntry);
}

void JSConfigParserPrivate::RegisterEntries(const std::string& moduleDir, const arx::jsconfig::WebDirectory& dir,
                                            Json::Value& config, Json::Value& appEntry, Json::Value& standaloneEntry)
{
    if (!config.isObject()) {
        LogNotObject(moduleDir);
        return;
    }
    for (auto member = config.begin(); member != config.end(); ++member) {
        const std::string file = member.name();
        const std::string path = moduleDir + "/" + file;
        if (!arx::jsconfig::StaysBelow(file)) {
            LogSkip(path, kPathOut);
            continue;
        }
        if (file != ".url" && !dir.Readable(file)) {
            LogSkip(path, strerror(dir.open() ? errno : ENOENT));
            continue;
        }
        Json::Value& entries = *member;
        if (entries.isArray() && entries.empty())
            entries = Json::Value(Json::objectValue);
        if (!entries.isObject()) {
            LogNotObject(path);
            continue;
        }
        Json::Value* scripts = nullptr;  // made with its first entry
        for (auto item = entries.begin(); item != entries.end(); ++item) {
            const std::string id = item.name();
            // The config is this scan's own: its entries move, not copy.
            Json::Value entry;
            entry.swap(*item);
            if (entry.isArray() && entry.empty())
                entry = Json::Value(Json::objectValue);
            if (!entry.isObject()) {
                LogNotObject(id);
                continue;
            }
            entry[Json::StaticString("jsBaseURL")] = moduleDir;
            entry[Json::StaticString("jsID")] = id;

            const Json::Value& grant = Member(entry, "grantPrivilege");
            const std::string grantTo = grant.isString() ? grant.asString() : "";
            if (grantTo == "all" || grantTo == "local")
                grantableApps["local"].append(id);
            if (grantTo == "all" || grantTo == "domain")
                grantableApps["domain"].append(id);

            const Json::Value& typeValue = Member(entry, "type");
            const std::string type = typeValue.isString() ? typeValue.asString() : "";
            if (type == "standalone")
                standaloneEntry = entry;
            else if (type == "app")
                appEntry = entry;
            std::string langDir;
            if (entry.isMember("texts"))
                langDir = LanguageDirectory(moduleDir, dir, id, Member(entry, "texts"));
            // Each entry stands in the script configurations; an
            // application also in the applications, the one copy the scan
            // makes.
            const bool application =
                type == "standalone" || type == "app" || type == "common_lib" || type == "url" || type == "legacy";
            if (application) {
                appConfig[id] = entry;
                if (type != "url" && type != "legacy")
                    AddAdditionalCSSFiles(id, dir);
            }
            if (scripts == nullptr)
                scripts = &jsConfigs[path];
            (*scripts)[id] = std::move(entry);
            if (!langDir.empty()) {
                texts[id] = langDir;
                // An entry of another type stands in appConfig with this
                // member alone.
                appConfig[id][Json::StaticString("string_file")] = langDir;
            }
        }
    }
}

std::string JSConfigParserPrivate::LanguageDirectory(const std::string& moduleDir,
                                                     const arx::jsconfig::WebDirectory& dir, const std::string& id,
                                                     const Json::Value& textsName)
{
    if (!textsName.isString()) {
        LogSkip(id + " texts", "not a directory name");
        return "";
    }
    const std::string name = textsName.asString();
    if (!arx::jsconfig::StaysBelow(name)) {
        LogSkip(moduleDir + "/" + name + "/", kPathOut);
        return "";
    }
    // The language when the module has it, else English, whether or not
    // that exists.  Whether a link on the way leads out of the web root is
    // asked where the strings are read.
    std::string below = name + "/" + lang;
    if (lang != "enu" && !dir.Readable(below))
        below = name + "/enu";
    return moduleDir + "/" + below;
}

bool JSConfigParserPrivate::LoadStandaloneCssInARX(const Json::Value& entry)
{
    const Json::Value& load = Member(entry, "loadCssInARX");
    return load.isBool() ? load.asBool() : true;
}

}  // namespace PAD
}  // namespace VORN
