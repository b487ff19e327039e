#include "cgi/session/session_settings.h"

#include <stdlib.h>
#include <strings.h>
#include <sys/stat.h>

#include <vorn/file.h>
#include <vorn/root.h>

#include "base/file_read.h"
#include "cgi/request/system_config.h"

namespace vorn {

namespace {

// A whole non-negative decimal number no larger than limit.
bool ReadNumber(const ConfigValues& values, const char* key, long long limit, long long& number)
{
    const auto it = values.find(key);
    if (it == values.end() || it->second.empty() || it->second.size() > 12)
        return false;
    long long value = 0;
    for (char c : it->second) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    if (value > limit)
        return false;
    number = value;
    return true;
}

void ReadMinutes(const ConfigValues& values, const char* key, bool allowZero, long long& seconds)
{
    long long minutes;
    if (ReadNumber(values, key, 100L * 365 * 24 * 60, minutes) && (allowZero || minutes > 0))
        seconds = minutes * 60;
}

void ReadYesNo(const ConfigValues& values, const char* key, bool& flag)
{
    const auto it = values.find(key);
    if (it == values.end())
        return;
    if (strcasecmp(it->second.c_str(), "yes") == 0)
        flag = true;
    else if (strcasecmp(it->second.c_str(), "no") == 0)
        flag = false;
}

// The status of a configuration file, or a zeroed one when it is missing.
struct stat VersionOf(const char* systemPath)
{
    struct stat st = {};
    if (stat(VORNRootPathString(systemPath).c_str(), &st) != 0)
        st = {};
    return st;
}

SessionSettings ReadSessionSettings()
{
    ConfigValues current, defaults;
    LoadSystemConfiguration(current, defaults);
    SessionSettings settings;
    ReadMinutes(current, "session_timeout", false, settings.timeoutSeconds);
    ReadYesNo(current, "session_check_ip", settings.checkIp);
    ReadYesNo(current, "token_enable", settings.tokenEnable);
    long long attempts;
    if (ReadNumber(current, "login_max_attempts", 1000000, attempts))
        settings.maxAttempts = static_cast<int>(attempts);
    ReadMinutes(current, "login_attempt_window", false, settings.attemptWindowSeconds);
    ReadMinutes(current, "login_block_minutes", false, settings.blockSeconds);
    const auto language = current.find("language");
    if (language != current.end())
        settings.language = language->second;
    return settings;
}

}  // namespace

SessionSettings LoadSessionSettings()
{
    // Asked for several times per request: read again only when one of the
    // files is another version than the last time.
    static struct {
        bool loaded = false;
        std::string root;
        struct stat current, defaults;
        SessionSettings settings;
    } last;
    const struct stat current = VersionOf(VORN_INFO_FILE);
    const struct stat defaults = VersionOf(VORN_INFO_DEFAULTS_FILE);
    if (last.loaded && last.root == VORNRootDir() && base::SameVersion(last.current, current) &&
        base::SameVersion(last.defaults, defaults))
        return last.settings;
    last.settings = ReadSessionSettings();
    last.root = VORNRootDir();
    last.current = current;
    last.defaults = defaults;
    last.loaded = true;
    return last.settings;
}

}  // namespace vorn
