// What a single sign-on login accepts beyond a valid token: ordinary
// accounts only, and each token once.
#ifndef VORN_PLATFORM_SSO_POLICY_H
#define VORN_PLATFORM_SSO_POLICY_H

#include <sys/types.h>

#include <string>

namespace vorn {

// The first uid of an ordinary account: UID_MIN of the root's
// /etc/login.defs when it gives one, else 1000.  Accounts below it (root,
// system accounts) never log in by a token.
uid_t FirstOrdinaryUid();

enum class TokenUse { kFirst, kAgain, kError };

// Remembers the token named key until expires in the root-only store
// /run/vorn/sso-used/ (one file per token, created exclusively), and tells
// whether it was remembered already.  kError (logged) when the store cannot
// be written: the token must not be taken then.  Expired entries are
// swept at most every few minutes.
TokenUse RememberToken(const std::string& key, long long expires, long long now);

}  // namespace vorn

#endif
