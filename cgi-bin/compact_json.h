// Compact JSON text for the sample programs' large answers: the bytes
// jsoncpp's compact writer (no indentation, UTF-8 as it is) gives, appended
// to a string without a stream between.
#ifndef ARX_CGI_BIN_COMPACT_JSON_H
#define ARX_CGI_BIN_COMPACT_JSON_H

#include <string>
#include <string_view>

#include <json/value.h>

// Appends value to out.
void AppendCompactJson(const Json::Value& value, std::string& out);

// Appends text to out as a JSON string, quoted.
void AppendJsonString(std::string_view text, std::string& out);

#endif
