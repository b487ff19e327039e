// What may stand in a response header: nothing that could end the header
// line early and start another (response splitting).
#ifndef VORN_PLATFORM_HEADER_RULES_H
#define VORN_PLATFORM_HEADER_RULES_H

#include <string_view>

namespace vorn {

// A non-empty HTTP token (RFC 9110): letters, digits and !#$%&'*+-.^_`|~.
bool IsHttpToken(std::string_view text);

// A header value: no control character but tab.
bool IsHeaderValue(std::string_view text);

// A cookie value (RFC 6265 cookie-octets, possibly empty).
bool IsCookieValue(std::string_view text);

// A cookie's Path or Domain: printable, no ';'.
bool IsCookieAttributeValue(std::string_view text);

}  // namespace vorn

#endif
