// Session ids (the one form that is an id, the ids the platform makes) and the session file's format: one flat object of strings and
// integers.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "cgi/session/flat_json.h"
#include "cgi/session/session_id.h"

namespace {

TEST(SessionIdTest, OnlyTheExactFormIsAnId)
{
    const std::pair<std::string, bool> rows[] = {
        {"AAAAAAAAAAAAAAAAAAAAAA", true},
        {"abcdefghijklmnopqrstuw", true},
        {"_-_-_-_-_-_-_-_-_-_-_g", true},
        {"abcdefghijklmnopqrstu-", false},  // the last character carries bits beyond the 128
        {"AAAAAAAAAAAAAAAAAAAAA", false},   // 21 characters
        {"AAAAAAAAAAAAAAAAAAAAA=", false},
        {"AAAAAAAAAAAAAAAAAAAA+A", false},  // the other base64 alphabet
        {"../AAAAAAAAAAAAAAAAAAA", false},
        {std::string("AAAAAAAAAA\0AAAAAAAAAAA", 22), false},
        {"", false},
    };
    for (const auto& [text, id] : rows)
        EXPECT_EQ(vorn::IsSessionId(text), id) << text;
    std::set<std::string> ids;
    for (int i = 0; i < 100; ++i) {
        std::string made;
        ASSERT_TRUE(vorn::NewRandomId(made));
        EXPECT_TRUE(vorn::IsSessionId(made)) << made;
        ids.insert(made);
    }
    EXPECT_EQ(ids.size(), 100u);
}

TEST(FlatJsonTest, OneObjectOfStringsAndIntegers)
{
    struct Row { std::string text; bool parsed; std::string written; };
    // Strings and numbers are read by base's JSON cursor, whose own table
    // covers their escapes and limits.
    const Row rows[] = {
        {R"({"b":2,"a":"x"})", true, R"({"a":"x","b":2})"},
        {" { \"a\" : -7 ,\n\"b\":\"\" } \n", true, R"({"a":-7,"b":""})"},
        {"{}", true, "{}"},
        {R"({"a":"\"\\\/\b\f\n\r\t"})", true, R"({"a":"\"\\/\u0008\u000c\u000a\u000d\u0009"})"},
        {R"({"a":"\u00e9\u20ac\ud83d\ude00"})", true, "{\"a\":\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"}"},
        {R"({"a":1,"a":2})", false, ""},  // a member twice
        {R"({"a":1.5})", false, ""},
        {R"({"a":true})", false, ""},
        {R"({"a":{"b":1}})", false, ""},
        {R"({"a":[1]})", false, ""},
        {R"({"a":1} x)", false, ""},
        {R"({"a":1,})", false, ""},
        {R"([1])", false, ""},
        {"", false, ""},
    };
    for (const Row& row : rows) {
        vorn::FlatObject object;
        EXPECT_EQ(vorn::ParseFlatObject(row.text, object), row.parsed) << row.text;
        if (row.parsed) {
            EXPECT_EQ(vorn::WriteFlatObject(object), row.written) << row.text;
        }
    }
}

}  // namespace
