// The referrer and allow-list URLs of the X-Frame-Options decision.
#ifndef ARX_SECURITY_REFERRER_H
#define ARX_SECURITY_REFERRER_H

#include <string>

namespace arx::security {

enum class Scheme { kUnset, kHttp, kHttps };

struct FramingOrigin {
    Scheme scheme = Scheme::kUnset;
    std::string host;         // lower case
    unsigned long port = 0;   // 0: unset
};

// Parses "http://host:port/...", "https://...", or a bare "host[:port]".
// A scheme counts only when "://" follows it and gives its default port;
// the host runs to the first '/'; a ':' after the host's first character,
// with no ']' behind it, starts a decimal port.
FramingOrigin ParseFramingOrigin(const std::string& text);

// Schemes equal or either unset, ports equal or either 0, hosts equal.
bool Matches(const FramingOrigin& referrer, const FramingOrigin& allowed);

}  // namespace arx::security

#endif
