#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>

#include "base/json_text.h"

namespace {

std::string Compact(const Json::Value& value)
{
    std::string text;
    base::AppendCompactJson(value, text);
    return text;
}

std::string JsoncppCompact(const Json::Value& value)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    std::string text = Json::FastWriter().write(value);
#pragma GCC diagnostic pop
    text.pop_back();  // its newline
    return text;
}

TEST(CompactJsonTest, Texts)
{
    Json::Value nested(Json::objectValue);
    nested["b"]["list"].append(1);
    nested["b"]["list"].append(Json::Value(Json::objectValue));
    nested["a"] = Json::Value(Json::arrayValue);
    const std::pair<Json::Value, std::string> rows[] = {
        {Json::Value(), "null"},
        {Json::Value(std::numeric_limits<Json::Int64>::min()), "-9223372036854775808"},
        {Json::Value(1.0), "1.0"},
        {Json::Value(std::numeric_limits<double>::quiet_NaN()), "null"},
        {Json::Value("caf\xC3\xA9 \xF0\x9F\x98\x80"), R"("caf\u00e9 \ud83d\ude00")"},
        {nested, R"({"a":[],"b":{"list":[1,{}]}})"},
    };
    for (const auto& [value, text] : rows)
        EXPECT_EQ(Compact(value), text) << text;
}

// The text is jsoncpp's own compact form, byte for byte, whatever the
// value: strings with every escape and broken UTF-8 as it reads them,
// reals as it rounds them.
TEST(CompactJsonTest, MatchesJsoncppsCompactWriter)
{
    std::string everyByte;
    for (int c = 1; c < 256; ++c)
        everyByte.push_back(static_cast<char>(c));
    const std::string strings[] = {
        everyByte,
        std::string("nul\0inside", 10),
        "quote \" backslash \\ slash / \b\f\n\r\t\x01\x1f\x7f",
        "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",  // two, three and four bytes
        "\xC0\xAF \xE0\x80\xAF \xED\xA0\x80",  // overlong forms, an encoded surrogate
        "cut \xE2\x82",  // a sequence cut short at the end
        "\xF8\x88\x80\x80\x80 \xFF",
    };
    Json::Value value(Json::objectValue);
    for (const std::string& text : strings) {
        EXPECT_EQ(Compact(Json::Value(text)), JsoncppCompact(Json::Value(text)));
        value[text] = text;
        value["list"].append(text);
    }
    const double reals[] = {0.1,
                            -0.0,
                            1e300,
                            5e-324,
                            1e22,
                            9007199254740993.0,
                            -123.456,
                            100.0,
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity()};
    for (double real : reals) {
        EXPECT_EQ(Compact(Json::Value(real)), JsoncppCompact(Json::Value(real)));
        value["reals"].append(real);
    }
    value["ints"].append(std::numeric_limits<Json::UInt64>::max());
    value["ints"].append(-1);
    value["deep"][0][0]["x"] = true;
    value["empty"] = Json::Value(Json::objectValue);
    EXPECT_EQ(Compact(value), JsoncppCompact(value));
}

// Plain runs are passed over in blocks: a character to escape is found
// wherever it stands in or across them.
TEST(CompactJsonTest, EscapesAtEveryPositionOfABlock)
{
    const std::string specials[] = {"\"", "\\", "\n", "\x1f", "\xC3\xA9", "\xF0\x9F\x98\x80"};
    for (const std::string& special : specials) {
        for (size_t at = 0; at < 20; ++at) {
            std::string text(24, 'p');
            text.replace(at, 1, special);
            EXPECT_EQ(Compact(Json::Value(text)), JsoncppCompact(Json::Value(text))) << at;
        }
    }
}

TEST(CompactJsonTest, RefusesValuesDeeperThanReadersAccept)
{
    Json::Value deep;
    Json::Value* at = &deep;
    for (int depth = 0; depth < base::kMaxJsonDepth; ++depth)
        at = &(*at)[0];
    std::string text;
    EXPECT_NO_THROW(base::AppendCompactJson(deep, text));
    *at = Json::Value(Json::arrayValue);
    (*at)[0] = 1;
    EXPECT_THROW(base::AppendCompactJson(deep, text), std::length_error);
}

// Through the file buffer, a document many times its size comes out as the
// string writer makes it; a file that takes no bytes is a failure.
TEST(CompactJsonTest, WritesFilesThroughItsBuffer)
{
    Json::Value value;
    for (int i = 0; i < 3000; ++i)
        value["entries"].append("entry \"" + std::to_string(i) + "\"");
    value["long"] = std::string(40000, 'x');  // more than the buffer at once
    FILE* file = tmpfile();
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(base::WriteCompactJson(value, fileno(file), "\n"));
    std::string written(static_cast<size_t>(lseek(fileno(file), 0, SEEK_END)), '\0');
    ASSERT_EQ(pread(fileno(file), written.data(), written.size(), 0), static_cast<ssize_t>(written.size()));
    fclose(file);
    EXPECT_EQ(written, Compact(value) + "\n");

    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    errno = 0;
    EXPECT_FALSE(base::WriteCompactJson(value, full));
    EXPECT_EQ(errno, ENOSPC);
    close(full);
}

}  // namespace
