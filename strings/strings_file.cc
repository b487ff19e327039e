#include "strings/strings_file.h"

#include <string.h>

#include <arx/string_parser.h>

#include "base/text.h"

namespace arx::strings {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool IsContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

// The length of the well-formed UTF-8 sequence at the start of text, or 0.
size_t SequenceLength(std::string_view text)
{
    const unsigned char first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0)
            low = 0xA0;  // overlong below
        else if (first == 0xED)
            high = 0x9F;  // surrogates above
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0)
            low = 0x90;
        else if (first == 0xF4)
            high = 0x8F;  // beyond U+10FFFF above
    } else {
        return 0;
    }
    if (text.size() < length)
        return 0;
    const unsigned char second = static_cast<unsigned char>(text[1]);
    if (second < low || second > high)
        return 0;
    for (size_t i = 2; i < length; ++i) {
        if (!IsContinuation(static_cast<unsigned char>(text[i])))
            return 0;
    }
    return length;
}

}  // namespace

std::string_view TrimText(std::string_view text)
{
    return base::Unquote(base::TrimBlanks(text));
}

StringsLine ClassifyLine(std::string_view line)
{
    StringsLine parsed;
    if (line.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        line.remove_prefix(kByteOrderMark.size());
    line = base::TrimBlanks(line);
    if (line.empty() || line.front() == '#')
        return parsed;
    if (line.front() == '[') {
        const size_t close = line.rfind(']');
        if (close != std::string_view::npos) {
            parsed.kind = LineKind::kSection;
            parsed.section = line.substr(1, close - 1);
        }
        return parsed;
    }
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return parsed;
    parsed.kind = LineKind::kKey;
    parsed.key = TrimText(line.substr(0, equals));
    parsed.value = TrimText(line.substr(equals + 1));
    return parsed;
}

bool IsText(std::string_view content)
{
    return memchr(content.data(), '\0', content.size()) == nullptr;
}

std::string ToValidUtf8(std::string_view text, bool* replaced)
{
    std::string result;
    result.reserve(text.size());
    bool any = false;
    while (!text.empty()) {
        size_t length = SequenceLength(text);
        if (length == 0) {
            result.append(kReplacement);
            any = true;
            length = 1;
        } else {
            result.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    if (replaced != nullptr)
        *replaced = any;
    return result;
}

Json::Value ParseStringsText(std::string_view content)
{
    Json::Value result(Json::objectValue);
    Json::Value* current = nullptr;
    base::ForEachLine(content, [&](std::string_view line) {
        const StringsLine parsed = ClassifyLine(line);
        if (parsed.kind == LineKind::kSection) {
            // A section named again starts over.
            current = &(result[std::string(parsed.section)] = Json::Value(Json::objectValue));
        } else if (parsed.kind == LineKind::kKey && current != nullptr) {
            (*current)[std::string(parsed.key)] = VORN::PAD::StringParser::ReplaceStringText(std::string(parsed.value));
        }
        return true;
    });
    return result;
}

Lookup FindText(std::string_view content, std::string_view section, std::string_view key, std::string_view& text)
{
    Lookup result = Lookup::kNoSection;
    bool inSection = false;
    base::ForEachLine(content, [&](std::string_view line) {
        const StringsLine parsed = ClassifyLine(line);
        if (parsed.kind == LineKind::kSection) {
            inSection = parsed.section == section;
            if (inSection)
                result = Lookup::kNoKey;  // a repeated header starts over
        } else if (parsed.kind == LineKind::kKey && inSection && parsed.key == key) {
            text = parsed.value;
            result = Lookup::kFound;
        }
        return true;
    });
    return result;
}

std::string_view CutAtCharacter(std::string_view text, size_t maxBytes)
{
    if (text.size() <= maxBytes)
        return text;
    size_t end = maxBytes;
    while (end > 0 && IsContinuation(static_cast<unsigned char>(text[end])))
        --end;
    return text.substr(0, end);
}

}  // namespace arx::strings
