// The applications' texts: all of them, those of one application, and the
// brief ones (titles and preloaded texts) with the feasibility checks'.

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <arx/run_as.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/descriptor.h"
#include "base/file_read.h"
#include "base/json_read.h"
#include "jsconfig/config_cache.h"
#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/json_member.h"
#include "jsconfig/log_source.h"
#include "jsconfig/web_root.h"
#include "strings/strings_read.h"
#include "webutils/json_text.h"

namespace VORN {
namespace PAD {

namespace {

using arx::jsconfig::CacheSession;
using arx::jsconfig::kJSConfigParserLogSource;
using arx::jsconfig::Member;

constexpr char kFeasibilityTexts[] = "/usr/local/share/feasibilitycheck/fshktext";
constexpr const char* kBriefKeys[] = {"title", "formatedTitle"};
// The list and the "fb_extern" items are written by packages: bounded as
// module configs are.
constexpr off_t kLargestList = 1 << 20;
constexpr int kDeepestList = 64;
constexpr size_t kMostListValues = 100000;

struct TextReference {
    std::string section;
    std::string key;
};

// "section:key": the section before the first ':', the key after it.
bool Split(const Json::Value& reference, TextReference& split)
{
    if (!reference.isString())
        return false;
    const std::string text = reference.asString();
    const size_t colon = text.find(':');
    if (colon == std::string::npos)
        return false;
    split.section = text.substr(0, colon);
    split.key = text.substr(colon + 1);
    return true;
}

// The first text stored under a section and key stays.
void AddText(Json::Value& texts, const TextReference& reference, const std::string& text)
{
    Json::Value& section = texts[reference.section];
    if (!section.isMember(reference.key))
        section[reference.key] = text;
}

void LogSkip(const std::string& what, const char* why)
{
    VLIBCLog(LOG_ERR, "%s:%d Skip %s: %s.", kJSConfigParserLogSource, __LINE__, what.c_str(), why);
}

enum class Strings { kRead, kNone, kOut };

// An application's strings file as the feasibility checks read it.
struct AppStrings {
    bool read = false;
    std::string path;
    std::string content;
};

// The "strings" file of the language directory dir (relative to from),
// read whole into content: kNone when there is none, or it is not text;
// kOut (logged) when it lies out of the web root.  The scan records strings
// directories as it finds them; where the file is is decided here, on the
// file opened, however long after the scan that is.
Strings ReadModuleStrings(const arx::jsconfig::WebDirectory& from, const std::string& dir, std::string& content)
{
    const std::string relative = dir + "/strings";
    struct stat st;
    const int fd = from.OpenFile(relative, st);
    if (fd < 0) {
        if (errno != ELOOP)
            return Strings::kNone;
        LogSkip(dir, "a link out of the web root");
        return Strings::kOut;
    }
    const base::Descriptor file(fd);
    const auto read = arx::strings::ReadStrings(fd, st, from.path() + "/" + relative, content);
    return read == arx::strings::StringsRead::kText ? Strings::kRead : Strings::kNone;
}

// The sections of dir's strings file: empty when there is none, nothing
// when it lies out of the web root.
std::optional<Json::Value> ModuleSections(const arx::jsconfig::WebDirectory& from, const std::string& dir)
{
    std::string content;
    const Strings read = ReadModuleStrings(from, dir, content);
    if (read == Strings::kOut)
        return std::nullopt;
    return read == Strings::kRead ? arx::strings::StringsSections(content) : Json::Value(Json::objectValue);
}

// A text member of an entry as a path element: "" for a missing one, false
// for anything but a string.
bool PathElement(const Json::Value& entry, const char* name, std::string& element)
{
    const Json::Value& value = Member(entry, name);
    if (value.isNull()) {
        element.clear();
        return true;
    }
    if (!value.isString())
        return false;
    element = value.asString();
    return arx::jsconfig::StaysBelow(element);
}

// The strings directory of an application entry for the language, or
// "enu" when the language has none, relative to the web root; "" (logged)
// when the entry's paths would lead out of it.
std::string EntryLanguageDirectory(const Json::Value& entry, const std::string& lang)
{
    std::string base;
    std::string name;
    if (!PathElement(entry, "jsBaseURL", base) || !PathElement(entry, "texts", name)) {
        LogSkip(Member(entry, "jsID").isString() ? Member(entry, "jsID").asString() : "texts",
                "a path out of the web root");
        return "";
    }
    const std::string dir = base + "/" + name + "/";
    const std::string relative = dir + lang;
    if (access((arx::jsconfig::WebRoot() + "/" + relative).c_str(), R_OK) != 0)
        return dir + "enu";
    return relative;
}

// The text of a reference in a strings file's content, added to brief.
void AddReferencedText(const std::string& content, const std::string& path, const Json::Value& reference,
                       Json::Value& brief)
{
    TextReference split;
    std::string text;
    if (Split(reference, split) && arx::strings::StringsText(content, path, split.section, split.key, text))
        AddText(brief, split, text);
}

// The texts an "fb_extern" list names: each item's own items first, then
// its "text".
void CollectItemTexts(const std::string& content, const std::string& path, const Json::Value& items, Json::Value& brief,
                      int depth)
{
    if (!items.isArray() || depth > kDeepestList)
        return;
    for (const Json::Value& item : items) {
        CollectItemTexts(content, path, Member(item, "items"), brief, depth + 1);
        AddReferencedText(content, path, Member(item, "text"), brief);
    }
}

}  // namespace

void JSConfigParserPrivate::ParseTexts(const std::string& root)
{
    LoadPendingTexts();
    const Json::Value directories = texts;
    if (!directories.isObject())
        return;
    const std::string base = arx::jsconfig::BaseFor(root);
    const arx::jsconfig::WebDirectory baseDir(base);
    for (const std::string& id : directories.getMemberNames()) {
        const Json::Value& dir = directories[id];
        if (!dir.isString() || !arx::jsconfig::StaysBelow(dir.asString()))
            continue;
        if (std::optional<Json::Value> sections = ModuleSections(baseDir, dir.asString()))
            moduleTexts[id] = std::move(*sections);
    }
}

void JSConfigParserPrivate::ParseModuleTexts(const Json::Value& app, Json::Value& result)
{
    const std::string dir = EntryLanguageDirectory(app, lang);
    result = dir.empty() ? Json::Value(Json::objectValue)
                         : ModuleSections(arx::jsconfig::WebDirectory(arx::jsconfig::WebRoot()), dir)
                               .value_or(Json::Value(Json::objectValue));
}

void JSConfigParserPrivate::ParseBriefTexts(const std::string& root, Json::Value& result)
{
    LoadPendingTexts();
    const Json::Value directories = texts;
    if (!directories.isObject())
        return;
    if (useCache)
        CreateCacheDirectories();
    const std::string base = arx::jsconfig::BaseFor(root);
    std::optional<arx::jsconfig::WebDirectory> baseDir;  // opened for the first file read
    std::vector<std::pair<std::string, Json::Value>> toSave;
    for (const std::string& id : directories.getMemberNames()) {
        if (!appConfig.isObject() || !appConfig.isMember(id))
            continue;
        const bool cached = CacheUsable(id);
        const std::string cachePath = arx::jsconfig::BriefCachePath(id, lang);
        Json::Value brief(Json::objectValue);
        bool fromCache = false;
        if (cached) {
            IF_RUN_AS2("root")
            {
                fromCache = cache_.Read(CacheSession::Document::kBrief, cachePath, brief);
            }
        }
        if (fromCache) {
            result[id] = brief;
            continue;
        }
        const Json::Value& dirName = directories[id];
        if (!dirName.isString() || !arx::jsconfig::StaysBelow(dirName.asString()))
            continue;
        if (!baseDir)
            baseDir.emplace(base);
        std::string content;
        const Strings read = ReadModuleStrings(*baseDir, dirName.asString(), content);
        if (read == Strings::kOut)
            continue;
        const std::string path = base + "/" + dirName.asString() + "/strings";
        const Json::Value& entry = appConfig[id];
        if (read == Strings::kRead) {
            for (const char* briefKey : kBriefKeys)
                AddReferencedText(content, path, Member(entry, briefKey), brief);
            const Json::Value& preload = Member(entry, "preloadTexts");
            if (preload.isArray()) {
                for (const Json::Value& element : preload)
                    AddReferencedText(content, path, element, brief);
            }
            CollectItemTexts(content, path, Member(entry, "fb_extern"), brief, 0);
        }
        result[id] = brief;
        if (cached)
            toSave.emplace_back(id, brief);
    }
    if (toSave.empty() || cache_.refused())
        return;
    IF_RUN_AS2("root")
    {
        CacheSession::Writer writer(cache_);
        for (const auto& [id, brief] : toSave) {
            if (writer.open() && !writer.Write(arx::jsconfig::BriefCachePath(id, lang), brief))
                VLIBCLog(LOG_ERR, "%s:%d Failed to save %s_%s text file", kJSConfigParserLogSource, __LINE__,
                         id.c_str(), lang.c_str());
        }
    }
}

void JSConfigParserPrivate::ParseFeasibilityCheckTexts(Json::Value& result)
{
    IF_RUN_AS2("root")
    {
        const std::string path = VORNRootPathString(kFeasibilityTexts);
        if (access(path.c_str(), R_OK) != 0) {
            VLIBCLog(LOG_ERR, "%s:%d Read %s feasibility check texts file failed, Reason: [ %m ]",
                     kJSConfigParserLogSource, __LINE__, path.c_str());
            return;
        }
        std::string content;
        struct stat st;
        const base::Descriptor fd(base::OpenForReading(path.c_str(), base::Links::kFollow, &st));
        const bool read = fd.get() >= 0 && base::ReadWholeDescriptor(fd.get(), st, content, kLargestList);
        if (!read && errno != EFBIG) {
            VLIBCLog(LOG_ERR, "%s:%d open %s feasibility check texts file failed, Reason: [ %m ]",
                     kJSConfigParserLogSource, __LINE__, path.c_str());
            return;
        }
        Json::Value list;
        std::string errors;
        if (!read) {
            errors = "larger than the texts list may be";
        } else {
            try {
                base::JsonReader reader(false, nullptr, base::JsonBounds {kDeepestList, kMostListValues});
                if (!reader.Parse(content, list, &errors) && errors.empty())
                    errors = "not JSON";
            } catch (const std::exception& e) {
                errors = e.what();
            }
        }
        if (!errors.empty()) {
            VLIBCLog(LOG_ERR, "%s:%d %s: %s\n", kJSConfigParserLogSource, __LINE__, path.c_str(), errors.c_str());
            return;
        }
        if (!list.isArray() && !list.isObject())
            return;
        const arx::jsconfig::WebDirectory webRoot(arx::jsconfig::WebRoot());
        std::map<std::string, AppStrings> strings;
        for (const Json::Value& element : list) {
            // "APPLICATION:SECTION:KEY"
            if (!element.isString())
                continue;
            const std::string text = element.asString();
            const size_t colon = text.find(':');
            TextReference reference;
            if (colon == std::string::npos || !Split(Json::Value(text.substr(colon + 1)), reference))
                continue;
            const std::string id = text.substr(0, colon);
            if (!appConfig.isObject() || !appConfig.isMember(id))
                continue;
            // Each application's strings file read once, for all its checks.
            const auto [known, added] = strings.try_emplace(id);
            AppStrings& app = known->second;
            if (added) {
                const std::string dir = EntryLanguageDirectory(appConfig[id], lang);
                app.path = webRoot.path() + "/" + dir + "/strings";
                app.read = !dir.empty() && ReadModuleStrings(webRoot, dir, app.content) == Strings::kRead;
            }
            std::string found;
            if (app.read && arx::strings::StringsText(app.content, app.path, reference.section, reference.key, found))
                AddText(result[id], reference, found);
        }
    }
}

}  // namespace PAD
}  // namespace VORN
