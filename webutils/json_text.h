// JSON text as the library's file functions read it, for the library's own
// readers that look at a file's text before (or instead of) parsing it.
#ifndef ARX_WEBUTILS_JSON_TEXT_H
#define ARX_WEBUTILS_JSON_TEXT_H

#include <string_view>

#include <json/value.h>

namespace arx::webutils {

// Parses text as VORN::JsonFromFile parses a file: comments allowed and
// dropped, nothing but white space after the value.  On failure value is
// left as it was.
bool JsonFromText(Json::Value& value, std::string_view text);

}  // namespace arx::webutils

#endif
