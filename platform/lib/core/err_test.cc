#include <gtest/gtest.h>
#include <vorn/err.h>

namespace {

TEST(LastErrorTest, KeepsTheLastCodeWithItsPlace)
{
    VLIBCErrSetEx(VLIB_ERR_LOCK_FAILED, "first.c", 10);
    VLIBCErrSetEx(VLIB_ERR_FORMAT, "second.c", 20);
    EXPECT_EQ(VLIBCErrGet(), 0x4000);
    EXPECT_STREQ(VLIBCErrorGetFile(), "second.c");
    EXPECT_EQ(VLIBCErrorGetLine(), 20);

    VLIBCErrSetEx(VLIB_ERR_NONE, nullptr, 0);
    EXPECT_EQ(VLIBCErrGet(), 0);
    EXPECT_STREQ(VLIBCErrorGetFile(), "");
}

TEST(LastErrorTest, MacroRecordsTheCallSite)
{
    const int line = __LINE__ + 1;
    VLIBCErrSet(VLIB_ERR_NOT_FOUND);
    EXPECT_EQ(VLIBCErrorGetLine(), line);
    EXPECT_NE(std::string(VLIBCErrorGetFile()).find("err_test.cc"), std::string::npos);
}

}  // namespace
