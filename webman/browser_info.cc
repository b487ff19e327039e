// The request context: the client's browser.

#include "webman/browser_info.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <arx/webman.h>
#include <vorn/log.h>

#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr size_t kUserAgentSize = 4096;
constexpr float kFirstEdgeVersion = 12.0f;

// Edge names Chrome and Safari too, and Chrome names Safari: the order of
// the tests decides.  Edge before version 12 falls through to them.
bool IsEdge(const char* userAgent, const char* marker, _tag_vorn_browser_info_* info)
{
    const char* found = strstr(userAgent, marker);
    if (found == nullptr)
        return false;
    const char* version = found + strlen(marker);
    if (strtof(version, nullptr) < kFirstEdgeVersion)
        return false;
    info->type = VORN_BROWSER_EDGE;
    snprintf(info->szVersion, sizeof info->szVersion, "%s", version);
    return true;
}

// Copies the first run of digits and dots at or after from into the version.
int ScanVersion(const char* userAgent, const char* from, _tag_vorn_browser_info_* info)
{
    while (*from != '\0' && (*from < '0' || *from > '9'))
        ++from;
    if (*from == '\0') {
        VLIBCLog(LOG_ERR, "%s(%d): not supported browser type, USER_AGENT: %s", kWebManLogSource, __LINE__,
                 userAgent);
        return -1;
    }
    size_t copied = 0;
    while ((*from >= '0' && *from <= '9') || *from == '.') {
        info->szVersion[copied++] = *from++;
        if (copied == sizeof info->szVersion) {
            info->szVersion[sizeof info->szVersion - 1] = '\0';
            VLIBCLog(LOG_ERR, "%s(%d): version size not enough, USER_AGENT: %s", kWebManLogSource, __LINE__,
                     userAgent);
            return -1;
        }
    }
    return 0;
}

}  // namespace

namespace arx::webman {

int DescribeBrowser(const char* userAgent, _tag_vorn_browser_info_* info)
{
    if (info == nullptr)
        return -1;
    if (userAgent == nullptr) {
        info->type = VORN_BROWSER_NONE;
        return 0;
    }
    char text[kUserAgentSize];
    snprintf(text, sizeof text, "%s", userAgent);
    memset(info->szVersion, 0, sizeof info->szVersion);

    const char* found;
    if ((found = strstr(text, "MSIE")) != nullptr) {
        info->type = VORN_BROWSER_IE;
        return ScanVersion(text, found + strlen("MSIE"), info);
    }
    if (strstr(text, "Trident/7.0") != nullptr) {
        info->type = VORN_BROWSER_IE;
        snprintf(info->szVersion, sizeof info->szVersion, "11");
        return 0;
    }
    if (IsEdge(text, "Edge/", info) || IsEdge(text, "Edg/", info))
        return 0;
    if ((found = strstr(text, "Firefox")) != nullptr) {
        info->type = VORN_BROWSER_FIREFOX;
        return ScanVersion(text, found + strlen("Firefox"), info);
    }
    if ((found = strstr(text, "Chrome")) != nullptr) {
        info->type = VORN_BROWSER_CHROME;
        return ScanVersion(text, found + strlen("Chrome"), info);
    }
    if ((found = strstr(text, "Safari")) != nullptr) {
        info->type = VORN_BROWSER_SAFARI;
        const char* version = strstr(text, "Version/");
        return ScanVersion(text, version != nullptr ? version + strlen("Version/") : found + strlen("Safari"), info);
    }
    if ((found = strstr(text, "facebookexternalhit")) != nullptr) {
        info->type = VORN_BROWSER_FACEBOOK;
        return ScanVersion(text, found + strlen("facebookexternalhit"), info);
    }
    info->type = VORN_BROWSER_OTHER;
    return 0;
}

}  // namespace arx::webman

int WebMan::GetBrowserInfo(_tag_vorn_browser_info_* info)
{
    return arx::webman::DescribeBrowser(getenv("HTTP_USER_AGENT"), info);
}

std::string WebMan::GetIEPNGFixStyle()
{
    const char* userAgent = getenv("HTTP_USER_AGENT");
    if (userAgent == nullptr || (strstr(userAgent, "MSIE 6") == nullptr && strstr(userAgent, "MSIE 5.5") == nullptr))
        return "";
    return "img, .fixpng {behavior: url(\"/scripts/iepngfix.htc\");}";
}
