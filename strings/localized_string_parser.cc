// The strings files of the desktop's modules.  They are data that an
// installed package controls: a file that is not text, is too large or is
// not UTF-8 is logged, and never stops the caller.

#include <arx/localized_string_parser.h>

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <vorn/log.h>

#include <arx/string_parser.h>

#include "base/file_read.h"
#include "base/safe_open.h"
#include "strings/log_source.h"
#include "strings/strings_file.h"

namespace VORN {
namespace PAD {

namespace {

using arx::strings::kLocalizedStringParserLogSource;

// What GetSectionKeyText gives back at most: the platform's section reader
// fills a buffer of 1024 bytes, and callers expect its cut.
constexpr size_t kLongestText = 1023;

enum class Read { kText, kUnreadable, kRefused };

// Reads the strings file at path as valid UTF-8 text.  A missing or
// unreadable file is no event (modules without a language are common);
// one that is not text or too large is logged.
Read ReadStringsFile(const std::string& path, std::string& content)
{
    struct stat st;
    const int fd = base::OpenForReading(path.c_str(), base::Links::kFollow, &st);
    if (fd < 0)
        return Read::kUnreadable;
    if (static_cast<size_t>(st.st_size) > arx::strings::kLargestStringsFile) {
        close(fd);
        VLIBCLog(LOG_ERR, "%s:%d %s is larger than %zu bytes: not read", kLocalizedStringParserLogSource, __LINE__,
                 path.c_str(), arx::strings::kLargestStringsFile);
        return Read::kRefused;
    }
    std::string raw;
    const bool read = base::ReadWholeDescriptor(fd, st, raw);
    close(fd);
    if (!read)
        return Read::kUnreadable;
    if (!arx::strings::IsText(raw)) {
        VLIBCLog(LOG_ERR, "%s:%d %s holds a NUL byte: not a strings file", kLocalizedStringParserLogSource, __LINE__,
                 path.c_str());
        return Read::kRefused;
    }
    bool replaced = false;
    content = arx::strings::ToValidUtf8(raw, &replaced);
    if (replaced)
        VLIBCLog(LOG_WARNING, "%s:%d %s: bytes that are not UTF-8 read as U+FFFD", kLocalizedStringParserLogSource,
                 __LINE__, path.c_str());
    return Read::kText;
}

}  // namespace

LocalizedStringParser::LocalizedStringParser() : parsed_(Json::objectValue)
{ }

char* LocalizedStringParser::TrimString(char* s)
{
    if (s == nullptr)
        return s;
    const std::string_view kept = arx::strings::TrimText(s);
    char* start = s + (kept.data() - s);
    start[kept.size()] = '\0';
    return start;
}

void LocalizedStringParser::ParseLine(char* line, char** section, char** key, char** value)
{
    if (line == nullptr || section == nullptr || key == nullptr || value == nullptr)
        return;
    *section = *key = *value = nullptr;
    const arx::strings::StringsLine parsed = arx::strings::ClassifyLine(line);
    // The views point into line: each result is cut there in place.
    const auto terminate = [line](std::string_view part) {
        char* start = line + (part.data() - line);
        start[part.size()] = '\0';
        return start;
    };
    if (parsed.kind == arx::strings::LineKind::kSection) {
        *section = terminate(parsed.section);
    } else if (parsed.kind == arx::strings::LineKind::kKey) {
        // The key ends before the '=' that the value follows: cutting it
        // first leaves the value whole.
        *key = terminate(parsed.key);
        *value = terminate(parsed.value);
    }
}

Json::Value LocalizedStringParser::ParseTexts(std::string dir)
{
    if (parsed_.isMember(dir))
        return parsed_[dir];
    const std::string path = dir + "/strings";
    std::string content;
    const Read read = ReadStringsFile(path, content);
    if (read == Read::kUnreadable)
        return Json::Value(Json::objectValue);
    Json::Value result = read == Read::kText ? arx::strings::ParseStringsText(content) : Json::Value(Json::objectValue);
    parsed_[path] = result;
    return result;
}

bool LocalizedStringParser::GetSectionKeyText(const std::string& dir, const std::string& section,
                                              const std::string& key, std::string& text)
{
    const std::string path = dir + "/strings";
    std::string content;
    if (ReadStringsFile(path, content) != Read::kText)
        return false;
    std::string_view found;
    const arx::strings::Lookup lookup = arx::strings::FindText(content, section, key, found);
    if (lookup != arx::strings::Lookup::kFound) {
        VLIBCLog(LOG_DEBUG, "%s:%d Failed to get section (%s), key (%s) from %s [ Reason: %s ]",
                 kLocalizedStringParserLogSource, __LINE__, section.c_str(), key.c_str(), path.c_str(),
                 lookup == arx::strings::Lookup::kNoSection ? "no such section" : "no such key");
        return false;
    }
    text = StringParser::ReplaceStringText(std::string(arx::strings::CutAtCharacter(found, kLongestText)));
    return true;
}

}  // namespace PAD
}  // namespace VORN
