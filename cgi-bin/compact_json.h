// Compact JSON text for the sample programs' large answers: the bytes
// jsoncpp's compact writer (no indentation, UTF-8 as it is) gives, appended
// to a string without a stream between.  The libraries have a writer of
// their own (base/json_text.h, ASCII with \u escapes, as settings files
// are written), but the programs are built against the installed
// libraries' interface alone, as an appliance's own programs would be.
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
