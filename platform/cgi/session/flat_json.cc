#include "cgi/session/flat_json.h"

#include <stdio.h>

#include "base/json_cursor.h"

namespace vorn {

namespace {

bool ParseValue(base::JsonCursor& cursor, FlatValue& value)
{
    if (cursor.Peek('"')) {
        value.isString = true;
        return cursor.String(value.text);
    }
    return cursor.Integer(value.number);
}

void AppendString(std::string& out, const std::string& text)
{
    out.push_back('"');
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(c);
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            out += escaped;
        } else {
            out.push_back(c);
        }
    }
    out.push_back('"');
}

}  // namespace

bool ParseFlatObject(std::string_view text, FlatObject& object)
{
    object.clear();
    base::JsonCursor cursor(text);
    if (!cursor.Take('{'))
        return false;
    if (cursor.Take('}'))
        return cursor.AtEnd();
    do {
        std::string name;
        FlatValue value;
        if (!cursor.String(name) || !cursor.Take(':') || !ParseValue(cursor, value) ||
            !object.emplace(name, value).second)
            return false;
    } while (cursor.Take(','));
    return cursor.Take('}') && cursor.AtEnd();
}

std::string WriteFlatObject(const FlatObject& object)
{
    std::string out = "{";
    for (const auto& [name, value] : object) {
        if (out.size() > 1)
            out.push_back(',');
        AppendString(out, name);
        out.push_back(':');
        if (value.isString)
            AppendString(out, value.text);
        else
            out += std::to_string(value.number);
    }
    out.push_back('}');
    return out;
}

bool FlatString(const FlatObject& object, const char* name, std::string& value)
{
    const auto found = object.find(name);
    if (found == object.end() || !found->second.isString)
        return false;
    value = found->second.text;
    return true;
}

bool FlatNumber(const FlatObject& object, const char* name, long long& value)
{
    const auto found = object.find(name);
    if (found == object.end() || found->second.isString)
        return false;
    value = found->second.number;
    return true;
}

}  // namespace vorn
