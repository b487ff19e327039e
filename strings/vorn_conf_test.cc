#include <gtest/gtest.h>

#include <arx/vorn_conf.h>

#include "testing/temp_root.h"

namespace {

class VornConfTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_.WriteFile("/etc.defaults/vorninfo.conf", "k=\"no\"\nnum=\"7\"\ndefault_only=\"Yes\"\n");
        root_.WriteFile("/etc/vorninfo.conf", "k=\"yes\"\nnum=\"12abc\"\nword=\"abc\"\nbig=\"4294967297\"\n");
    }
    arx_testing::TempRoot root_;
};

TEST_F(VornConfTest, TypedReads)
{
    VornConf conf;
    struct Row {
        const char* key;
        int defaultValue;
        int expected;
    };
    const Row rows[] = {
        {"num", -1, 12},      // digits up to the first other character
        {"word", -1, 0},      // no number at all
        {"missing", -1, -1},  // the default
        {"big", -1, 1},       // cut to 32 bits
        {"k", 5, 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(conf.InfoInt(row.key, row.defaultValue), row.expected) << row.key;
    EXPECT_STREQ(conf.Info("k", "d"), "yes");
    EXPECT_STREQ(conf.Def("k", "d"), "no");
    EXPECT_STREQ(conf.Def("word", "d"), "d");
}

TEST_F(VornConfTest, ComparingReads)
{
    VornConf conf;
    struct Row {
        const char* key;
        const char* expected;
        bool resultIfMissing;
        bool info;
        bool def;
    };
    const Row rows[] = {
        {"k", "YES", false, true, false},             // case is ignored
        {"k", "no", true, false, true},
        {"missing", "x", true, true, true},           // missing: as asked
        {"missing", "x", false, false, false},
        {"default_only", "yes", false, true, true},   // current falls back to the default
        {nullptr, "x", true, false, false},           // a NULL argument wins over resultIfMissing
        {"k", nullptr, true, false, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(conf.InfoCheckValue(row.key, row.expected, row.resultIfMissing), row.info)
            << (row.key ? row.key : "(null)") << " " << (row.expected ? row.expected : "(null)");
        EXPECT_EQ(conf.DefCheckValue(row.key, row.expected, row.resultIfMissing), row.def)
            << (row.key ? row.key : "(null)") << " " << (row.expected ? row.expected : "(null)");
    }
}

}  // namespace
