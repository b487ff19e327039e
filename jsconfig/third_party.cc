// Add-on packages: a directory under "webman/3rdparty" that carries a
// module config like any module, or else describes an application
// ("application.cfg") and a desktop shortcut ("desktop.cfg") in key-value
// files.  Each description becomes an entry of type "url" (or "legacy" for
// an embedded application) registered like a module's.  The files are the
// package's: one that is not text, too large or has too long a line is
// logged and left out, as is a package directory linked out of the web
// root.

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <strings.h>

#include <memory>
#include <string>

#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/log.h>

#include "base/descriptor.h"
#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/json_member.h"
#include "jsconfig/log_source.h"
#include "jsconfig/web_root.h"

namespace VORN {
namespace PAD {

namespace {

using arx::jsconfig::kJSConfigParserLogSource;
using arx::jsconfig::Member;

constexpr char kDesktopPrefix[] = "VORN.PAD._ThirdParty.Desktop.";
constexpr char kAppPrefix[] = "VORN.PAD._ThirdParty.App.";
// The parts of an add-on's URL, kept on its entry so that each request
// builds the URL for its own host.
constexpr char kUrlParts[] = "urlParts";

struct HashDeleter {
    void operator()(VLIBSZHASH* hash) const { VLIBCSzHashFree(hash); }
};
using Pairs = std::unique_ptr<VLIBSZHASH, HashDeleter>;

const char* Value(const Pairs& pairs, const std::string& key)
{
    return VLIBCSzHashGetValue(pairs.get(), key.c_str());
}

const char* Part(const Json::Value& parts, const char* name)
{
    const Json::Value& part = Member(parts, name);
    return part.isString() ? part.asCString() : nullptr;
}

}  // namespace

void JSConfigParserPrivate::ParseThirdPartyDir(const std::string& root)
{
    scanBase_ = arx::jsconfig::BaseFor(root);
    const std::string relativeDir = root == "vornman" ? "webman/3rdparty" : "3rdparty";
    const arx::jsconfig::WebDirectory packages(Absolute(relativeDir));
    if (!packages.open())
        return;
    for (const std::string& name : PackageDirectories(packages, relativeDir)) {
        const std::string packageDir = relativeDir + "/" + name;
        if (ParseModule(packageDir, arx::jsconfig::WebDirectory(packages, name)))
            continue;
        ParseThirdPartyAppConfig(packageDir, name);
        ParseThirdPartyDesktopConfig(packageDir, name);
    }
}

bool JSConfigParserPrivate::ParseThirdPartyDesktopConfig(const std::string& packageDir, const std::string& packageName)
{
    return ParseThirdPartyConfig(packageDir, packageName, AddOnFile::kDesktop);
}

bool JSConfigParserPrivate::ParseThirdPartyAppConfig(const std::string& packageDir, const std::string& packageName)
{
    return ParseThirdPartyConfig(packageDir, packageName, AddOnFile::kApplication);
}

bool JSConfigParserPrivate::ParseThirdPartyConfig(const std::string& packageDir, const std::string& packageName,
                                                  AddOnFile kind)
{
    const bool desktop = kind == AddOnFile::kDesktop;
    const std::string file = desktop ? "desktop.cfg" : "application.cfg";
    const std::string path = packageDir + "/" + file;
    const arx::jsconfig::WebDirectory dir(Absolute(packageDir));
    struct stat st;
    const int fd = dir.OpenFile(file, st);
    const int error = errno;
    if (fd < 0 && error == ELOOP) {
        VLIBCLog(LOG_ERR, "%s:%d Skip %s: a link out of the web root.", kJSConfigParserLogSource, __LINE__,
                 path.c_str());
        return false;
    }
    if (fd < 0 && error != EINVAL)
        return false;  // none, or not readable: the package has no such file
    const base::Descriptor opened(fd);
    // The platform reads by path: the open file's own, so that what is read
    // is the file whose place was checked.  Not a regular file: refused.
    const Pairs pairs(VLIBCSzHashAlloc(32));
    if (!pairs || fd < 0 || VLIBCFileGetPair(arx::jsconfig::DescriptorPath(fd).c_str(), pairs.get()) < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to parse %s", kJSConfigParserLogSource, __LINE__, path.c_str());
        return false;
    }

    Json::Value entry(Json::objectValue);
    const char* adminOnly = Value(pairs, "adminonly");
    entry["allUsers"] = adminOnly != nullptr && strcasecmp(adminOnly, "false") == 0;
    const char* title = Value(pairs, "text_" + lang);
    if (title == nullptr)
        title = Value(pairs, "text");
    if (title == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d %s: There is no text for the third party application.", kJSConfigParserLogSource,
                 __LINE__, path.c_str());
        title = "ThirdParty";
    }
    entry["title"] = title;
    const char* description = Value(pairs, "description_" + lang);
    if (description == nullptr)
        description = Value(pairs, "description");
    entry["desc"] = description != nullptr ? description : "";
    static const char* const kDesktopKeys[] = {"icon", "version", nullptr};
    static const char* const kApplicationKeys[] = {"icon_16", "icon_32", "version", nullptr};
    for (const char* const* key = desktop ? kDesktopKeys : kApplicationKeys; *key != nullptr; ++key) {
        if (const char* value = Value(pairs, *key))
            entry[*key] = value;
    }
    const char* type = desktop ? nullptr : Value(pairs, "type");
    entry["type"] = type != nullptr && strcasecmp(type, "embedded") == 0 ? "legacy" : "url";
    Json::Value parts(Json::objectValue);
    for (const char* key : {"protocol", "address", "port", "path"}) {
        if (const char* value = Value(pairs, key))
            parts[key] = value;
    }
    entry["url"] = GetURL(Part(parts, "protocol"), Part(parts, "address"), Part(parts, "port"), Part(parts, "path"));
    entry[kUrlParts] = std::move(parts);

    Json::Value config(Json::objectValue);
    config[".url"][(desktop ? kDesktopPrefix : kAppPrefix) + packageName] = std::move(entry);
    Json::Value appEntry;
    Json::Value standaloneEntry;
    RegisterEntries(packageDir, dir, config, appEntry, standaloneEntry);
    return true;
}

void JSConfigParserPrivate::ResolveThirdPartyUrls()
{
    if (!appConfig.isObject())
        return;
    for (const std::string& id : appConfig.getMemberNames()) {
        Json::Value& entry = appConfig[id];
        const Json::Value& parts = Member(entry, kUrlParts);
        if (!parts.isObject())
            continue;
        const std::string url =
            GetURL(Part(parts, "protocol"), Part(parts, "address"), Part(parts, "port"), Part(parts, "path"));
        entry["url"] = url;
        const Json::Value& base = Member(entry, "jsBaseURL");
        if (!base.isString() || !jsConfigs.isObject())
            continue;
        const std::string file = base.asString() + "/.url";
        if (jsConfigs.isMember(file) && jsConfigs[file].isObject() && jsConfigs[file].isMember(id) &&
            jsConfigs[file][id].isObject())
            jsConfigs[file][id]["url"] = url;
    }
}

}  // namespace PAD
}  // namespace VORN
