#include "security/plain_rule.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using arx::security::RenderPlainRule;

TEST(PlainRuleTest, PlainRulesRenderAndEverythingElseIsLeftToTheJsonReader)
{
    struct Row {
        const char* text;
        bool plain;
        const char* header;  // when plain
    };
    const Row rows[] = {
        {R"({"img-src": ["'self'", "data:"]})", true, "img-src 'self' data:; "},
        {"{\n  \"style-src\" : [ \"'self'\" ],\n\t\"base-uri\":[\"'none'\"]\r\n}\n", true,
         "base-uri 'none'; style-src 'self'; "},
        {R"({"font-src": [], "img-src": ["a"]})", true, " img-src a; "},
        {"{}", true, ""},
        {" { } ", true, ""},
        {R"({"b": ["1"], "a": ["2"], "B": ["3"]})", true, "B 3; a 2; b 1; "},
        {R"({"img-src": ["a\"b", "c\\d", "e\/f", "g\th"]})", true, "img-src a\"b c\\d e/f g\th; "},
        // Left to the JSON reader:
        {R"({"img-src": ["\u0041"]})", false, ""},
        {R"({"img-src": "'self'"})", false, ""},
        {R"({"img-src": ["'self'", 5]})", false, ""},
        {R"({"img-src": [["x"]]})", false, ""},
        {R"({"img-src": ["a"],})", false, ""},
        {R"({"img-src": ["a",]})", false, ""},
        {R"({"img-src": ["a"], "img-src": ["b"]})", false, ""},
        {"// comment\n{}", false, ""},
        {"{} /* comment */", false, ""},
        {"{} {}", false, ""},
        {"\xEF\xBB\xBF{}", false, ""},
        {"[]", false, ""},
        {"", false, ""},
        {R"({"img-src": ["a)", false, ""},
        {"{\"img-src\": [\"a\nb\"]}", false, ""},
        {R"({"img-src": ["a\x"]})", false, ""},
        {R"({img-src: ["a"]})", false, ""},
    };
    for (const Row& row : rows) {
        std::string header = "untouched";
        EXPECT_EQ(RenderPlainRule(row.text, header), row.plain) << row.text;
        EXPECT_EQ(header, row.plain ? row.header : "untouched") << row.text;
    }
}

}  // namespace
