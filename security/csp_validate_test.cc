#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/csp_rule.h>

#include "security/csp_test_support.h"
#include "testing/log_capture.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::WithoutLineNumbers;

std::string Repeat(const std::string& piece, size_t size)
{
    std::string text;
    while (text.size() < size)
        text += piece;
    return text.substr(0, size);
}

TEST(CspValidateTest, OnlyHostSourcesAreValidUrls)
{
    struct Row {
        const char* description;
        std::string url;
        bool valid;
    };
    const std::string longHost = Repeat("a", 2044) + ".com";  // exactly the longest source
    const Row rows[] = {
        {"host", "example.com", true},
        {"host with scheme", "https://cdn.example.com", true},
        {"host with port and path", "https://cdn.example.com:8443/lib/x.js", true},
        {"'*.' host", "*.example.com", true},
        {"'*.' host with scheme", "https://*.example.com", true},
        {"wss with a path", "wss://push.example.com/socket/v2", true},
        {"ws host", "ws://push.example.com", true},
        {"bare scheme with its slashes", "https://", true},
        {"bare wss scheme with its slashes", "wss://", true},
        {"a leading '-.' label", "-.example.com", true},
        {"the longest source", longHost, true},

        {"empty", "", false},
        {"quoted keyword", "'self'", false},
        {"quoted keyword unsafe-inline", "'unsafe-inline'", false},
        {"scheme-only source data:", "data:", false},
        {"bare scheme https: opens a directive to every https host", "https:", false},
        {"bare scheme http:", "http:", false},
        {"bare scheme wss:", "wss:", false},
        {"bare scheme ws:", "ws:", false},
        {"scheme-only source blob:", "blob:", false},
        {"any host", "*", false},
        {"'*.' on a top-level label", "*.com", false},
        {"host without a dot", "localhost", false},
        {"other scheme", "ftp://files.example.com", false},
        {"scheme in upper case", "HTTPS://example.com", false},
        {"scheme with one slash", "https:/example.com", false},
        {"query in the path", "https://example.com/a?b=1", false},
        {"fragment in the path", "https://example.com/a#b", false},
        {"'*' in the path", "https://example.com/*", false},
        {"two sources", "a.example.com b.example.com", false},
        {"newline after the host", "example.com\n", false},
        {"control character in the host", std::string("exa\x01mple.com"), false},
        {"NUL in the host", std::string("exa\0mple.com", 12), false},
        {"DEL in the host", "exa\x7fmple.com", false},
        {"';' would end the directive", "a.example.com;script-src", false},
        {"',' would end the policy", "a.example.com,script-src", false},
        {"one byte over the longest source", "a" + longHost, false},
        {"50 KiB label", Repeat("a", 50 * 1024), false},
        {"50 KiB of dotted labels", Repeat("a.", 50 * 1024) + "a", false},
        {"50 KiB of quotes, semicolons and newlines", Repeat("a.b'\";\n", 50 * 1024), false},
        {"50 KiB path", "https://a.example.com" + Repeat("/p", 50 * 1024), false},
    };
    const std::string name = "any";
    VORN::ARX::CspRule rule(name, false);
    for (const Row& row : rows) {
        EXPECT_EQ(rule.IsValidUrl("img-src", row.url), row.valid) << row.description;
        EXPECT_EQ(rule.IsValidUrl("script-src", row.url), row.valid) << row.description << ": any directive";
    }
}

TEST(CspValidateTest, ConfigsAreValidatedWithOneLineForTheFirstFault)
{
    struct Row {
        const char* description;
        const char* config;
        std::vector<std::string> lines;  // empty: valid
    };
    const Row rows[] = {
        {"rule only", R"({"rule": {"img-src": ["https://a.example.com"], "child-src": ["b.example.com"]}})", {}},
        {"empty rule", R"({"rule": {}})", {}},
        {"empty source list", R"({"rule": {"img-src": []}})", {}},
        {"rule-standalone only", R"({"rule-standalone": {"jsid": "Page", "wildcard": ["img-src"]}})", {}},
        {"standalone array", R"({"rule-standalone": [{"jsid": "A", "rule": {"img-src": ["x.y"]}},
                                                      {"jsid": "B", "wildcard": []}]})",
         {}},
        {"standalone sources are not held to the URL pattern",
         R"({"rule-standalone": {"jsid": "P", "rule": {"script-src": ["'unsafe-eval'", "data:"]}}})", {}},
        {"nested standalone arrays", R"({"rule-standalone": [[{"jsid": "A", "wildcard": ["img-src"]}]]})", {}},

        {"not an object", R"(["rule"])", {"csp_rule:# Failed [!jsConf.isObject()], err=Invalid argument"}},
        {"neither key (old-style config)", R"({"img-src": ["a.example.com"]})",
         {"csp_rule:# need either rule or rule-standalone in config!(old-style config?)"}},
        {"unknown directive", R"({"rule": {"default-src": ["a.example.com"]}})",
         {"csp_rule:# error key default-src"}},
        {"rule not an object", R"({"rule": ["img-src"]})",
         {"csp_rule:# Failed [!jsRule.isObject()], err=Invalid argument"}},
        {"sources not an array", R"({"rule": {"img-src": "a.example.com"}})",
         {"csp_rule:# Failed [!jsURLs.isArray()], err=Invalid argument"}},
        {"quoted keyword", R"({"rule": {"img-src": ["a.example.com", "'self'"]}})",
         {"csp_rule:# error url \"'self'\""}},
        {"source not a string", R"({"rule": {"img-src": [{"host": "a.example.com"}]}})",
         {"csp_rule:# error url \"{\"host\":\"a.example.com\"}\""}},
        {"a bad rule ends the check", R"({"rule": {"img-src": ["data:"]}, "rule-standalone": 5})",
         {"csp_rule:# error url \"data:\""}},
        {"standalone without jsid", R"({"rule-standalone": {"wildcard": ["img-src"]}})",
         {"csp_rule:# Failed [!jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString()], "
          "err=Invalid argument"}},
        {"jsid not a string", R"({"rule-standalone": {"jsid": 7, "wildcard": ["img-src"]}})",
         {"csp_rule:# Failed [!jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString()], "
          "err=Invalid argument"}},
        {"standalone entry not an object", R"({"rule-standalone": ["Page"]})",
         {"csp_rule:# Failed [!jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString()], "
          "err=Invalid argument"}},
        {"jsid with '/'", R"({"rule-standalone": {"jsid": "../rule", "wildcard": ["img-src"]}})",
         {"csp_rule:# Failed [string::npos != jsStandaloneRule[JSID].asString().find(\"/\")], err=Invalid argument"}},
        {"jsid '..'", R"({"rule-standalone": {"jsid": "..", "wildcard": ["img-src"]}})",
         {"csp_rule:# Failed [!IsFileName(jsStandaloneRule[JSID].asString())], err=Invalid argument"}},
        {"empty jsid", R"({"rule-standalone": {"jsid": "", "wildcard": ["img-src"]}})",
         {"csp_rule:# Failed [!IsFileName(jsStandaloneRule[JSID].asString())], err=Invalid argument"}},
        {"standalone without rule or wildcard", R"({"rule-standalone": {"jsid": "P"}})",
         {"csp_rule:# Failed [!jsStandaloneRule.isMember(RULE) && !jsStandaloneRule.isMember(WILDCARD)], "
          "err=Invalid argument"}},
        {"standalone rule with an unknown directive", R"({"rule-standalone": {"jsid": "P", "rule": {"sandbox": []}}})",
         {"csp_rule:# error key sandbox"}},
        {"standalone source with a blank", R"({"rule-standalone": {"jsid": "P", "rule": {"img-src": ["a b"]}}})",
         {"csp_rule:# error source \"a b\""}},
        {"standalone source starting another directive",
         R"({"rule-standalone": {"jsid": "P", "rule": {"img-src": ["x;script-src"]}}})",
         {"csp_rule:# error source \"x;script-src\""}},
        {"standalone source with a newline", R"({"rule-standalone": {"jsid": "P", "rule": {"img-src": ["x\ny"]}}})",
         {"csp_rule:# error source \"x\ny\""}},
        {"wildcard not an array", R"({"rule-standalone": {"jsid": "P", "wildcard": "img-src"}})",
         {"csp_rule:# Failed [!jsStandaloneRule[WILDCARD].isArray()], err=Invalid argument"}},
        {"wildcard element not a string", R"({"rule-standalone": {"jsid": "P", "wildcard": [1]}})",
         {"csp_rule:# standalone wildcard needs to be string (ex: img-src)"}},
        {"wildcard of an unknown directive", R"({"rule-standalone": {"jsid": "P", "wildcard": ["default-src"]}})",
         {"csp_rule:# error key default-src"}},
        {"wildcard script-src", R"({"rule-standalone": {"jsid": "P", "wildcard": ["img-src", "script-src"]}})",
         {"csp_rule:# error key script-src, forbidded to be wildcard!"}},
        {"array: the first bad element ends the check",
         R"({"rule-standalone": [{"jsid": "A", "wildcard": []}, {"jsid": "a/b", "wildcard": []}, {"jsid": 1}]})",
         {"csp_rule:# Failed [string::npos != jsStandaloneRule[JSID].asString().find(\"/\")], err=Invalid argument"}},
    };
    for (const Row& row : rows) {
        const Json::Value config = csp_testing::ParseJson(row.config);
        LogCapture log;
        EXPECT_EQ(VORN::ARX::CspRule::IsValidConf(config), row.lines.empty()) << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.lines) << row.description;
    }
}

TEST(CspValidateTest, HostileSourceInAConfigIsRefused)
{
    Json::Value config;
    const std::string hostile = Repeat("x.y'\"; script-src *\n", 50 * 1024);
    config["rule"]["img-src"].append(hostile);
    LogCapture log;
    EXPECT_FALSE(VORN::ARX::CspRule::IsValidConf(config));
    ASSERT_EQ(log.texts().size(), 1u);
    EXPECT_EQ(log.texts()[0].rfind("csp_rule:", 0), 0u);
}

}  // namespace
