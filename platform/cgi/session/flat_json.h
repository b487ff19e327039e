// Flat JSON objects: one object whose members are strings or integers, the
// form of session files.  Every request reads its session, and a reader of
// this one form costs a CGI process far less than a general JSON library
// (no code of it to map and bind at run time).
#ifndef VORN_PLATFORM_FLAT_JSON_H
#define VORN_PLATFORM_FLAT_JSON_H

#include <map>
#include <string>
#include <string_view>

namespace vorn {

struct FlatValue {
    bool isString = false;
    std::string text;      // a string member
    long long number = 0;  // an integer member
};

using FlatObject = std::map<std::string, FlatValue>;

// Parses one object; false for anything else (nested values, fractions,
// literals, a duplicate member, text after the object).
bool ParseFlatObject(std::string_view text, FlatObject& object);

// The object as compact JSON (members in name order), non-ASCII kept as
// UTF-8, control characters escaped.
std::string WriteFlatObject(const FlatObject& object);

// Member helpers: false when the member is missing or of the other kind.
bool FlatString(const FlatObject& object, const char* name, std::string& value);
bool FlatNumber(const FlatObject& object, const char* name, long long& value);

}  // namespace vorn

#endif
