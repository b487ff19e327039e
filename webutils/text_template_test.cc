// Text templates: which "{key}" is replaced, and by what.

#include <stdio.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webutils.h>

#include "testing/json_text.h"

namespace {

using arx_testing::JsonOf;

TEST(TemplateTest, KeysAndValues)
{
    const std::string longKey(130, 'k');
    struct Row {
        const char* description;
        std::string text;
        std::string values;  // JSON
        std::string expected;
    };
    const Row rows[] = {
        {"a member", "Hello {name}!", R"({"name": "Ann"})", "Hello Ann!"},
        {"a missing key stays", "Hello {name}!", "{}", "Hello {name}!"},
        {"a repeated key", "{a}-{a}", R"({"a": "x"})", "x-x"},
        {"an empty key stays", "{} {a}", R"({"": "no", "a": "y"})", "{} y"},
        {"nested braces: the inner key", "{{a}}", R"({"a": "x", "{a}": "no"})", "{x}"},
        {"values are not scanned again", "{a}", R"({"a": "{b}", "b": "no"})", "{b}"},
        {"braces in values", "{a}{b}", R"({"a": "}{", "b": "{"})", "}{{"},
        {"numbers, booleans and null", "{i} {f} {t} {z}", R"({"i": -12, "f": 1.5, "t": true, "z": null})",
         "-12 1.5 true "},
        {"objects and arrays stay", "{o}{l}", R"({"o": {"x": 1}, "l": [1]})", "{o}{l}"},
        {"values that are no object", "{0}", "[\"zero\"]", "{0}"},
        {"a key is its first 128 characters", "{" + longKey + "}", "{\"" + longKey.substr(0, 128) + "\": \"long\"}",
         "long"},
        {"a lone brace before a key", "{ {a}", R"({"a": "x"})", "{ x"},
        {"what a shell or printf would read stays text", "$(id) %s {a}", R"({"a": "`id` %n"})", "$(id) %s `id` %n"},
    };
    for (const Row& row : rows) {
        WebUtils::Template filler(row.text.c_str());
        EXPECT_EQ(filler.ApplyValues(JsonOf(row.values)), row.expected) << row.description;
        EXPECT_EQ(filler.ApplyValues(Json::Value()), row.text) << row.description << ": the template is unchanged";
    }
}

TEST(TemplateTest, TextFromAStream)
{
    char text[] = "Dear {name},\n{body}\n";
    FILE* stream = fmemopen(text, strlen(text), "r");
    WebUtils::Template mail;
    EXPECT_EQ(mail.ApplyValues(JsonOf(R"({"name": "Ann"})")), "");
    mail.ReadFromStream(stream);
    fclose(stream);
    EXPECT_EQ(mail.ApplyValues(JsonOf(R"({"name": "Ann", "body": "Hi"})")), "Dear Ann,\nHi\n");
    EXPECT_EQ(WebUtils::Template(nullptr).ApplyValues(JsonOf(R"({"a": 1})")), "");
}

}  // namespace
