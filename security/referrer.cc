#include "security/referrer.h"

#include <stdlib.h>

namespace arx::security {

namespace {

std::string LowerCase(std::string text)
{
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

}  // namespace

FramingOrigin ParseFramingOrigin(const std::string& text)
{
    FramingOrigin origin;
    size_t hostStart = 0;
    if (text.compare(0, 4, "http") == 0) {
        const bool https = text.size() > 4 && text[4] == 's';
        const size_t schemeLength = https ? 5 : 4;
        if (text.compare(schemeLength, 3, "://") == 0) {
            origin.scheme = https ? Scheme::kHttps : Scheme::kHttp;
            origin.port = https ? 443 : 80;
            hostStart = schemeLength + 3;
        }
    }
    const size_t slash = text.find('/', hostStart);
    size_t hostEnd = slash == std::string::npos ? text.size() : slash;
    const size_t colon = hostEnd > hostStart ? text.rfind(':', hostEnd - 1) : std::string::npos;
    if (colon != std::string::npos && colon > hostStart && text.find(']', colon) >= hostEnd) {
        const std::string port = text.substr(colon + 1, hostEnd - colon - 1);
        origin.port = strtoul(port.c_str(), nullptr, 10);
        hostEnd = colon;
    }
    origin.host = LowerCase(text.substr(hostStart, hostEnd - hostStart));
    return origin;
}

bool Matches(const FramingOrigin& referrer, const FramingOrigin& allowed)
{
    const bool schemes = referrer.scheme == allowed.scheme || referrer.scheme == Scheme::kUnset ||
                         allowed.scheme == Scheme::kUnset;
    const bool ports = referrer.port == allowed.port || referrer.port == 0 || allowed.port == 0;
    return schemes && ports && referrer.host == allowed.host;
}

}  // namespace arx::security
