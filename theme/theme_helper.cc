// Themes: the theme file and its mappings, applied as symbolic links.

#include <arx/theme_helper.h>

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include <json/reader.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/file_read.h"

namespace VORN {
namespace PAD {

namespace {

constexpr char kLogSource[] = "ThemeHelper";
constexpr char kThemeFile[] = "/usr/vorn/theme/theme.json";
constexpr off_t kLargestThemeFile = 1 << 20;

// A theme's paths are the appliance's: under the system root.  Only
// absolute ones: a relative path would depend on the working directory.
bool SystemPath(const Json::Value& value, std::string& path)
{
    if (!value.isString() || value.asString().empty() || value.asString()[0] != '/')
        return false;
    path = VORNRootPathString(value.asCString());
    return true;
}

void ApplyMapping(const std::string& source, const std::string& target)
{
    struct stat st;
    if (lstat(target.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        VLIBCLog(LOG_ERR, "%s:%d %s is a directory: not replaced", kLogSource, __LINE__, target.c_str());
        return;
    }
    if (unlink(target.c_str()) != 0)
        VLIBCLog(LOG_ERR, "%s:%d unlink failed: %s", kLogSource, __LINE__, target.c_str());
    if (stat(source.c_str(), &st) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d link source %s does not exist.", kLogSource, __LINE__, source.c_str());
        return;
    }
    if (symlink(source.c_str(), target.c_str()) != 0)
        VLIBCLog(LOG_ERR, "%s:%d symlink failed:%s to %s", kLogSource, __LINE__, source.c_str(), target.c_str());
}

}  // namespace

ThemeGetter::ThemeGetter() = default;

ThemeGetter::ThemeGetter(const Json::Value& value) : value_(value)
{ }

Json::Value ThemeGetter::GetThemeByKey(const std::string& key)
{
    if (!value_.isObject())
        return Json::Value();
    const Json::Value* found = value_.find(key.data(), key.data() + key.size());
    return found != nullptr ? *found : Json::Value();
}

std::vector<std::string> ThemeGetter::GetKeys() const
{
    return value_.isObject() ? value_.getMemberNames() : std::vector<std::string>();
}

JsonThemeGetter::JsonThemeGetter(Json::Value value) : ThemeGetter(value)
{ }

bool ThemeHelper::Parse()
{
    return Parse(VORNRootPathString(kThemeFile));
}

bool ThemeHelper::Parse(const std::string& path)
{
    std::string text;
    struct stat st;
    if (!base::ReadWholeFile(path.c_str(), text, &st)) {
        VLIBCLog(LOG_ERR, "%s:%d cannot read %s: %m", kLogSource, __LINE__, path.c_str());
        return false;
    }
    // Its mappings are carried out as root: only root may decide them.
    if (st.st_uid != 0 || (st.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d %s is not root's own (owner %u, mode %04o): not a theme file", kLogSource, __LINE__,
                 path.c_str(), static_cast<unsigned>(st.st_uid), static_cast<unsigned>(st.st_mode & 07777));
        return false;
    }
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["stackLimit"] = 64;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    bool parsed = false;
    try {
        parsed =
            st.st_size <= kLargestThemeFile && reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const std::exception& e) {
        errors = e.what();
    }
    if (!parsed) {
        VLIBCLog(LOG_ERR, "%s:%d %s: %s", kLogSource, __LINE__, path.c_str(),
                 errors.empty() ? "too large" : errors.c_str());
        return false;
    }
    value_.swap(value);
    return true;
}

void ThemeHelper::Clear()
{
    value_ = Json::Value();
}

ThemeGetter ThemeHelper::GetTheme(const std::string& theme)
{
    return JsonThemeGetter(GetThemeByKey(theme));
}

void ThemeHelper::Action(const std::string& theme, const std::string& action)
{
    const Json::Value cfg = GetTheme(theme).GetThemeByKey(action);
    if (!cfg.isObject() || !cfg.isMember("mappings"))
        return;
    const Json::Value& mappings = cfg["mappings"];
    if (!mappings.isArray()) {
        VLIBCLog(LOG_ERR, "%s:%d can not get mappings info", kLogSource, __LINE__);
        return;
    }
    for (const Json::Value& mapping : mappings) {
        if (!mapping.isObject() || !mapping.isMember("source") || !mapping.isMember("target"))
            continue;
        std::string source;
        std::string target;
        if (!SystemPath(mapping["source"], source) || !SystemPath(mapping["target"], target)) {
            VLIBCLog(LOG_ERR, "%s:%d a mapping of %s/%s names no absolute paths: skipped", kLogSource, __LINE__,
                     theme.c_str(), action.c_str());
            continue;
        }
        ApplyMapping(source, target);
    }
}

}  // namespace PAD
}  // namespace VORN
