// Validation of rule configs and of the sources they add.
#ifndef ARX_SECURITY_CSP_VALIDATE_H
#define ARX_SECURITY_CSP_VALIDATE_H

#include <string>

#include <json/value.h>

namespace arx::security {

// The URL pattern of the host sources a config may add to the system-wide
// policy, matched whole with PCRE's default options.  Inside the bracket
// expressions "#-*" is a range (from '#' to '*', the apostrophe among them),
// so quoted keywords and scheme-only sources never match.
inline constexpr char kUrlPattern[] =
    "^((https?|wss?):(\\/\\/)?)?((\\*\\.)?(-\\.)?([^\\s\\/?\\.#-*]+\\.)+[^\\s\\/?\\.#-*]+(\\/[^\\s*#\\?]+)*)?$";

// The longest source a config may add.
inline constexpr size_t kLongestSource = 2048;

// Whether url is a host source a config may add to the system-wide policy.
bool IsValidUrl(const std::string& url);

// Whether conf is a valid rule config; logs the first fault found.
bool IsValidConf(const Json::Value& conf);

// Whether name can be a file name of the config or the standalone
// directories: not empty, no '/', no NUL, not "." or "..".
bool IsFileName(const std::string& name);

}  // namespace arx::security

#endif
