// Single sign-on: signed tokens made here with OpenSSL, checked by the
// platform against the configured providers.

#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <vorn/session.h>

#include "cgi/session/base64url.h"
#include "cgi/session/session_test_support.h"
#include "cgi/session/sso_token.h"

namespace {

using vorn::SsoCheck;
using vorn::SsoKind;
using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

std::string PublicPem(EVP_PKEY* key)
{
    BIO* bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PUBKEY(bio, key);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);  // before data is read
    const std::string pem(data, static_cast<size_t>(size));
    BIO_free(bio);
    return pem;
}

// The JWS signature of data: PKCS #1 v1.5 for RSA, r || s for P-256, the
// MAC for an HMAC key.
std::string Sign(EVP_PKEY* key, const std::string& data)
{
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    size_t length = 512;
    std::string signature(length, '\0');
    EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
    EVP_DigestSign(context, reinterpret_cast<unsigned char*>(signature.data()), &length,
                   reinterpret_cast<const unsigned char*>(data.data()), data.size());
    EVP_MD_CTX_free(context);
    signature.resize(length);
    if (EVP_PKEY_get_base_id(key) != EVP_PKEY_EC)
        return signature;
    const unsigned char* der = reinterpret_cast<const unsigned char*>(signature.data());
    ECDSA_SIG* parsed = d2i_ECDSA_SIG(nullptr, &der, static_cast<long>(signature.size()));
    unsigned char raw[64];
    BN_bn2binpad(ECDSA_SIG_get0_r(parsed), raw, 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(parsed), raw + 32, 32);
    ECDSA_SIG_free(parsed);
    return std::string(reinterpret_cast<char*>(raw), sizeof raw);
}

// A token of the header's text and the claims, signed with key (none: unsigned).
std::string Token(const std::string& header, const Json::Value& claims, EVP_PKEY* key)
{
    const std::string signedPart = vorn::Base64UrlEncode(header) + "." + vorn::Base64UrlEncode(claims.toStyledString());
    return signedPart + "." + vorn::Base64UrlEncode(key != nullptr ? Sign(key, signedPart) : "");
}

constexpr char kRs256[] = R"({"alg":"RS256","typ":"JWT"})";

class SsoTokenTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        ASSERT_TRUE(rsa_ && other_ && ec_);
        const std::string pem = PublicPem(rsa_.get());
        // HMAC keyed with the provider's public key, as a confused verifier would take it.
        hmac_.reset(EVP_PKEY_new_raw_private_key(EVP_PKEY_HMAC, nullptr,
                                                 reinterpret_cast<const unsigned char*>(pem.data()), pem.size()));
        ASSERT_TRUE(hmac_);
        root_.WriteFile("/usr/vorn/etc/sso/example.pem", pem);
        root_.WriteFile("/usr/vorn/keys/ec.pem", PublicPem(ec_.get()));
        const std::pair<const char*, const char*> providers[] = {
            {"example", R"("oidc", "issuer": "https://id.example.com", "audience": "nas", "key_file": "example.pem")"},
            {"ec", R"("oidc", "issuer": "https://ec.example.com", "audience": "nas",)"
                   R"( "key_file": "/usr/vorn/keys/ec.pem", "user_claim": "sub")"},
            {"azure", R"("azure", "issuer": "https://login.example.net/t/v2.0", "audience": "app",)"
                      R"( "key_file": "example.pem")"}};
        for (const auto& [name, config] : providers)
            root_.WriteFile(std::string("/usr/vorn/etc/sso/") + name + ".json", std::string("{\"type\": ") + config + "}");
    }

    // Claims of the example provider naming alice, with changes (a null
    // value removes the claim).
    static Json::Value Claims(std::initializer_list<std::pair<const char*, Json::Value>> changes = {})
    {
        Json::Value claims;
        claims["iss"] = "https://id.example.com";
        claims["aud"] = "nas";
        claims["exp"] = static_cast<Json::Int64>(time(nullptr) + 300);
        claims["preferred_username"] = "alice";
        for (const auto& [name, value] : changes)
            value.isNull() ? claims.removeMember(name) : (void)(claims[name] = value);
        return claims;
    }
    std::string Rs256(const Json::Value& claims) const { return Token(kRs256, claims, rsa_.get()); }

    // The login's result; user, when given, receives the name the login
    // points params->szUser at ("" for none).
    static int OidcLogin(const std::string& token, std::string* user = nullptr)
    {
        arx_testing::CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {nullptr, nullptr, nullptr};
        const int result = VornCgiLoginWithOIDCSSOAuth(cgi.get(), nullptr, 0, &params, token.c_str(), false);
        if (user != nullptr)
            *user = params.szUser != nullptr ? params.szUser : "";
        return result;
    }

    Key rsa_{EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048}), EVP_PKEY_free};
    Key other_{EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048}), EVP_PKEY_free};
    Key ec_{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free};
    Key hmac_{nullptr, EVP_PKEY_free};
};

TEST_F(SsoTokenTest, AcceptedAndRefusedTokens)
{
    const Json::Int64 now = time(nullptr);
    Json::Value audiences(Json::arrayValue);
    audiences.append("other");
    audiences.append("nas");
    const std::string good = Rs256(Claims());
    const std::string tampered = good.substr(0, good.find('.') + 1) +
                                 vorn::Base64UrlEncode(Claims({{"preferred_username", "admin"}}).toStyledString()) +
                                 good.substr(good.rfind('.'));
    const SsoCheck ok = SsoCheck::kAccepted, refused = SsoCheck::kRefused;
    const SsoKind oidc = SsoKind::kOidc;
    struct Row { const char* description; std::string token; SsoKind kind; SsoCheck expected; const char* user; };
    const Row rows[] = {
        {"RS256", good, oidc, ok, "alice"},
        {"ES256 with a claim of its own",
         Token(R"({"alg":"ES256"})", Claims({{"iss", "https://ec.example.com"}, {"sub", "carol"}}), ec_.get()), oidc,
         ok, "carol"},
        {"azure-style provider",
         Rs256(Claims({{"iss", "https://login.example.net/t/v2.0"}, {"aud", "app"}, {"upn", "admin"}})),
         SsoKind::kAzure, ok, "admin"},
        {"a provider of the other kind", good, SsoKind::kAzure, refused, ""},
        {"an audience among several", Rs256(Claims({{"aud", audiences}})), oidc, ok, "alice"},
        {"expired within the clock skew", Rs256(Claims({{"exp", now - 30}})), oidc, ok, "alice"},
        {"expired", Rs256(Claims({{"exp", now - 120}})), oidc, refused, ""},
        {"no expiry", Rs256(Claims({{"exp", Json::Value()}})), oidc, refused, ""},
        {"not valid yet", Rs256(Claims({{"nbf", now + 300}})), oidc, refused, ""},
        {"another audience", Rs256(Claims({{"aud", "other"}})), oidc, refused, ""},
        {"unknown issuer", Rs256(Claims({{"iss", "https://evil.example"}})), oidc, refused, ""},
        {"signed by another key", Token(kRs256, Claims(), other_.get()), oidc, refused, ""},
        {"claims changed after signing", tampered, oidc, refused, ""},
        {"unsigned", Token(R"({"alg":"none"})", Claims(), nullptr), oidc, refused, ""},
        {"HMAC with the public key as secret", Token(R"({"alg":"HS256"})", Claims(), hmac_.get()), oidc, refused, ""},
        {"ES256 against an RSA key", Token(R"({"alg":"ES256"})", Claims(), ec_.get()), oidc, refused, ""},
        {"critical extension", Token(R"({"alg":"RS256","crit":["exp"]})", Claims(), rsa_.get()), oidc, refused, ""},
        {"names nobody", Rs256(Claims({{"preferred_username", Json::Value()}})), oidc, refused, ""},
        {"four parts", good + ".x", oidc, refused, ""},
        {"a padded part, which base64url never has", good + "=", oidc, refused, ""},
    };
    for (const Row& row : rows) {
        vorn::SsoClaims claims;
        EXPECT_EQ(vorn::CheckSsoToken(row.token, row.kind, now, claims), row.expected) << row.description;
        EXPECT_EQ(claims.user, row.user) << row.description;
    }
}

TEST_F(SsoTokenTest, OnlyOrdinaryAccountsByTheirExactName)
{
    root_.WriteFile("/etc/passwd", root_.ReadFile("/etc/passwd") + "svc:x:999:999::/:\n");
    struct Row { const char* description; const char* named; const char* loginDefs; int expected; };
    const Row rows[] = {
        {"an ordinary account", "alice", nullptr, VORN_LOGIN_SUCCESS},
        {"a name that differs in case", "ALICE", nullptr, VORN_LOGIN_WRONG},
        {"root", "root", nullptr, VORN_LOGIN_WRONG},
        {"a system account below 1000", "svc", nullptr, VORN_LOGIN_WRONG},
        {"below UID_MIN of login.defs", "admin", "# users\nUID_MIN\t\t 2002\n", VORN_LOGIN_WRONG},
        {"at UID_MIN of login.defs", "alice", "UID_MIN 2002\n", VORN_LOGIN_SUCCESS},
        {"no such user", "nobody-here", nullptr, VORN_LOGIN_WRONG},
        {"a locked account", "bob", nullptr, VORN_LOGIN_DISABLED},
    };
    int id = 0;
    for (const Row& row : rows) {
        unlink(root_.Path("/etc/login.defs").c_str());
        if (row.loginDefs != nullptr)
            root_.WriteFile("/etc/login.defs", row.loginDefs);
        std::string user;
        EXPECT_EQ(OidcLogin(Rs256(Claims({{"preferred_username", row.named}, {"jti", ++id}})), &user), row.expected)
            << row.description;
        EXPECT_EQ(user, row.expected == VORN_LOGIN_SUCCESS ? "alice" : "") << row.description;
    }
    EXPECT_EQ(OidcLogin("x.y.z"), VORN_LOGIN_WRONG);
    EXPECT_NE(root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1"), "") << "refused tokens count toward the block";
}

TEST_F(SsoTokenTest, ATokenIsAcceptedOnce)
{
    Configure("login_max_attempts=\"0\"\n");
    const std::string withId = Rs256(Claims({{"jti", "first"}})), withoutId = Rs256(Claims());
    struct Row { const char* description; std::string token; int expected; };
    const Row rows[] = {
        {"a token with an id", withId, VORN_LOGIN_SUCCESS},
        {"the same token again", withId, VORN_LOGIN_WRONG},
        {"a token without an id", withoutId, VORN_LOGIN_SUCCESS},
        {"the same again: known by what was signed", withoutId, VORN_LOGIN_WRONG},
        {"another id", Rs256(Claims({{"jti", "second"}})), VORN_LOGIN_SUCCESS},
    };
    for (const Row& row : rows)
        EXPECT_EQ(OidcLogin(row.token), row.expected) << row.description;
    EXPECT_EQ(ModeOf("/run/vorn/sso-used"), 0700) << "root's alone";
    // Once they have expired, the sweep forgets them.
    const timeval longAgo[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimes(root_.Path("/run/vorn/sso-used/.swept").c_str(), longAgo), 0);
    const std::string expired = "/run/vorn/sso-used/" + std::string(64, 'a');
    root_.WriteFile(expired, "1\n", 0600);
    EXPECT_EQ(OidcLogin(Rs256(Claims({{"jti", "third"}}))), VORN_LOGIN_SUCCESS);
    EXPECT_EQ(ModeOf(expired), -1) << "gone";
    EXPECT_EQ(OidcLogin(withId), VORN_LOGIN_WRONG) << "an unexpired token is still known";
}

TEST(EcdsaSignatureTest, RawToDer)
{
    const std::pair<std::string, std::string> rows[] = {
        {std::string("\x01\x02", 2), std::string("\x30\x06\x02\x01\x01\x02\x01\x02", 8)},
        {std::string("\x00\x05\x80\x00", 4), std::string("\x30\x08\x02\x01\x05\x02\x03\x00\x80\x00", 10)},
        {std::string("\x00\x00\x00\x00", 4), std::string("\x30\x06\x02\x01\x00\x02\x01\x00", 8)},
        {std::string("\x01", 1), ""},
        {"", ""},
    };
    for (const auto& [raw, der] : rows)
        EXPECT_EQ(vorn::EcdsaRawToDer(raw), der);
}

}  // namespace
