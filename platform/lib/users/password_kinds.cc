#include "lib/users/password_kinds.h"

#include <algorithm>

#include "lib/users/user_db.h"

namespace vorn {

namespace {

// yescrypt at libcrypt's default cost.
constexpr char kFallbackSetting[] = "$y$j9T$F5Jx5fExrKuPp53xLKQ..1$";

constexpr size_t kTraditionalHashSize = 13;

}  // namespace

std::string UsableHash(std::string_view field)
{
    while (!field.empty() && field.front() == '!')
        field.remove_prefix(1);
    if (field.size() > 1 && (field.front() == '$' || field.size() == kTraditionalHashSize))
        return std::string(field);
    return "";
}

std::string HashKind(std::string_view hash)
{
    if (hash.size() <= 1)
        return "";
    if (hash.front() != '$')
        return hash.size() == kTraditionalHashSize ? "des" : "";
    // "$method$[cost$]salt$result"; bcrypt writes salt and result as one field.
    const std::vector<std::string_view> fields = SplitFields(hash.substr(1), '$');
    const size_t saltAndResult = fields[0].substr(0, 1) == "2" ? 1 : 2;
    const size_t kept = fields.size() > saltAndResult + 1 ? fields.size() - saltAndResult : 1;
    std::string kind = "$";
    for (size_t i = 0; i < kept; ++i)
        kind.append(fields[i]).append("$");
    return kind;
}

std::vector<std::string> PasswordCheckSettings(const std::string& ownHash)
{
    std::vector<std::string> settings;
    std::vector<std::string> kinds;
    if (!ownHash.empty()) {
        settings.push_back(ownHash);
        kinds.push_back(HashKind(ownHash));
    }
    for (const std::string& field : ShadowHashFields()) {
        std::string hash = UsableHash(field);
        std::string kind = HashKind(hash);
        if (kind.empty() || std::find(kinds.begin(), kinds.end(), kind) != kinds.end())
            continue;
        kinds.push_back(std::move(kind));
        settings.push_back(std::move(hash));
    }
    if (settings.empty())
        settings.push_back(kFallbackSetting);
    return settings;
}

}  // namespace vorn
