#include <string>

#include <gtest/gtest.h>
#include <vorn/file.h>

#include "testing/temp_root.h"

namespace {

const char kStrings[] =
    "orphan = before any section\n"
    "\xEF\xBB\xBF[common]\n"
    "ok = \"OK\"\n"
    "# comment = no\n"
    "quoted = \"say \"hi\"\"\n"
    "lone = \"\n"
    "no equals sign\n"
    "=empty key\n"
    "[ spaced name ]\n"
    "key = spaced\n"
    "[login]\n"
    "error_timeout = first\n"
    "[login\n"
    "error_timeout = still login\n"
    "[other]\n"
    "x = 1\n"
    "[login]\n"
    "error_system = \"after the second header\"\n"
    "\xEF\xBB\xBF  error_noprivilege=\"bom on a later line\"  \r\n"
    "\"quoted key\" = qk\n";

TEST(SectionFileTest, LooksUpKeysAsTheStringsFormatSays)
{
    struct Row {
        const char* section;
        const char* key;
        int expectedResult;
        const char* expectedValue;
    };
    const Row rows[] = {
        {"common", "ok", 2, "OK"},                                  // byte-order mark before the header
        {"common", "quoted", 8, "say \"hi\""},                      // only the outer quotes go
        {"common", "lone", 1, "\""},                                // a lone quote stays
        {"common", "", 9, "empty key"},                             // a line starting with '='
        {"common", "# comment", -1, "no such key"},                 // comments are not keys
        {"common", "orphan", -1, "no such key"},                    // keys before any section belong to none
        {" spaced name ", "key", 6, "spaced"},                      // inner blanks of a name kept
        {"spaced name", "key", -1, "no such section"},
        {"login", "error_timeout", -1, "no such key"},              // a repeated header starts over
        {"login", "error_system", 23, "after the second header"},
        {"login", "error_noprivilege", 19, "bom on a later line"},
        {"login", "quoted key", 2, "qk"},
        {"missing", "x", -1, "no such section"},
    };
    arx_testing::TempRoot root;
    root.WriteFile("/texts/enu/strings", kStrings);
    for (const Row& row : rows) {
        char buffer[64] = "";
        EXPECT_EQ(VLIBCFileGetSectionValue(root.Path("/texts/enu/strings").c_str(), row.section, row.key, buffer,
                                           sizeof buffer),
                  row.expectedResult)
            << row.section << ":" << row.key;
        EXPECT_STREQ(buffer, row.expectedValue) << row.section << ":" << row.key;
    }
}

TEST(SectionFileTest, LongValuesAreCutToTheBuffer)
{
    arx_testing::TempRoot root;
    root.WriteFile("/strings", "[s]\nk = " + std::string(2000, 'v') + "\n");
    char buffer[1024];
    EXPECT_EQ(VLIBCFileGetSectionValue(root.Path("/strings").c_str(), "s", "k", buffer, sizeof buffer), 1023);
    EXPECT_EQ(std::string(buffer), std::string(1023, 'v'));
}

TEST(SectionFileTest, UnreadableFileGivesMinusOneWithTheReason)
{
    arx_testing::TempRoot root;
    char buffer[64];
    EXPECT_EQ(VLIBCFileGetSectionValue(root.Path("/missing").c_str(), "s", "k", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "No such file or directory");
    EXPECT_EQ(VLIBCFileGetSectionValue(nullptr, "s", "k", buffer, sizeof buffer), -1);
}

}  // namespace
