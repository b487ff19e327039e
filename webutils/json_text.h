// The text side of the JSON file functions, for the library's own readers
// that look at a file's text before (or instead of) parsing it.
#ifndef ARX_WEBUTILS_JSON_TEXT_H
#define ARX_WEBUTILS_JSON_TEXT_H

#include <string>
#include <string_view>

#include <json/value.h>

namespace arx {

// The whole content of the file at path (replacing content); false, with
// content empty, when it cannot be read.
bool ReadTextFile(const std::string& path, std::string& content);

// Parses text as VORN::JsonFromFile parses a file: comments allowed and
// dropped, nothing but white space after the value.  On failure value is
// left as it was.
bool JsonFromText(Json::Value& value, std::string_view text);

}  // namespace arx

#endif
