#include <string>

#include <gtest/gtest.h>

#include <arx/string_parser.h>

#include "testing/temp_root.h"

namespace {

using VORN::PAD::StringParser;

TEST(StringParserTest, ReplaceStringGoesLeftToRightWithoutOverlap)
{
    struct Row {
        const char* description;
        std::string text, from, to, expected;
    };
    const Row rows[] = {
        {"no overlap", "aaa", "aa", "b", "ba"},
        {"the inserted text is not searched again", "a-b-c", "-", "--", "a--b--c"},
        {"empty from: before every character and at the end", "ab", "", "-", "-a-b-"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(StringParser::ReplaceString(row.text, row.from, row.to), row.expected) << row.description;
}

// The names are read once per process, and every test runs in a process of
// its own.
TEST(StringParserTest, PlaceholdersTakeTheFactoryNamesReadOnce)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf", "product=\"Beacon\"\nos_name=\"BeaconOS\"\n");
    EXPECT_EQ(StringParser::ReplaceStringText("Welcome to %HARBOR% (_OSNAME_), _HARBOR_ on %OSNAME%"),
              "Welcome to Beacon (BeaconOS), Beacon on BeaconOS");
    root.WriteFile("/etc.defaults/vorninfo.conf", "product=\"Other\"\n");
    EXPECT_EQ(StringParser::ReplaceStringText("%HARBOR%"), "Beacon");
}

TEST(StringParserTest, MissingNamesFallBackToTheBuiltInOnes)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf", "product=\"\"\n");
    EXPECT_EQ(StringParser::ReplaceStringText("Welcome to %HARBOR% (_OSNAME_)"), "Welcome to Harbor (ARX)");
}

}  // namespace
