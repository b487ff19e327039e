#include <errno.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/log.h>

#include "testing/log_capture.h"

namespace {

TEST(LogTest, FormatsTheLineAndPassesThePriority)
{
    arx_testing::LogCapture log;
    VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", "run_as", 12, "IF_RUN_AS", 0, 0);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_CRIT);
    EXPECT_EQ(log.lines()[0].text, "run_as:12 ERROR: ~IF_RUN_AS(0, 0)");
}

TEST(LogTest, PercentMNamesTheCallersErrnoAndLeavesItIntact)
{
    arx_testing::LogCapture log;
    errno = ENOENT;
    VLIBCLog(LOG_ERR, "open failed: %m");
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(log.texts().size(), 1u);
    EXPECT_EQ(log.texts()[0], "open failed: No such file or directory");
}

TEST(LogTest, VeryLongLinesAreCutNotOverrun)
{
    arx_testing::LogCapture log;
    const std::string agent(20000, 'a');
    VLIBCLog(LOG_ERR, "agent %s", agent.c_str());
    ASSERT_EQ(log.texts().size(), 1u);
    EXPECT_EQ(log.texts()[0].size(), 8191u);
}

}  // namespace
