// Base64 with the URL and file-name safe alphabet (RFC 4648 section 5),
// without padding: session ids and the parts of signed tokens.
#ifndef VORN_PLATFORM_BASE64URL_H
#define VORN_PLATFORM_BASE64URL_H

#include <string>
#include <string_view>

namespace vorn {

std::string Base64UrlEncode(std::string_view bytes);

// Strict decoding: only the alphabet, no padding, no bits left over in the
// last character.  false for anything else.
bool Base64UrlDecode(std::string_view text, std::string& bytes);

}  // namespace vorn

#endif
