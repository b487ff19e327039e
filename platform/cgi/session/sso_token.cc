#include "cgi/session/sso_token.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <json/reader.h>

#include <vorn/log.h>
#include <vorn/root.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "cgi/session/base64url.h"
#include "lib/core/libraries.h"

namespace vorn {

namespace {

constexpr char kSsoDir[] = "/usr/vorn/etc/sso";
constexpr long long kClockSkew = 60;
constexpr int kEvpPkeyRsa = 6;   // NID_rsaEncryption
constexpr int kEvpPkeyEc = 408;  // NID_X9_62_id_ecPublicKey
constexpr int kMinimumRsaBits = 2048;
constexpr int kP256Bits = 256;

struct Provider {
    std::string issuer;
    std::string audience;
    std::string keyFile;
    std::string userClaim;
};

// The libcrypto functions a signature check needs, found on first use.
struct Crypto {
    using BioNewMemBuf = void* (*)(const void*, int);
    using BioFree = int (*)(void*);
    using PemReadBioPubkey = void* (*)(void*, void**, void*, void*);
    using PkeyFree = void (*)(void*);
    using PkeyInt = int (*)(const void*);
    using MdCtxNew = void* (*)();
    using MdCtxFree = void (*)(void*);
    using Sha256 = const void* (*)();
    using DigestVerifyInit = int (*)(void*, void**, const void*, void*, void*);
    using DigestVerify = int (*)(void*, const unsigned char*, size_t, const unsigned char*, size_t);
    using ClearError = void (*)();
    using Digest = int (*)(const void*, size_t, unsigned char*, unsigned*, const void*, void*);

    BioNewMemBuf bioNewMemBuf = Libcrypto().Find<BioNewMemBuf>("BIO_new_mem_buf");
    BioFree bioFree = Libcrypto().Find<BioFree>("BIO_free");
    PemReadBioPubkey pemReadBioPubkey = Libcrypto().Find<PemReadBioPubkey>("PEM_read_bio_PUBKEY");
    PkeyFree pkeyFree = Libcrypto().Find<PkeyFree>("EVP_PKEY_free");
    PkeyInt pkeyBaseId = Libcrypto().Find<PkeyInt>({"EVP_PKEY_get_base_id", "EVP_PKEY_base_id"});
    PkeyInt pkeyBits = Libcrypto().Find<PkeyInt>({"EVP_PKEY_get_bits", "EVP_PKEY_bits"});
    MdCtxNew mdCtxNew = Libcrypto().Find<MdCtxNew>("EVP_MD_CTX_new");
    MdCtxFree mdCtxFree = Libcrypto().Find<MdCtxFree>("EVP_MD_CTX_free");
    Sha256 sha256 = Libcrypto().Find<Sha256>("EVP_sha256");
    DigestVerifyInit digestVerifyInit = Libcrypto().Find<DigestVerifyInit>("EVP_DigestVerifyInit");
    DigestVerify digestVerify = Libcrypto().Find<DigestVerify>("EVP_DigestVerify");
    ClearError clearError = Libcrypto().Find<ClearError>("ERR_clear_error");
    Digest digest = Libcrypto().Find<Digest>("EVP_Digest");

    bool Complete() const
    {
        return bioNewMemBuf && bioFree && pemReadBioPubkey && pkeyFree && pkeyBaseId && pkeyBits && mdCtxNew &&
               mdCtxFree && sha256 && digestVerifyInit && digestVerify && clearError && digest;
    }
};

const Crypto* LoadCrypto()
{
    static const Crypto crypto;
    return crypto.Complete() ? &crypto : nullptr;
}

bool ParseJson(const std::string& text, Json::Value& value)
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors) && value.isObject();
}

std::string KeyPath(const std::string& keyFile)
{
    if (!keyFile.empty() && keyFile[0] == '/')
        return VORNRootPathString(keyFile.c_str());
    return VORNRootPathString(kSsoDir) + "/" + keyFile;
}

// The provider of that kind whose issuer is issuer.
bool FindProvider(SsoKind kind, const std::string& issuer, Provider& provider)
{
    const std::string dir = VORNRootPathString(kSsoDir);
    std::vector<std::string> names;
    if (!base::ListDirectory(dir, names))
        return false;
    std::sort(names.begin(), names.end());
    const char* type = kind == SsoKind::kAzure ? "azure" : "oidc";
    for (const std::string& name : names) {
        if (name.size() < 6 || name.compare(name.size() - 5, 5, ".json") != 0)
            continue;
        std::string text;
        Json::Value config;
        if (!base::ReadWholeFile((dir + "/" + name).c_str(), text) || !ParseJson(text, config))
            continue;
        if (config["type"] != type || config["issuer"] != issuer || !config["audience"].isString() ||
            !config["key_file"].isString())
            continue;
        provider.issuer = issuer;
        provider.audience = config["audience"].asString();
        provider.keyFile = KeyPath(config["key_file"].asString());
        const Json::Value& claim = config["user_claim"];
        provider.userClaim =
            claim.isString() ? claim.asString() : kind == SsoKind::kAzure ? "upn" : "preferred_username";
        return true;
    }
    return false;
}

// Verifies signature over signedPart with the PEM public key in keyFile:
// RS256 wants an RSA key of at least 2048 bits, ES256 a P-256 key.
bool VerifySignature(const Crypto& crypto, const std::string& keyFile, const std::string& algorithm,
                     std::string_view signedPart, std::string signature, const char*& reason)
{
    std::string pem;
    if (!base::ReadWholeFile(keyFile.c_str(), pem)) {
        reason = "the provider's key file cannot be read";
        return false;
    }
    void* bio = crypto.bioNewMemBuf(pem.data(), static_cast<int>(pem.size()));
    void* key = bio != nullptr ? crypto.pemReadBioPubkey(bio, nullptr, nullptr, nullptr) : nullptr;
    if (bio != nullptr)
        crypto.bioFree(bio);
    if (key == nullptr) {
        crypto.clearError();
        reason = "the provider's key is not a PEM public key";
        return false;
    }
    bool ok = false;
    const int keyType = crypto.pkeyBaseId(key);
    const int bits = crypto.pkeyBits(key);
    if (algorithm == "RS256" && (keyType != kEvpPkeyRsa || bits < kMinimumRsaBits)) {
        reason = "RS256 needs an RSA key of at least 2048 bits";
    } else if (algorithm == "ES256" && (keyType != kEvpPkeyEc || bits != kP256Bits)) {
        reason = "ES256 needs a P-256 key";
    } else if (algorithm == "ES256" && (signature = EcdsaRawToDer(signature)).empty()) {
        reason = "the ES256 signature is not 64 bytes";
    } else {
        void* context = crypto.mdCtxNew();
        ok = context != nullptr && crypto.digestVerifyInit(context, nullptr, crypto.sha256(), nullptr, key) == 1 &&
             crypto.digestVerify(context, reinterpret_cast<const unsigned char*>(signature.data()),
                                 signature.size(), reinterpret_cast<const unsigned char*>(signedPart.data()),
                                 signedPart.size()) == 1;
        if (context != nullptr)
            crypto.mdCtxFree(context);
        if (!ok)
            reason = "the signature does not match";
    }
    crypto.pkeyFree(key);
    crypto.clearError();
    return ok;
}

bool AudienceMatches(const Json::Value& audience, const std::string& expected)
{
    if (audience.isString())
        return audience.asString() == expected;
    if (!audience.isArray())
        return false;
    for (const Json::Value& entry : audience) {
        if (entry.isString() && entry.asString() == expected)
            return true;
    }
    return false;
}

// The registered claims; nullptr when they hold, else why not.
const char* CheckClaims(const Json::Value& claims, const Provider& provider, long long now)
{
    const Json::Value& expiry = claims["exp"];
    if (!expiry.isNumeric())
        return "the token has no expiry";
    if (now >= expiry.asDouble() + kClockSkew)
        return "the token has expired";
    const Json::Value& notBefore = claims["nbf"];
    if (!notBefore.isNull() && (!notBefore.isNumeric() || now + kClockSkew < notBefore.asDouble()))
        return "the token is not valid yet";
    if (!AudienceMatches(claims["aud"], provider.audience))
        return "the token is for another audience";
    const Json::Value& user = claims[provider.userClaim];
    if (!user.isString() || user.asString().empty())
        return "the token does not name a user";
    return nullptr;
}

// The token's key: SHA-256 over the issuer and its id, in hex; "" when the
// digest fails.
std::string TokenKey(const Crypto& crypto, const std::string& issuer, const std::string& id)
{
    const std::string text = issuer + '\n' + id;
    unsigned char digest[64];
    unsigned length = 0;
    if (crypto.digest(text.data(), text.size(), digest, &length, crypto.sha256(), nullptr) != 1 || length != 32)
        return "";
    static const char kHex[] = "0123456789abcdef";
    std::string key;
    for (unsigned i = 0; i < length; ++i) {
        key.push_back(kHex[digest[i] >> 4]);
        key.push_back(kHex[digest[i] & 0x0F]);
    }
    return key;
}

SsoCheck Refuse(const char* reason)
{
    VLIBCLog(LOG_ERR, "sso_token:%d token refused: %s", __LINE__, reason);
    return SsoCheck::kRefused;
}

}  // namespace

std::string EcdsaRawToDer(std::string_view raw)
{
    if (raw.empty() || raw.size() % 2 != 0 || raw.size() > 132)
        return "";
    std::string body;
    for (std::string_view half : {raw.substr(0, raw.size() / 2), raw.substr(raw.size() / 2)}) {
        while (half.size() > 1 && half.front() == '\0')
            half.remove_prefix(1);
        const bool pad = (static_cast<unsigned char>(half.front()) & 0x80) != 0;
        body.push_back('\x02');
        body.push_back(static_cast<char>(half.size() + (pad ? 1 : 0)));
        if (pad)
            body.push_back('\0');
        body.append(half);
    }
    std::string der("\x30", 1);
    if (body.size() >= 0x80)
        der.push_back('\x81');
    der.push_back(static_cast<char>(body.size()));
    return der + body;
}

SsoCheck CheckSsoToken(std::string_view token, SsoKind kind, long long now, SsoClaims& accepted)
{
    const size_t firstDot = token.find('.');
    const size_t secondDot = firstDot == std::string_view::npos ? firstDot : token.find('.', firstDot + 1);
    if (secondDot == std::string_view::npos || token.find('.', secondDot + 1) != std::string_view::npos)
        return Refuse("not a signed token (three parts)");
    std::string headerText, claimsText, signature;
    Json::Value header, claims;
    if (!Base64UrlDecode(token.substr(0, firstDot), headerText) ||
        !Base64UrlDecode(token.substr(firstDot + 1, secondDot - firstDot - 1), claimsText) ||
        !Base64UrlDecode(token.substr(secondDot + 1), signature) || !ParseJson(headerText, header) ||
        !ParseJson(claimsText, claims))
        return Refuse("a part is not base64url JSON");
    const std::string algorithm = header["alg"].isString() ? header["alg"].asString() : "";
    if (algorithm != "RS256" && algorithm != "ES256")
        return Refuse("the algorithm is not RS256 or ES256");
    if (header.isMember("crit"))
        return Refuse("the token has critical extensions");
    Provider provider;
    if (!claims["iss"].isString() || !FindProvider(kind, claims["iss"].asString(), provider))
        return Refuse("no provider is configured for the issuer");
    const Crypto* crypto = LoadCrypto();
    if (crypto == nullptr)
        return SsoCheck::kError;
    const char* reason = nullptr;
    if (!VerifySignature(*crypto, provider.keyFile, algorithm, token.substr(0, secondDot), signature, reason))
        return Refuse(reason);
    if ((reason = CheckClaims(claims, provider, now)) != nullptr)
        return Refuse(reason);
    // A token without an id is known by what was signed, not by the
    // signature: an ES256 signature can be turned into another valid one.
    const Json::Value& id = claims["jti"];
    const std::string key = TokenKey(*crypto, provider.issuer,
                                     id.isString() && !id.asString().empty()
                                         ? "jti:" + id.asString()
                                         : "signed:" + std::string(token.substr(0, secondDot)));
    if (key.empty())
        return SsoCheck::kError;
    accepted.user = claims[provider.userClaim].asString();
    accepted.key = key;
    accepted.expires = static_cast<long long>(claims["exp"].asDouble()) + 1 + kClockSkew;
    return SsoCheck::kAccepted;
}

}  // namespace vorn
