// Text templates: "{key}" replaced by the values of a JSON object, found
// with a POSIX regular expression.  Nothing is evaluated: values are copied
// in as text and never scanned again.

#include <arx/webutils.h>

#include <algorithm>

#include <vorn/log.h>

#include "webutils/log_source.h"

using arx::webutils::kWebUtilsLogSource;

namespace {

// An opening brace, a run of anything but braces, a closing brace.
constexpr char kKeyPattern[] = "\\{([^\\{\\}]*)\\}";
constexpr size_t kLongestKey = 128;
constexpr int kReadPiece = 2048;

// The text a member stands for, or false when it has none (an object or
// an array, which jsoncpp's asString refuses).
bool ValueText(const Json::Value& values, const std::string& key, std::string& text)
{
    if (!values.isObject() || !values.isMember(key))
        return false;
    const Json::Value& value = values[key];
    if (value.isObject() || value.isArray())
        return false;
    text = value.asString();
    return true;
}

}  // namespace

namespace WebUtils {

Template::Template()
{
    InitTemplate();
}

Template::Template(const char* text) : text_(text != nullptr ? text : "")
{
    InitTemplate();
}

Template::~Template()
{
    if (compiled_)
        regfree(&pattern_);
}

void Template::InitTemplate()
{
    if (compiled_)
        regfree(&pattern_);
    compiled_ = regcomp(&pattern_, kKeyPattern, REG_EXTENDED) == 0;
    if (!compiled_)
        VLIBCLog(LOG_ERR, "%s (%d) cannot compile the template pattern", kWebUtilsLogSource, __LINE__);
}

void Template::ReadFromStream(FILE* stream)
{
    text_.clear();
    if (stream == nullptr)
        return;
    char piece[kReadPiece];
    while (fgets(piece, sizeof piece, stream) != nullptr)
        text_ += piece;
}

std::string Template::ApplyValues(const Json::Value& values)
{
    if (!compiled_)
        return text_;
    std::string result;
    try {
        size_t cursor = 0;
        regmatch_t match[2];
        for (int flags = 0; regexec(&pattern_, text_.c_str() + cursor, 2, match, flags) == 0; flags = REG_NOTBOL) {
            const size_t start = cursor + static_cast<size_t>(match[0].rm_so);
            const size_t end = cursor + static_cast<size_t>(match[0].rm_eo);
            const std::string key = text_.substr(start + 1, std::min(end - start - 2, kLongestKey));
            std::string value;
            result.append(text_, cursor, start - cursor);
            if (!key.empty() && ValueText(values, key, value))
                result += value;
            else
                result.append(text_, start, end - start);  // stays as written, braces included
            cursor = end;
        }
        result.append(text_, cursor, std::string::npos);
    } catch (const std::exception&) {
        return text_;  // no memory for the result
    }
    return result;
}

}  // namespace WebUtils
