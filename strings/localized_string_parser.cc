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
#include "strings/strings_read.h"

namespace VORN {
namespace PAD {

namespace {

using arx::strings::StringsRead;

// Reads the strings file at path, links followed.  A missing or unreadable
// file is no event (modules without a language are common).
StringsRead ReadStringsFile(const std::string& path, std::string& content)
{
    struct stat st;
    const int fd = base::OpenForReading(path.c_str(), base::Links::kFollow, &st);
    if (fd < 0)
        return StringsRead::kUnreadable;
    const StringsRead read = arx::strings::ReadStrings(fd, st, path, content);
    close(fd);
    return read;
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
    const StringsRead read = ReadStringsFile(path, content);
    if (read == StringsRead::kUnreadable)
        return Json::Value(Json::objectValue);
    Json::Value result =
        read == StringsRead::kText ? arx::strings::StringsSections(content) : Json::Value(Json::objectValue);
    parsed_[path] = result;
    return result;
}

bool LocalizedStringParser::GetSectionKeyText(const std::string& dir, const std::string& section,
                                              const std::string& key, std::string& text)
{
    const std::string path = dir + "/strings";
    std::string content;
    return ReadStringsFile(path, content) == StringsRead::kText &&
           arx::strings::StringsText(content, path, section, key, text);
}

}  // namespace PAD
}  // namespace VORN
