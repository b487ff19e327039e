// The section (INI) format of the "strings" files.
//
// Lines may start with a UTF-8 byte-order mark and are trimmed of blanks;
// '#' lines are comments; "[name]" opens a section (the name runs to the
// last ']' and keeps inner blanks); "key = value" lines belong to the
// current section, values may be enclosed in one pair of double quotes.
// A section named again starts over: only the keys after its last header
// count.  Keys before the first section belong to none.
#ifndef VORN_PLATFORM_SECTION_FORMAT_H
#define VORN_PLATFORM_SECTION_FORMAT_H

#include <string_view>

namespace vorn {

enum class SectionLineKind { kOther, kSection, kKey };

struct SectionLine {
    SectionLineKind kind = SectionLineKind::kOther;
    std::string_view section;  // for kSection
    std::string_view key;      // for kKey
    std::string_view value;    // for kKey, without its enclosing quotes
};

SectionLine ParseSectionLine(std::string_view line);

enum class SectionLookup { kFound, kNoSection, kNoKey };

// Finds key in the last occurrence of [section].
SectionLookup FindSectionValue(std::string_view content, std::string_view section,
                               std::string_view key, std::string_view& value);

}  // namespace vorn

#endif
