// Single sign-on: signed tokens made here with OpenSSL, checked by the
// platform against the configured providers.

#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/pem.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/base64url.h"
#include "cgi/session/session_test_support.h"
#include "cgi/session/sso_token.h"
#include "testing/cgi_record.h"

namespace {

using vorn::SsoCheck;
using vorn::SsoKind;

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyDeleter>;

std::string PublicPem(EVP_PKEY* key)
{
    BIO* bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PUBKEY(bio, key);
    BUF_MEM* memory = nullptr;
    BIO_get_mem_ptr(bio, &memory);
    std::string pem(memory->data, memory->length);
    BIO_free(bio);
    return pem;
}

// The JWS signature of data: PKCS #1 v1.5 for RSA, r || s for P-256.
std::string Sign(EVP_PKEY* key, const std::string& data)
{
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    size_t length = 0;
    EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
    EVP_DigestSign(context, nullptr, &length, reinterpret_cast<const unsigned char*>(data.data()), data.size());
    std::string signature(length, '\0');
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

std::string Compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::string Token(const Json::Value& header, const Json::Value& claims, EVP_PKEY* key)
{
    const std::string signedPart = vorn::Base64UrlEncode(Compact(header)) + "." + vorn::Base64UrlEncode(Compact(claims));
    return signedPart + "." + vorn::Base64UrlEncode(key != nullptr ? Sign(key, signedPart) : "");
}

Json::Value Header(const char* algorithm)
{
    Json::Value header;
    header["alg"] = algorithm;
    header["typ"] = "JWT";
    return header;
}

class SsoTokenTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        rsa_.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048}));
        other_.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{2048}));
        ec_.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
        ASSERT_TRUE(rsa_ && other_ && ec_);
        root_.WriteFile("/usr/vorn/etc/sso/example.pem", PublicPem(rsa_.get()));
        root_.WriteFile("/usr/vorn/etc/sso/example.json",
                        R"({"type": "oidc", "issuer": "https://id.example.com", "audience": "nas",)"
                        R"( "key_file": "example.pem"})");
        root_.WriteFile("/usr/vorn/keys/ec.pem", PublicPem(ec_.get()));
        root_.WriteFile("/usr/vorn/etc/sso/ec.json",
                        R"({"type": "oidc", "issuer": "https://ec.example.com", "audience": "nas",)"
                        R"( "key_file": "/usr/vorn/keys/ec.pem", "user_claim": "sub"})");
        root_.WriteFile("/usr/vorn/etc/sso/azure.json",
                        R"({"type": "azure", "issuer": "https://login.example.net/t/v2.0", "audience": "app",)"
                        R"( "key_file": "example.pem"})");
    }

    Json::Value Claims(const char* user = "alice") const
    {
        Json::Value claims;
        claims["iss"] = "https://id.example.com";
        claims["aud"] = "nas";
        claims["exp"] = static_cast<Json::Int64>(time(nullptr) + 300);
        claims["preferred_username"] = user;
        return claims;
    }

    Key rsa_, other_, ec_;
};

TEST_F(SsoTokenTest, AcceptedAndRefusedTokens)
{
    const long long now = time(nullptr);
    Json::Value azure = Claims();
    azure["iss"] = "https://login.example.net/t/v2.0";
    azure["aud"] = "app";
    azure["upn"] = "admin";
    Json::Value ecClaims = Claims();
    ecClaims["iss"] = "https://ec.example.com";
    ecClaims["sub"] = "alice";
    const auto with = [&](const char* name, const Json::Value& value) {
        Json::Value claims = Claims();
        claims[name] = value;
        return claims;
    };
    Json::Value noExpiry = Claims();
    noExpiry.removeMember("exp");
    Json::Value noUser = Claims();
    noUser.removeMember("preferred_username");
    Json::Value critical = Header("RS256");
    critical["crit"].append("exp");
    Json::Value audiences(Json::arrayValue);
    audiences.append("other");
    audiences.append("nas");
    const std::string good = Token(Header("RS256"), Claims(), rsa_.get());
    const std::string tampered =
        good.substr(0, good.find('.') + 1) + vorn::Base64UrlEncode(Compact(Claims("admin"))) + good.substr(good.rfind('.'));
    unsigned char mac[32];
    unsigned macLength = 0;
    const std::string pem = PublicPem(rsa_.get());
    const std::string hsPart = vorn::Base64UrlEncode(Compact(Header("HS256"))) + "." + vorn::Base64UrlEncode(Compact(Claims()));
    HMAC(EVP_sha256(), pem.data(), static_cast<int>(pem.size()), reinterpret_cast<const unsigned char*>(hsPart.data()),
         hsPart.size(), mac, &macLength);
    const std::string confused = hsPart + "." + vorn::Base64UrlEncode(std::string(reinterpret_cast<char*>(mac), macLength));

    struct Row {
        const char* description;
        std::string token;
        SsoKind kind;
        SsoCheck expected;
        const char* user;
    };
    const Row rows[] = {
        {"RS256", good, SsoKind::kOidc, SsoCheck::kAccepted, "alice"},
        {"ES256 with a claim of its own", Token(Header("ES256"), ecClaims, ec_.get()), SsoKind::kOidc,
         SsoCheck::kAccepted, "alice"},
        {"azure-style provider", Token(Header("RS256"), azure, rsa_.get()), SsoKind::kAzure, SsoCheck::kAccepted,
         "admin"},
        {"a provider of the other kind", good, SsoKind::kAzure, SsoCheck::kRefused, ""},
        {"an audience among several", Token(Header("RS256"), with("aud", audiences), rsa_.get()), SsoKind::kOidc,
         SsoCheck::kAccepted, "alice"},
        {"expired within the clock skew", Token(Header("RS256"), with("exp", Json::Int64(now - 30)), rsa_.get()),
         SsoKind::kOidc, SsoCheck::kAccepted, "alice"},
        {"expired", Token(Header("RS256"), with("exp", Json::Int64(now - 120)), rsa_.get()), SsoKind::kOidc,
         SsoCheck::kRefused, ""},
        {"no expiry", Token(Header("RS256"), noExpiry, rsa_.get()), SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"not valid yet", Token(Header("RS256"), with("nbf", Json::Int64(now + 300)), rsa_.get()), SsoKind::kOidc,
         SsoCheck::kRefused, ""},
        {"another audience", Token(Header("RS256"), with("aud", "other"), rsa_.get()), SsoKind::kOidc,
         SsoCheck::kRefused, ""},
        {"unknown issuer", Token(Header("RS256"), with("iss", "https://evil.example"), rsa_.get()),
         SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"signed by another key", Token(Header("RS256"), Claims(), other_.get()), SsoKind::kOidc,
         SsoCheck::kRefused, ""},
        {"claims changed after signing", tampered, SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"unsigned", Token(Header("none"), Claims(), nullptr), SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"HMAC with the public key as secret", confused, SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"ES256 against an RSA key", Token(Header("ES256"), Claims(), ec_.get()), SsoKind::kOidc,
         SsoCheck::kRefused, ""},
        {"critical extension", Token(critical, Claims(), rsa_.get()), SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"names nobody", Token(Header("RS256"), noUser, rsa_.get()), SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"two parts", "abc.def", SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"four parts", good + ".x", SsoKind::kOidc, SsoCheck::kRefused, ""},
        {"empty", "", SsoKind::kOidc, SsoCheck::kRefused, ""},
    };
    for (const Row& row : rows) {
        vorn::SsoClaims claims;
        EXPECT_EQ(vorn::CheckSsoToken(row.token, row.kind, now, claims), row.expected) << row.description;
        EXPECT_EQ(claims.user, row.user) << row.description;
    }
}

TEST_F(SsoTokenTest, LoginWithAToken)
{
    root_.WriteFile("/etc/passwd", root_.ReadFile("/etc/passwd") + "svc:x:999:999::/:\n");
    struct Row {
        const char* description;
        const char* named;
        const char* loginDefs;  // the root's /etc/login.defs, or none
        int expected;
        const char* user;
    };
    const Row rows[] = {
        {"an ordinary account", "alice", nullptr, VORN_LOGIN_SUCCESS, "alice"},
        {"a name that differs in case", "ALICE", nullptr, VORN_LOGIN_WRONG, nullptr},
        {"root", "root", nullptr, VORN_LOGIN_WRONG, nullptr},
        {"a system account below 1000", "svc", nullptr, VORN_LOGIN_WRONG, nullptr},
        {"below UID_MIN of login.defs", "admin", "# users\nUID_MIN\t\t 2002\n", VORN_LOGIN_WRONG, nullptr},
        {"at UID_MIN of login.defs", "alice", "UID_MIN 2002\n", VORN_LOGIN_SUCCESS, "alice"},
        {"no such user", "nobody-here", nullptr, VORN_LOGIN_WRONG, nullptr},
        {"a locked account", "bob", nullptr, VORN_LOGIN_DISABLED, nullptr},
    };
    int id = 0;
    for (const Row& row : rows) {
        unlink(root_.Path("/etc/login.defs").c_str());
        if (row.loginDefs != nullptr)
            root_.WriteFile("/etc/login.defs", row.loginDefs);
        arx_testing::CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {nullptr, nullptr, nullptr};
        Json::Value claims = Claims(row.named);
        claims["jti"] = "login-" + std::to_string(++id);
        const std::string token = Token(Header("RS256"), claims, rsa_.get());
        EXPECT_EQ(VornCgiLoginWithOIDCSSOAuth(cgi.get(), nullptr, 0, &params, token.c_str(), false), row.expected)
            << row.description;
        EXPECT_STREQ(params.szUser, row.user) << row.description;
    }
    arx_testing::CgiRecord cgi;
    VORN_LOGIN_PARAMS params = {nullptr, nullptr, nullptr};
    EXPECT_EQ(VornCgiLoginWithAzureSSOAuth(cgi.get(), nullptr, 0, &params, "x.y.z", false), VORN_LOGIN_WRONG);
    EXPECT_NE(root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1"), "") << "refused tokens count toward the block";
}

TEST_F(SsoTokenTest, ATokenIsAcceptedOnce)
{
    Configure("login_max_attempts=\"0\"\n");
    Json::Value first = Claims(), second = Claims();
    first["jti"] = "first";
    second["jti"] = "second";
    const std::string withId = Token(Header("RS256"), first, rsa_.get());
    const std::string withoutId = Token(Header("RS256"), Claims(), rsa_.get());
    struct Row {
        const char* description;
        std::string token;
        int expected;
    };
    const Row rows[] = {
        {"a token with an id", withId, VORN_LOGIN_SUCCESS},
        {"the same token again", withId, VORN_LOGIN_WRONG},
        {"a token without an id", withoutId, VORN_LOGIN_SUCCESS},
        {"the same again: known by its signature", withoutId, VORN_LOGIN_WRONG},
        {"another id", Token(Header("RS256"), second, rsa_.get()), VORN_LOGIN_SUCCESS},
    };
    for (const Row& row : rows) {
        arx_testing::CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {nullptr, nullptr, nullptr};
        EXPECT_EQ(VornCgiLoginWithOIDCSSOAuth(cgi.get(), nullptr, 0, &params, row.token.c_str(), false), row.expected)
            << row.description;
    }
    struct stat st;
    ASSERT_EQ(stat(root_.Path("/run/vorn/sso-used").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u) << "root's alone";

    // Once they have expired, the sweep forgets them.
    const timeval longAgo[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimes(root_.Path("/run/vorn/sso-used/.swept").c_str(), longAgo), 0);
    root_.WriteFile("/run/vorn/sso-used/" + std::string(64, 'a'), "1\n", 0600);
    arx_testing::CgiRecord cgi;
    VORN_LOGIN_PARAMS params = {nullptr, nullptr, nullptr};
    Json::Value third = Claims();
    third["jti"] = "third";
    const std::string token = Token(Header("RS256"), third, rsa_.get());
    EXPECT_EQ(VornCgiLoginWithOIDCSSOAuth(cgi.get(), nullptr, 0, &params, token.c_str(), false), VORN_LOGIN_SUCCESS);
    EXPECT_EQ(stat(root_.Path("/run/vorn/sso-used/" + std::string(64, 'a')).c_str(), &st), -1);
    EXPECT_EQ(VornCgiLoginWithOIDCSSOAuth(cgi.get(), nullptr, 0, &params, withId.c_str(), false), VORN_LOGIN_WRONG)
        << "an unexpired token is still known";
}

TEST(EcdsaSignatureTest, RawToDer)
{
    struct Row {
        std::string raw;
        std::string der;
    };
    const Row rows[] = {
        {std::string("\x01\x02", 2), std::string("\x30\x06\x02\x01\x01\x02\x01\x02", 8)},
        {std::string("\x00\x05\x80\x00", 4), std::string("\x30\x08\x02\x01\x05\x02\x03\x00\x80\x00", 10)},
        {std::string("\x00\x00\x00\x00", 4), std::string("\x30\x06\x02\x01\x00\x02\x01\x00", 8)},
        {std::string("\x01", 1), ""},
        {"", ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::EcdsaRawToDer(row.raw), row.der);
}

}  // namespace
