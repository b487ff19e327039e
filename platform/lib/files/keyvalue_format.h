// The key-value file format: key="value" lines, '#' comments.
#ifndef VORN_PLATFORM_KEYVALUE_FORMAT_H
#define VORN_PLATFORM_KEYVALUE_FORMAT_H

#include <string>
#include <string_view>

namespace vorn {

struct KeyValueLine {
    std::string_view key;
    std::string_view value;  // without its enclosing quotes
};

// Parses one line; false for blank lines, comments and lines without '='.
bool ParseKeyValueLine(std::string_view line, KeyValueLine& parsed);

// The value of the last line that sets key; false when no line does.
bool FindKeyValue(std::string_view content, std::string_view key, std::string_view& value);

// content with key set to value: the first line of the key is replaced, its
// later lines dropped, and the key appended when no line had it.
std::string SetKeyValue(std::string_view content, std::string_view key, std::string_view value);

// Keys that the writer accepts: not empty, no blanks, '=', '#', '"' or
// control characters.  Values: no CR, LF.
bool IsWritableKey(std::string_view key);
bool IsWritableValue(std::string_view value);

}  // namespace vorn

#endif
