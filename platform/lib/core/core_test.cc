// Logging and the root mapping.

#include <errno.h>
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "testing/log_capture.h"

namespace {

TEST(LogTest, FormatsOneLineWithItsPriorityAndKeepsErrno)
{
    arx_testing::LogCapture log;
    VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ~%s(%d)", "run_as", 12, "IF_RUN_AS", 0);
    errno = ENOENT;
    VLIBCLog(LOG_ERR, "open failed: %m");
    EXPECT_EQ(errno, ENOENT);
    VLIBCLog(LOG_ERR, "agent %s", std::string(20000, 'a').c_str());
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_CRIT);
    EXPECT_EQ(log.texts()[0], "run_as:12 ~IF_RUN_AS(0)");
    EXPECT_EQ(log.texts()[1], "open failed: No such file or directory");
    EXPECT_EQ(log.texts()[2].size(), 8191u) << "cut, not overrun";
}

std::string Mapped(const char* root, const char* path, int size = 256)
{
    root != nullptr ? setenv("VORN_ROOT", root, 1) : unsetenv("VORN_ROOT");
    VORNRootReload();
    char out[256] = "";
    const int length = VORNRootPath(path, out, size);
    unsetenv("VORN_ROOT");
    return length >= 0 ? out : std::string("<error> ") + out;
}

TEST(RootTest, MapsFixedPathsIntoTheRoot)
{
    struct Row { const char* root; const char* path; int size; const char* expected; };
    const Row rows[] = {
        {nullptr, "/etc/vorninfo.conf", 256, "/etc/vorninfo.conf"},  // unset: the real root
        {"/", "/etc/vorninfo.conf", 256, "/etc/vorninfo.conf"},
        {"/tmp/r///", "/run/csp/rule", 256, "/tmp/r/run/csp/rule"},  // trailing slashes dropped
        {"relative/dir", "/etc/passwd", 256, "/etc/passwd"},         // a relative root is ignored
        {"/tmp/r", "etc/passwd", 256, "<error> "},                   // only absolute paths map
        {"/tmp/root", "/etc/vorninfo.conf", 8, "<error> /tmp/ro"},   // too long: refused and cut
    };
    for (const Row& row : rows)
        EXPECT_EQ(Mapped(row.root, row.path, row.size), row.expected) << (row.root ? row.root : "(unset)");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BUFFER_TOO_SMALL);
    char out[64];
    setenv("VORN_ROOT", "/tmp/second", 1);
    ASSERT_GE(VORNRootPath("/x", out, sizeof out), 0);
    EXPECT_STREQ(out, "/tmp/root/x") << "read once per process";
    unsetenv("VORN_ROOT");
    VORNRootReload();
}

}  // namespace
