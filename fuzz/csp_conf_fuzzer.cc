// Rule configs as the CSP rule store reads them: any JSON is a valid config
// or refused, never a crash or an exception; a valid config merges into the
// rule, and every source it brings is a single source a header can carry.

#include <stdint.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include <json/json.h>
#include <vorn/log.h>

#include <arx/csp_rule.h>

#include "security/csp_generate.h"

namespace {

void Quiet(int, const char*, void*) {}

// No blank, no control character, no ';' or ',': nothing that ends a
// source, a directive, the policy or the header.
bool IsOneSource(const Json::Value& source)
{
    if (!source.isString())
        return false;
    for (const unsigned char c : source.asString()) {
        if (c <= ' ' || c == 0x7f || c == ';' || c == ',')
            return false;
    }
    return true;
}

void CheckSources(const Json::Value& rule)
{
    for (const std::string& directive : rule.getMemberNames()) {
        if (!rule[directive].isArray())
            abort();
        for (const Json::Value& source : rule[directive]) {
            if (!IsOneSource(source))
                abort();
        }
    }
}

void CheckStandalone(const Json::Value& standalone)
{
    if (standalone.isArray()) {
        for (const Json::Value& entry : standalone)
            CheckStandalone(entry);
        return;
    }
    if (!standalone[VORN::ARX::JSID].isString() || standalone[VORN::ARX::JSID].asString().find('/') != std::string::npos)
        abort();
    if (standalone.isMember(VORN::ARX::RULE))
        CheckSources(standalone[VORN::ARX::RULE]);
}

// Without the URL matcher every host source is refused and the rule half
// of the store would go untested.
bool MatcherLoaded()
{
    const std::string name = "fuzz";
    return VORN::ARX::CspRule(name, false).IsValidUrl("img-src", "cdn.example.com");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    VLIBCLogSetSink(&Quiet, nullptr);
    static const bool matcher = MatcherLoaded();
    if (!matcher)
        abort();
    Json::Value config;
    try {
        Json::CharReaderBuilder builder;
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        const char* text = reinterpret_cast<const char*>(data);
        if (!reader->parse(text, text + size, &config, nullptr))
            return 0;
    } catch (const std::exception&) {
        return 0;  // nesting deeper than the reader's limit
    }
    if (!VORN::ARX::CspRule::IsValidConf(config))
        return 0;
    if (!config.isObject())
        abort();
    if (config.isMember(VORN::ARX::RULE))
        CheckSources(config[VORN::ARX::RULE]);
    if (config.isMember(VORN::ARX::RULE_STANDALONE))
        CheckStandalone(config[VORN::ARX::RULE_STANDALONE]);

    Json::Value rule(Json::objectValue);
    rule["img-src"].append("'self'");
    arx::security::Merge({config}, rule);
    if (rule.size() < 12)
        abort();
    return 0;
}
