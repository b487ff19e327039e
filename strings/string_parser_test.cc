#include <string>

#include <gtest/gtest.h>

#include <arx/string_parser.h>

#include "testing/temp_root.h"

namespace {

using VORN::PAD::StringParser;

TEST(StringParserTest, ReplaceStringGoesLeftToRightWithoutOverlap)
{
    struct Row {
        std::string text, from, to, expected;
    };
    const Row rows[] = {
        {"aaa", "aa", "b", "ba"},
        {"a-b-c", "-", "--", "a--b--c"},      // the inserted text is not searched again
        {"abc", "b", "", "ac"},
        {"abc", "x", "y", "abc"},
        {"", "a", "b", ""},
        {"xx", "x", "xx", "xxxx"},
        {"ab", "", "-", "-a-b-"},             // empty from: before every character and at the end
        {"ab", "", "", "ab"},
        {"%HARBOR%%HARBOR%", "%HARBOR%", "H", "HH"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(StringParser::ReplaceString(row.text, row.from, row.to), row.expected)
            << row.text << " / " << row.from << " / " << row.to;
}

TEST(StringParserTest, PlaceholdersTakeTheFactoryNames)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf", "product=\"Beacon\"\nos_name=\"BeaconOS\"\n");
    EXPECT_EQ(StringParser::ReplaceStringText("Welcome to %HARBOR% (_OSNAME_), _HARBOR_ on %OSNAME%"),
              "Welcome to Beacon (BeaconOS), Beacon on BeaconOS");

    // Read once per process: a later change of the file is not seen.
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
