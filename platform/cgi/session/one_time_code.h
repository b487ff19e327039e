// Two-step login: time-based one-time codes (RFC 6238: HMAC-SHA1, 30 s
// steps, 6 digits, one step of tolerance either way).  A user has two-step
// login when the root-only store /usr/vorn/etc/otp/ holds a file of the
// user's name, the base32 secret.  A code is accepted once only: the last
// accepted step is kept in "USER.used" beside it, and only later steps are
// accepted after it.  The store is root's alone (0700, files 0600): a
// secret in the user's own directory could be emptied or replaced by the
// user, or by anyone who gets the user's session.
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

enum class TwoStep {
    kOff,     // no record: the user logs in with the password alone
    kOn,      // a usable secret
    kBroken,  // a record that cannot be used (logged): the login must fail
};

// Whether the user (the name as the database spells it) has two-step
// login.  A record that is present but unusable (empty, a link, not a
// regular file, unreadable, not base32 of at least 80 bits) never turns
// two-step login off.
TwoStep TwoStepOf(const std::string& user);

enum class OneTimeCheck { kAccepted, kRejected, kError };

// Checks code (6 digits) at time now and, when it is accepted, remembers
// its step so that it is never accepted again.  kError (logged) for a
// record that cannot be used, the used-code record included.
OneTimeCheck CheckOneTimeCode(const std::string& user, const char* code, long long now);

}  // namespace vorn

#endif
