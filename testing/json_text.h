// JSON in tests: values from literals, and compact text to compare.
#ifndef ARX_TESTING_JSON_TEXT_H
#define ARX_TESTING_JSON_TEXT_H

#include <memory>
#include <string>

#include <json/json.h>

namespace arx_testing {

// text parsed (null when it is not JSON).
inline Json::Value JsonOf(const std::string& text)
{
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    return value;
}

// value as one line without blanks, members in name order.
inline std::string CompactJson(const Json::Value& value)
{
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    return Json::writeString(compact, value);
}

}  // namespace arx_testing

#endif
