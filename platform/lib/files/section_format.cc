#include "lib/files/section_format.h"

#include "base/text.h"

namespace vorn {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

SectionLine ParseSectionLine(std::string_view line)
{
    SectionLine parsed;
    if (line.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        line.remove_prefix(kByteOrderMark.size());
    line = base::TrimBlanks(line);
    if (line.empty() || line.front() == '#')
        return parsed;
    if (line.front() == '[') {
        const size_t close = line.rfind(']');
        if (close != std::string_view::npos) {
            parsed.kind = SectionLineKind::kSection;
            parsed.section = line.substr(1, close - 1);
        }
        return parsed;
    }
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return parsed;
    parsed.kind = SectionLineKind::kKey;
    parsed.key = base::Unquote(base::TrimBlanks(line.substr(0, equals)));
    parsed.value = base::Unquote(base::TrimBlanks(line.substr(equals + 1)));
    return parsed;
}

SectionLookup FindSectionValue(std::string_view content, std::string_view section,
                               std::string_view key, std::string_view& value)
{
    SectionLookup result = SectionLookup::kNoSection;
    bool inSection = false;
    base::ForEachLine(content, [&](std::string_view line) {
        const SectionLine parsed = ParseSectionLine(line);
        if (parsed.kind == SectionLineKind::kSection) {
            inSection = parsed.section == section;
            if (inSection)
                result = SectionLookup::kNoKey;  // a repeated header starts over
        } else if (parsed.kind == SectionLineKind::kKey && inSection && parsed.key == key) {
            value = parsed.value;
            result = SectionLookup::kFound;
        }
        return true;
    });
    return result;
}

}  // namespace vorn
