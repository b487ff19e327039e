// The text of a "strings" file, apart from reading it: how a line reads,
// whether the content is text, and its bytes as UTF-8.
#ifndef ARX_STRINGS_STRINGS_FILE_H
#define ARX_STRINGS_STRINGS_FILE_H

#include <stddef.h>

#include <string>
#include <string_view>

#include <json/value.h>

namespace arx::strings {

// The largest strings file read; a module's texts are a few KiB.
inline constexpr size_t kLargestStringsFile = 4 << 20;

enum class LineKind { kOther, kSection, kKey };

struct StringsLine {
    LineKind kind = LineKind::kOther;
    std::string_view section;  // kSection: between '[' and the last ']'
    std::string_view key;  // kKey: trimmed, one pair of quotes removed
    std::string_view value;  // kKey: the same
};

// A line (without its '\n') as the format reads it.
StringsLine ClassifyLine(std::string_view line);

// Blanks off both ends, then one pair of enclosing double quotes.
std::string_view TrimText(std::string_view text);

// Whether content can be a strings file: no NUL byte.
bool IsText(std::string_view content);

// text with every byte that does not belong to a well-formed UTF-8
// sequence (overlong forms, surrogates and code points beyond U+10FFFF
// are not) replaced by U+FFFD.  replaced, when given, tells whether any was.
std::string ToValidUtf8(std::string_view text, bool* replaced = nullptr);

// The sections of content (text, valid UTF-8) as the parser returns them,
// the placeholders in each text replaced.
Json::Value ParseStringsText(std::string_view content);

enum class Lookup { kFound, kNoSection, kNoKey };

// key in the last occurrence of [section]; the later of two equal keys.
Lookup FindText(std::string_view content, std::string_view section, std::string_view key, std::string_view& text);

// text cut to at most maxBytes without splitting a UTF-8 sequence.
std::string_view CutAtCharacter(std::string_view text, size_t maxBytes);

}  // namespace arx::strings

#endif
