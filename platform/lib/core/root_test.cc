#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/root.h>

namespace {

class RootTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        unsetenv("VORN_ROOT");
        VORNRootReload();
    }

    static std::string Mapped(const char* root, const char* path)
    {
        if (root == nullptr)
            unsetenv("VORN_ROOT");
        else
            setenv("VORN_ROOT", root, 1);
        VORNRootReload();
        char out[256];
        return VORNRootPath(path, out, sizeof out) >= 0 ? out : "<error>";
    }
};

TEST_F(RootTest, MapsFixedPathsIntoTheRoot)
{
    struct Row {
        const char* root;
        const char* path;
        const char* expected;
    };
    const Row rows[] = {
        {nullptr, "/etc/vorninfo.conf", "/etc/vorninfo.conf"},         // unset: the real root
        {"", "/etc/vorninfo.conf", "/etc/vorninfo.conf"},              // empty: the real root
        {"/", "/etc/vorninfo.conf", "/etc/vorninfo.conf"},             // "/" itself
        {"/tmp/r", "/etc/vorninfo.conf", "/tmp/r/etc/vorninfo.conf"},  // a scratch root
        {"/tmp/r///", "/run/csp/rule", "/tmp/r/run/csp/rule"},         // trailing slashes dropped
        {"relative/dir", "/etc/passwd", "/etc/passwd"},                // a relative root is ignored
        {"/tmp/r", "etc/passwd", "<error>"},                           // only absolute paths map
    };
    for (const Row& row : rows)
        EXPECT_EQ(Mapped(row.root, row.path), row.expected) << (row.root ? row.root : "(unset)") << " " << row.path;
}

TEST_F(RootTest, RootIsReadOncePerProcess)
{
    EXPECT_EQ(Mapped("/tmp/first", "/x"), "/tmp/first/x");
    setenv("VORN_ROOT", "/tmp/second", 1);
    char out[64];
    ASSERT_GE(VORNRootPath("/x", out, sizeof out), 0);
    EXPECT_STREQ(out, "/tmp/first/x");
}

TEST_F(RootTest, ResultThatDoesNotFitIsRefusedAndCut)
{
    setenv("VORN_ROOT", "/tmp/root", 1);
    VORNRootReload();
    char out[8];
    EXPECT_EQ(VORNRootPath("/etc/vorninfo.conf", out, sizeof out), -1);
    EXPECT_STREQ(out, "/tmp/ro");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(VORNRootPath(nullptr, out, sizeof out), -1);
    EXPECT_EQ(VORNRootPath("/x", nullptr, 0), -1);
}

}  // namespace
