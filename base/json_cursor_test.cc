#include <string>

#include <gtest/gtest.h>

#include "base/json_cursor.h"

namespace {

using Escapes = base::JsonCursor::Escapes;

TEST(JsonCursorTest, Strings)
{
    struct Row {
        const char* text;
        Escapes escapes;
        bool ok;
        std::string value;
    };
    const Row rows[] = {
        {R"("plain")", Escapes::kAll, true, "plain"},
        {R"(  "a\"b\\c\/d\n\t")", Escapes::kAll, true, "a\"b\\c/d\n\t"},
        {R"("\u00e9\u20ac")", Escapes::kAll, true, "\xC3\xA9\xE2\x82\xAC"},
        {R"("\ud83d\ude00")", Escapes::kAll, true, "\xF0\x9F\x98\x80"},  // a surrogate pair
        {R"("\ud83d")", Escapes::kAll, false, ""},                       // half of one
        {R"("\ude00")", Escapes::kAll, false, ""},
        {R"("\u00e9")", Escapes::kNoUnicode, false, ""},
        {R"("\x")", Escapes::kAll, false, ""},
        {"\"tab\there\"", Escapes::kAll, false, ""},  // a raw control character
        {R"("open)", Escapes::kAll, false, ""},
        {R"(none)", Escapes::kAll, false, ""},
    };
    for (const Row& row : rows) {
        base::JsonCursor cursor(row.text);
        std::string value;
        EXPECT_EQ(cursor.String(value, row.escapes), row.ok) << row.text;
        if (row.ok) {
            EXPECT_EQ(value, row.value) << row.text;
        }
    }
}

TEST(JsonCursorTest, Integers)
{
    struct Row {
        const char* text;
        bool ok;
        long long value;
    };
    const Row rows[] = {
        {"0", true, 0},
        {" -42", true, -42},
        {"9223372036854775807", true, 9223372036854775807LL},
        {"9223372036854775808", false, 0},
        {"-", false, 0},
        {"007", false, 0},
        {"x", false, 0},
    };
    for (const Row& row : rows) {
        base::JsonCursor cursor(row.text);
        long long value = -1;
        EXPECT_EQ(cursor.Integer(value), row.ok) << row.text;
        if (row.ok) {
            EXPECT_EQ(value, row.value) << row.text;
        }
    }
}

TEST(JsonCursorTest, BoundsCountStructureOutsideStrings)
{
    struct Row {
        std::string text;
        int depth;
        size_t values;
        bool within;
    };
    const Row rows[] = {
        {"[[[1]]]", 3, 10, true},
        {"[[[[1]]]]", 3, 10, false},
        {R"(["[[[[", "]]]]"])", 1, 10, true},  // brackets in strings are text
        {R"(["\"[[[["])", 1, 10, true},         // so are escaped quotes
        {"[1,2,3]", 1, 4, true},
        {"[1,2,3,4]", 1, 4, false},
        {std::string(100000, '['), 64, 1000000, false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(base::JsonWithinBounds(row.text, row.depth, row.values), row.within) << row.text.substr(0, 20);
}

}  // namespace
