// Rule files as requests read them: whenever the plain reader takes a text,
// its policy text is the one the JSON reader's value gives; it never takes
// a text the JSON reader refuses.

#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <string_view>

#include <json/json.h>

#include "security/plain_rule.h"
#include "webutils/json_text.h"

namespace {

// The policy text of a parsed rule, directive by directive.
std::string PolicyOf(const Json::Value& rule)
{
    std::string header;
    for (auto it = rule.begin(); it != rule.end(); ++it) {
        const Json::Value& sources = *it;
        if (sources.isArray() && !sources.empty()) {
            header += it.name();
            for (const Json::Value& source : sources) {
                if (source.isString())
                    header += " " + source.asString();
            }
            header.push_back(';');
        }
        header.push_back(' ');
    }
    return header;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string plain;
    if (!arx::security::RenderPlainRule(text, plain))
        return 0;
    Json::Value rule;
    if (!arx::webutils::JsonFromText(rule, text) || !rule.isObject())
        abort();
    if (PolicyOf(rule) != plain)
        abort();
    return 0;
}
