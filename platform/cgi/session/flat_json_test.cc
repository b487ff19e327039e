#include <string>

#include <gtest/gtest.h>

#include "cgi/session/flat_json.h"

namespace {

TEST(FlatJsonTest, OneObjectOfStringsAndIntegers)
{
    struct Row {
        std::string text;
        bool parsed;
        std::string written;  // the object written back
    };
    const Row rows[] = {
        {R"({"b":2,"a":"x"})", true, R"({"a":"x","b":2})"},
        {" { \"a\" : -7 ,\n\"b\":\"\" } \n", true, R"({"a":-7,"b":""})"},
        {"{}", true, "{}"},
        {R"({"a":"\"\\\/\b\f\n\r\t"})", true, R"({"a":"\"\\/\u0008\u000c\u000a\u000d\u0009"})"},
        {R"({"a":"\u00e9\u20ac\ud83d\ude00"})", true, "{\"a\":\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"}"},
        {"{\"a\":\"\xC3\xA9\"}", true, "{\"a\":\"\xC3\xA9\"}"},
        {R"({"a":9223372036854775807})", true, R"({"a":9223372036854775807})"},
        {R"({"a":9223372036854775808})", false, ""},
        {R"({"a":1,"a":2})", false, ""},        // a member twice
        {R"({"a":1.5})", false, ""},
        {R"({"a":01})", false, ""},
        {R"({"a":-})", false, ""},
        {R"({"a":true})", false, ""},
        {R"({"a":{"b":1}})", false, ""},
        {R"({"a":[1]})", false, ""},
        {R"({"a":"\ud83d"})", false, ""},        // half a surrogate pair
        {R"({"a":"\ude00"})", false, ""},
        {R"({"a":"\x"})", false, ""},
        {"{\"a\":\"line\nend\"}", false, ""},    // a raw control character
        {R"({"a":"open)", false, ""},
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

TEST(FlatJsonTest, MembersByKind)
{
    vorn::FlatObject object;
    ASSERT_TRUE(vorn::ParseFlatObject(R"({"n":5,"s":"5"})", object));
    long long number = 0;
    std::string text;
    EXPECT_TRUE(vorn::FlatNumber(object, "n", number));
    EXPECT_EQ(number, 5);
    EXPECT_FALSE(vorn::FlatNumber(object, "s", number));
    EXPECT_TRUE(vorn::FlatString(object, "s", text));
    EXPECT_EQ(text, "5");
    EXPECT_FALSE(vorn::FlatString(object, "n", text));
    EXPECT_FALSE(vorn::FlatString(object, "missing", text));
}

}  // namespace
