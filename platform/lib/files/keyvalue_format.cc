#include "lib/files/keyvalue_format.h"

#include "base/text.h"

namespace vorn {

bool ParseKeyValueLine(std::string_view line, KeyValueLine& parsed)
{
    line = base::TrimBlanks(line);
    if (line.empty() || line.front() == '#')
        return false;
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return false;
    parsed.key = base::TrimBlanks(line.substr(0, equals));
    parsed.value = base::Unquote(base::TrimBlanks(line.substr(equals + 1)));
    return true;
}

bool FindKeyValue(std::string_view content, std::string_view key, std::string_view& value)
{
    bool found = false;
    base::ForEachLine(content, [&](std::string_view line) {
        KeyValueLine parsed;
        if (ParseKeyValueLine(line, parsed) && parsed.key == key) {
            value = parsed.value;
            found = true;
        }
        return true;
    });
    return found;
}

std::string SetKeyValue(std::string_view content, std::string_view key, std::string_view value)
{
    std::string newLine;
    newLine.append(key).append("=\"").append(value).append("\"\n");

    std::string result;
    result.reserve(content.size() + newLine.size());
    bool written = false;
    base::ForEachLine(content, [&](std::string_view line) {
        KeyValueLine parsed;
        if (ParseKeyValueLine(line, parsed) && parsed.key == key) {
            if (!written)
                result += newLine;
            written = true;
        } else {
            result.append(line).push_back('\n');
        }
        return true;
    });
    if (!written)
        result += newLine;
    return result;
}

bool IsWritableKey(std::string_view key)
{
    if (key.empty())
        return false;
    for (unsigned char c : key) {
        if (c <= ' ' || c == 0x7f || c == '=' || c == '#' || c == '"')
            return false;
    }
    return true;
}

bool IsWritableValue(std::string_view value)
{
    return value.find_first_of("\r\n") == std::string_view::npos;
}

}  // namespace vorn
