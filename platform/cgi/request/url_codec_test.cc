#include <string.h>

#include <map>
#include <string>

#include <gtest/gtest.h>
#include <vorn/cgi.h>

#include "cgi/request/url_codec.h"

namespace {

TEST(URLDecodeTest, DecodesComponents)
{
    struct Row {
        const char* encoded;
        std::string decoded;
    };
    const Row rows[] = {
        {"plain", "plain"},
        {"a+b", "a b"},
        {"%41%62", "Ab"},
        {"%e2%82%ac", "\xE2\x82\xAC"},  // lower-case hex
        {"100%", "100%"},               // '%' at the end stays
        {"%4", "%4"},                   // one digit only
        {"%G1x", "%G1x"},               // not hex
        {"%%41", "%A"},                 // the first '%' stays, the second decodes
        {"%2B", "+"},                   // an encoded plus is a plus
        {"%00", std::string(1, '\0')},
        {"", ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::DecodeURLComponent(row.encoded), row.decoded) << row.encoded;
}

std::map<std::string, std::string> Pairs(const char* line, int* kept = nullptr)
{
    vorn::ParamList params;
    const int count = vorn::ParseURLEncodedPairs(line, params);
    if (kept != nullptr)
        *kept = count;
    std::map<std::string, std::string> found;
    for (const char* name : {"a", "b", "c", "a b", "", "x=y", "é"}) {
        if (const char* value = params.Find(name))
            found[name] = value;
    }
    return found;
}

TEST(URLDecodeTest, SplitsPairsAsTheRequestContextExpects)
{
    using Map = std::map<std::string, std::string>;
    struct Row {
        const char* description;
        const char* line;
        int kept;
        Map expected;
    };
    const Row rows[] = {
        {"two pairs", "a=1&b=2", 2, {{"a", "1"}, {"b", "2"}}},
        {"first occurrence wins", "a=1&a=2&b=3", 2, {{"a", "1"}, {"b", "3"}}},
        {"value split at the first '='", "a=x=y", 1, {{"a", "x=y"}}},
        {"encoded name", "x%3Dy=1&a%20b=2", 2, {{"x=y", "1"}, {"a b", "2"}}},
        {"pair without '='", "a&b=2", 2, {{"a", ""}, {"b", "2"}}},
        {"empty pairs skipped", "&&a=1&&", 1, {{"a", "1"}}},
        {"empty name dropped", "=1&b=2", 1, {{"b", "2"}}},
        {"a lone percent is a name", "%=1&b=2", 2, {{"b", "2"}}},
        {"NUL in a value drops the pair", "a=x%00y&b=2", 1, {{"b", "2"}}},
        {"NUL in a name drops the pair", "a%00=1&a=2", 1, {{"a", "2"}}},
        {"malformed percent kept", "a=50%&b=%zz", 2, {{"a", "50%"}, {"b", "%zz"}}},
        {"UTF-8 name", "%C3%A9=acute", 1, {{"é", "acute"}}},
        {"empty line", "", 0, {}},
    };
    for (const Row& row : rows) {
        int kept = -1;
        EXPECT_EQ(Pairs(row.line, &kept), row.expected) << row.description;
        EXPECT_EQ(kept, row.kept) << row.description;
    }
}

TEST(URLEncodeTest, KeepsUnreservedAndEncodesEveryOtherByte)
{
    struct Row {
        std::string text;
        const char* encoded;
    };
    const Row rows[] = {
        {"AZaz09-._~", "AZaz09-._~"},
        {"a b+c", "a%20b%2Bc"},
        {"/?#[]@!$&'()*,;=%", "%2F%3F%23%5B%5D%40%21%24%26%27%28%29%2A%2C%3B%3D%25"},
        {"\xE2\x82\xAC", "%E2%82%AC"},
        {"\r\n\x7f", "%0D%0A%7F"},
        {"", ""},
    };
    for (const Row& row : rows) {
        char out[128];
        const int length = VornCgiURLEncode(row.text.c_str(), out, sizeof out - 1);
        EXPECT_STREQ(out, row.encoded) << row.text;
        EXPECT_EQ(length, static_cast<int>(strlen(row.encoded)));
    }
}

TEST(URLEncodeTest, TooSmallRoomCutsOnAWholeCharacter)
{
    struct Row {
        int room;
        const char* expected;
    };
    const Row rows[] = {{0, ""}, {1, "a"}, {2, "a"}, {3, "a"}, {4, "a%2F"}, {5, "a%2Fb"}};
    for (const Row& row : rows) {
        char out[16];
        EXPECT_EQ(VornCgiURLEncode("a/b/", out, row.room), -1) << row.room;
        EXPECT_STREQ(out, row.expected) << row.room;
    }
    char out[8];
    EXPECT_EQ(VornCgiURLEncode("a/b", out, 5), 5) << "the room is exactly enough";
    EXPECT_EQ(VornCgiURLEncode(nullptr, out, 5), -1);
}

}  // namespace
