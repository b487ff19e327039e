// The kinds of password hash in the shadow file, and the hashes one
// password check spends its time on.

#ifndef VORN_LIB_PASSWORD_KINDS_H
#define VORN_LIB_PASSWORD_KINDS_H

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

// The hash in a shadow password field, without the "!" of a locked
// account; "" when the field holds nothing crypt(3) can have produced
// ("*", "x", "").
std::string UsableHash(std::string_view field);

// What decides how long crypt(3) takes for a hash: its method and cost,
// without salt and result ("$6$", "$6$rounds=5000$", "$y$j9T$", "$2b$12$",
// "des" for the traditional 13 characters); "" for an unusable hash.
std::string HashKind(std::string_view hash);

// The settings that a password check hashes the password with: the
// account's own hash first when it has one, then one hash of every other
// kind found in the local shadow file (a fixed yescrypt setting when the
// file has none).  Every check, for a known account of any kind or for an
// unknown name, so hashes once with each kind: its time tells neither
// whether the account exists nor what kind its hash is.
std::vector<std::string> PasswordCheckSettings(const std::string& ownHash);

}  // namespace vorn

#endif
