// Password checks against the shadow file with libcrypt's crypt_r, loaded
// on first use.

#include <crypt.h>
#include <string.h>
#include <time.h>

#include <memory>
#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/user.h>

#include "lib/core/libraries.h"
#include "lib/core/no_throw.h"
#include "lib/users/password_kinds.h"
#include "lib/users/user_db.h"

namespace {

using CryptFunction = char* (*)(const char*, const char*, struct crypt_data*);

constexpr long kSecondsPerDay = 86400;

// The hash to check against and what it says of the account: "!" in front
// (passwd -l) locks an account but keeps its hash; "*" is no password at
// all, which no password matches.
struct StoredHash {
    std::string hash;  // "" when the account has no usable hash
    bool locked = false;
};

StoredHash Interpret(const std::string& field)
{
    return {vorn::UsableHash(field), !field.empty() && field.front() == '!'};
}

bool Expired(long expireDay)
{
    return expireDay >= 0 && time(nullptr) / kSecondsPerDay >= expireDay;
}

// Compares without stopping at the first difference.
bool SameText(const std::string& a, const char* b)
{
    const size_t length = strlen(b);
    unsigned char difference = a.size() == length ? 0 : 1;
    for (size_t i = 0; i < length; ++i)
        difference |= static_cast<unsigned char>((i < a.size() ? a[i] : '\0') ^ b[i]);
    return difference == 0;
}

// crypt_r of password with setting; -1 when libcrypt is missing, 1 when the
// result equals expected, else 0.
int Check(const char* password, const std::string& setting, const std::string& expected)
{
    static const CryptFunction cryptR = vorn::Libcrypt().Find<CryptFunction>("crypt_r");
    if (cryptR == nullptr)
        return -1;
    auto data = std::make_unique<crypt_data>();
    memset(data.get(), 0, sizeof *data);
    const char* result = cryptR(password, setting.c_str(), data.get());
    const bool match = result != nullptr && result[0] != '*' && !expected.empty() && SameText(expected, result);
    explicit_bzero(data.get(), sizeof *data);
    return match ? 1 : 0;
}

}  // namespace

extern "C" int VLIBUserPasswordCheck(const char* user, const char* password)
{
    if (user == nullptr || password == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        vorn::ShadowEntry shadow;
        const vorn::Lookup userLookup = vorn::FindUser(user, entry);
        const vorn::Lookup shadowLookup =
            userLookup == vorn::Lookup::kFound ? vorn::FindShadow(entry, shadow) : vorn::Lookup::kMissing;
        if (userLookup == vorn::Lookup::kError || shadowLookup == vorn::Lookup::kError) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        const StoredHash stored = Interpret(shadow.hash);
        // Only the account's own hash, first when it has one, can match; the
        // others are hashed so that every check takes the same time.
        const std::vector<std::string> settings = vorn::PasswordCheckSettings(stored.hash);
        int matched = 0;
        for (size_t i = 0; i < settings.size(); ++i) {
            const int result = Check(password, settings[i], i == 0 ? stored.hash : std::string());
            if (result < 0)
                return -1;
            matched = i == 0 ? result : matched;
        }
        if (matched == 0)
            return 0;
        return stored.locked || Expired(shadow.expireDay) ? -2 : 1;
    });
}

extern "C" int VLIBUserIsDisabled(const char* user)
{
    if (user == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        vorn::ShadowEntry shadow;
        const vorn::Lookup userLookup = vorn::FindUser(user, entry);
        if (userLookup != vorn::Lookup::kFound) {
            VLIBCErrSet(userLookup == vorn::Lookup::kMissing ? VLIB_ERR_NOT_FOUND : VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        const vorn::Lookup shadowLookup = vorn::FindShadow(entry, shadow);
        if (shadowLookup == vorn::Lookup::kError) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        return Interpret(shadow.hash).locked || Expired(shadow.expireDay) ? 1 : 0;
    });
}
