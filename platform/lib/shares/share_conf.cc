#include "lib/shares/share_conf.h"

#include <errno.h>
#include <strings.h>

#include <string_view>

#include <vorn/root.h>
#include <vorn/share.h>
#include <vorn/user.h>

#include "base/file_read.h"
#include "base/text.h"
#include "lib/files/section_format.h"

namespace vorn {

std::string ShareSection::Value(const char* key) const
{
    const auto found = keys.find(key);
    return found == keys.end() ? std::string() : found->second;
}

ShareConfRead ReadShareConf(std::vector<ShareSection>& shares)
{
    shares.clear();
    std::string content;
    if (!base::ReadFileCached(VORNRootPathString(VORN_SHARE_FILE).c_str(), content))
        return errno == ENOENT ? ShareConfRead::kMissing : ShareConfRead::kError;
    ShareSection* current = nullptr;
    base::ForEachLine(content, [&](std::string_view line) {
        const SectionLine parsed = ParseSectionLine(line);
        if (parsed.kind == SectionLineKind::kSection) {
            current = nullptr;
            for (ShareSection& share : shares) {
                if (share.name == parsed.section) {
                    current = &share;
                    current->keys.clear();  // a section named again starts over
                }
            }
            if (current == nullptr) {
                shares.push_back(ShareSection{std::string(parsed.section), {}});
                current = &shares.back();
            }
        } else if (parsed.kind == SectionLineKind::kKey && current != nullptr) {
            current->keys[std::string(parsed.key)] = std::string(parsed.value);
        }
        return true;
    });
    return ShareConfRead::kRead;
}

int ListNamesUser(const std::string& list, const char* user)
{
    int found = 0;
    size_t start = 0;
    while (start <= list.size() && found == 0) {
        size_t end = list.find(',', start);
        if (end == std::string::npos)
            end = list.size();
        std::string item = list.substr(start, end - start);
        start = end + 1;
        item.erase(0, item.find_first_not_of(" \t"));
        item.erase(item.find_last_not_of(" \t") + 1);
        if (item.size() > 1 && item[0] == '@') {
            const int member = VLIBGroupIsMember(item.c_str() + 1, user);
            if (member < 0)
                return -1;
            found = member;
        } else if (!item.empty() && strcasecmp(item.c_str(), user) == 0) {
            found = 1;
        }
    }
    return found;
}

}  // namespace vorn
