// Text templates: the input is a template, a NUL byte, and the JSON of
// the values.  Filling never crashes or throws, a template without braces
// and a fill without values give the template back, and nothing but the
// keys' places changes.

#include <stdint.h>
#include <stdlib.h>

#include <memory>
#include <string>

#include <json/json.h>

#include <arx/webutils.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t split = input.find('\0');
    const std::string text = input.substr(0, split);
    const std::string json = split == std::string::npos ? "" : input.substr(split + 1);
    Json::Value values;
    Json::CharReaderBuilder builder;
    builder["stackLimit"] = 64;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        reader->parse(json.data(), json.data() + json.size(), &values, nullptr);
    } catch (const std::exception&) {
        values = Json::Value();
    }
    WebUtils::Template filler(text.c_str());
    const std::string filled = filler.ApplyValues(values);
    if (filler.ApplyValues(Json::Value()) != text)
        abort();
    if (text.find('{') == std::string::npos && filled != text)
        abort();
    // Text before the first key's opening brace is never touched.
    const size_t open = text.find('{');
    if (filled.compare(0, open, text, 0, open) != 0)
        abort();
    return 0;
}
