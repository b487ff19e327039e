// VornConf over the platform's configuration record, whose precedence of
// current values over factory defaults platform/cgi/request/config_info_test.cc
// covers.

#include <gtest/gtest.h>

#include <arx/vorn_conf.h>

#include "testing/temp_root.h"

namespace {

TEST(VornConfTest, ReadsOfCurrentValuesAndFactoryDefaults)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf", "k=\"no\"\nnum=\"7\"\n");
    root.WriteFile("/etc/vorninfo.conf", "k=\"yes\"\nnum=\"12abc\"\nword=\"abc\"\nbig=\"4294967297\"\n");
    VornConf conf;

    struct Number {
        const char* description;
        const char* key;
        int value;  // with -1 as the default
    };
    const Number numbers[] = {
        {"digits up to the first other character", "num", 12},
        {"no number at all", "word", 0},
        {"missing: the default", "missing", -1},
        {"cut to 32 bits", "big", 1},
    };
    for (const Number& row : numbers)
        EXPECT_EQ(conf.InfoInt(row.key, -1), row.value) << row.description;

    struct Check {
        const char* description;
        const char* key;
        const char* expected;
        bool resultIfMissing;
        bool info, def;
    };
    const Check checks[] = {
        {"case is ignored", "k", "YES", false, true, false},
        {"current and factory values differ", "k", "no", true, false, true},
        {"missing: as asked", "missing", "x", true, true, true},
        {"missing: as asked", "missing", "x", false, false, false},
        {"a NULL key wins over resultIfMissing", nullptr, "x", true, false, false},
        {"a NULL expected value too", "k", nullptr, true, false, false},
    };
    for (const Check& row : checks) {
        EXPECT_EQ(conf.InfoCheckValue(row.key, row.expected, row.resultIfMissing), row.info) << row.description;
        EXPECT_EQ(conf.DefCheckValue(row.key, row.expected, row.resultIfMissing), row.def) << row.description;
    }
}

}  // namespace
