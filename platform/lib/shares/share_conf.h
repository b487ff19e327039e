// The shares' configuration file, parsed: the sections of share.conf in
// file order with the keys of each section's last occurrence.
#ifndef VORN_PLATFORM_SHARE_CONF_H
#define VORN_PLATFORM_SHARE_CONF_H

#include <map>
#include <string>
#include <vector>

namespace vorn {

struct ShareSection {
    std::string name;
    std::map<std::string, std::string> keys;

    // The value of key, "" when missing.
    std::string Value(const char* key) const;
};

enum class ShareConfRead { kRead, kMissing, kError };

// Reads the root's share.conf (kept per version of the file).  A missing
// file is no shares.
ShareConfRead ReadShareConf(std::vector<ShareSection>& shares);

// Whether a comma list of names and "@group"s names user (names compared
// ignoring ASCII case, groups by membership).  -1 when the group database
// cannot be read, else 1 or 0.
int ListNamesUser(const std::string& list, const char* user);

}  // namespace vorn

#endif
