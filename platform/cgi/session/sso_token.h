// Single sign-on tokens: JWTs signed with RS256 or ES256 by an identity
// provider configured in the root's /usr/vorn/etc/sso/, one JSON file per
// provider:
//
//   {"type": "oidc", "issuer": "https://id.example.com", "audience": "nas",
//    "key_file": "example.pem", "user_claim": "preferred_username"}
//
// "type" is "oidc" or "azure"; "key_file" is a PEM public key, relative to
// the sso directory or an absolute system path; "user_claim" names the
// user ("preferred_username" for oidc, "upn" for azure when left out).  The
// signature is checked with libcrypto (loaded on first use); then expiry,
// not-before (60 s of clock skew either way), issuer and audience.
#ifndef VORN_PLATFORM_SSO_TOKEN_H
#define VORN_PLATFORM_SSO_TOKEN_H

#include <string>
#include <string_view>

namespace vorn {

enum class SsoKind { kAzure, kOidc };

enum class SsoCheck { kAccepted, kRefused, kError };

// What an accepted token says.
struct SsoClaims {
    std::string user;       // the value of the provider's user claim
    std::string key;        // names this token among all: 64 hex digits of SHA-256 over the
                            // issuer and the token's "jti" (without one, its signed part)
    long long expires = 0;  // until when it is accepted ("exp" and the clock skew)
};

// On kAccepted, claims holds what the token says.  A refusal is logged with
// its reason; kError means libcrypto is missing.
SsoCheck CheckSsoToken(std::string_view token, SsoKind kind, long long now, SsoClaims& claims);

// The DER form (ASN.1 SEQUENCE of two INTEGERs) of a JWT's raw ECDSA
// signature r || s; "" when raw is not two halves of at most 66 bytes.
std::string EcdsaRawToDer(std::string_view raw);

}  // namespace vorn

#endif
