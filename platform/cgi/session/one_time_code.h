// Two-step login: time-based one-time codes (RFC 6238: HMAC-SHA1, 30 s
// steps, 6 digits, one step of tolerance either way).  A user has two-step
// login when the preference directory holds "otp", the base32 secret.  A
// code is accepted once only: the last accepted step is kept beside the
// secret in "otp.used", and only later steps are accepted after it.
#ifndef VORN_PLATFORM_ONE_TIME_CODE_H
#define VORN_PLATFORM_ONE_TIME_CODE_H

#include <string>
#include <string_view>

namespace vorn {

// RFC 4648 base32, ignoring ASCII case, blanks and '=' padding.
bool DecodeBase32(std::string_view text, std::string& bytes);

// The 6-digit code of a time step (libcrypto's HMAC-SHA1, loaded on first
// use); false when libcrypto is missing.
bool OneTimeCodeOf(const std::string& key, unsigned long long step, unsigned& code);

// Whether the user (the name as the database spells it) has a secret.
bool HasOneTimeSecret(const std::string& user);

enum class OneTimeCheck { kAccepted, kRejected, kError };

// Checks code (6 digits) at time now and, when it is accepted, remembers
// its step so that it is never accepted again.
OneTimeCheck CheckOneTimeCode(const std::string& user, const char* code, long long now);

}  // namespace vorn

#endif
