// Session ids and session tokens: 128 random bits from getrandom, base64url
// without padding (22 characters).
#ifndef VORN_PLATFORM_SESSION_ID_H
#define VORN_PLATFORM_SESSION_ID_H

#include <string>
#include <string_view>

namespace vorn {

constexpr size_t kSessionIdLength = 22;

// Exactly the form NewRandomId makes: 22 characters of the base64url
// alphabet whose last one carries no bits beyond the 128.  Session ids are
// file names: anything else is refused before a file is touched.
bool IsSessionId(std::string_view text);

// A new id of 128 random bits; false (with the error record set) when the
// system has no randomness to give.
bool NewRandomId(std::string& id);

}  // namespace vorn

#endif
