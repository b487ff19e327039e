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

#include "base/text.h"

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

// Calls visit(key, value) for every key of the last occurrence of
// [section], in file order; returns how many keys were visited.
template <typename Visit>
int ForEachSectionKey(std::string_view content, std::string_view section, Visit visit);

}  // namespace vorn

namespace vorn {

template <typename Visit>
int ForEachSectionKey(std::string_view content, std::string_view section, Visit visit)
{
    // Where the last header of the section starts: a section named again
    // starts over.
    size_t start = std::string_view::npos;
    size_t offset = 0;
    base::ForEachLine(content, [&](std::string_view line) {
        const SectionLine parsed = ParseSectionLine(line);
        if (parsed.kind == SectionLineKind::kSection && parsed.section == section)
            start = offset + line.size();
        offset += line.size() + 1;
        return true;
    });
    if (start == std::string_view::npos)
        return 0;
    int visited = 0;
    base::ForEachLine(content.substr(start < content.size() ? start : content.size()), [&](std::string_view line) {
        const SectionLine parsed = ParseSectionLine(line);
        if (parsed.kind == SectionLineKind::kSection)
            return false;
        if (parsed.kind == SectionLineKind::kKey) {
            visit(parsed.key, parsed.value);
            ++visited;
        }
        return true;
    });
    return visited;
}

}  // namespace vorn

#endif
