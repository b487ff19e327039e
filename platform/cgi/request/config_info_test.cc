#include <string>

#include <gtest/gtest.h>
#include <vorn/cgi.h>

#include "testing/cgi_record.h"
#include "testing/temp_root.h"

namespace {

TEST(ConfigInfoTest, CurrentValuesStandBeforeTheFactoryDefaults)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf",
                   "language=\"enu\"\nhttp_port=\"5000\"\nonly_default=\"d\"\nblank_default=\"\"\n");
    root.WriteFile("/etc/vorninfo.conf",
                   "language=\"ger\"\nhttp_port=\"\"\nonly_current=\"c\"\ntwice=\"1\"\ntwice=\"2\"\n");
    arx_testing::CgiRecord cgi;
    ASSERT_EQ(VornCgiLoadInfo(cgi.get()), 0);

    struct Row {
        const char* key;
        const char* info;
        const char* def;
    };
    const Row rows[] = {
        {"language", "ger", "enu"},          // current wins
        {"http_port", "5000", "5000"},       // empty current value: the default
        {"only_default", "d", "d"},
        {"only_current", "c", "(none)"},
        {"twice", "2", "(none)"},            // the last line wins
        {"blank_default", "(none)", "(none)"},
        {"missing", "(none)", "(none)"},
    };
    for (const Row& row : rows) {
        EXPECT_STREQ(VornCgiGetInfo(cgi.get(), row.key, "(none)"), row.info) << row.key;
        EXPECT_STREQ(VornCgiGetDef(cgi.get(), row.key, "(none)"), row.def) << row.key;
    }
    EXPECT_EQ(VornCgiGetInfo(cgi.get(), "missing", nullptr), nullptr);
    EXPECT_STREQ(VornCgiGetInfo(cgi.get(), nullptr, "d"), "d");
}

TEST(ConfigInfoTest, MissingFilesAreEmptyConfigurations)
{
    arx_testing::TempRoot root;
    arx_testing::CgiRecord cgi;
    EXPECT_EQ(VornCgiLoadInfo(cgi.get()), 0);
    EXPECT_STREQ(VornCgiGetInfo(cgi.get(), "language", "enu"), "enu");
    EXPECT_EQ(VornCgiLoadInfo(nullptr), -1);
    EXPECT_STREQ(VornCgiGetInfo(nullptr, "language", "x"), "x");
}

}  // namespace
