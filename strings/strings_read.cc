#include "strings/strings_read.h"

#include <errno.h>

#include <vorn/log.h>

#include <arx/string_parser.h>

#include "base/file_read.h"
#include "strings/log_source.h"
#include "strings/strings_file.h"

namespace arx::strings {

namespace {

// What a text comes back as at most: the platform's section reader fills
// a buffer of 1024 bytes, and callers expect its cut.
constexpr size_t kLongestText = 1023;

}  // namespace

StringsRead ReadStrings(int fd, const struct stat& st, const std::string& path, std::string& content)
{
    std::string raw;
    const bool read = base::ReadWholeDescriptor(fd, st, raw, kLargestStringsFile);
    if (!read && errno == EFBIG) {
        VLIBCLog(LOG_ERR, "%s:%d %s is larger than %zu bytes: not read", kLocalizedStringParserLogSource, __LINE__,
                 path.c_str(), kLargestStringsFile);
        return StringsRead::kRefused;
    }
    if (!read)
        return StringsRead::kUnreadable;
    if (!IsText(raw)) {
        VLIBCLog(LOG_ERR, "%s:%d %s holds a NUL byte: not a strings file", kLocalizedStringParserLogSource, __LINE__,
                 path.c_str());
        return StringsRead::kRefused;
    }
    bool replaced = false;
    content = ToValidUtf8(raw, &replaced);
    if (replaced)
        VLIBCLog(LOG_WARNING, "%s:%d %s: bytes that are not UTF-8 read as U+FFFD", kLocalizedStringParserLogSource,
                 __LINE__, path.c_str());
    return StringsRead::kText;
}

Json::Value StringsSections(std::string_view content)
{
    return ParseStringsText(content);
}

bool StringsText(std::string_view content, const std::string& path, const std::string& section, const std::string& key,
                 std::string& text)
{
    std::string_view found;
    const Lookup lookup = FindText(content, section, key, found);
    if (lookup != Lookup::kFound) {
        VLIBCLog(LOG_DEBUG, "%s:%d Failed to get section (%s), key (%s) from %s [ Reason: %s ]",
                 kLocalizedStringParserLogSource, __LINE__, section.c_str(), key.c_str(), path.c_str(),
                 lookup == Lookup::kNoSection ? "no such section" : "no such key");
        return false;
    }
    text = VORN::PAD::StringParser::ReplaceStringText(std::string(CutAtCharacter(found, kLongestText)));
    return true;
}

}  // namespace arx::strings
