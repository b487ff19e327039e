// A user's privilege on the share that holds a path: the mapping of the
// platform's privilege and attribute word, the list and fetch checks, user
// homes, and the file accessor's inverted share test.

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman_file_share.h>
#include <vorn/err.h>
#include <vorn/share.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::WithoutLineNumbers;

class SharePrivilegeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        root_.WriteFile(VORN_SHARE_FILE,
                        "[public]\npath=/volume1/public\nrw=@users\ndeny=bob\n"
                        "[photos]\npath=/volume1/photos\nro=@staff\nattr=4\nhide_unreadable=yes\n"
                        "[secret]\npath=/volume1/secret\nrw=admin\nattr=1\nencrypted=yes\n"
                        "[homes]\npath=/volume1/homes\nrw=@administrators\n");
        root_.MakeDirs("/volume1/public/a/b");
        root_.MakeDirs("/home/alice/docs");
    }
    arx_testing::TempRoot root_;
    WebmanFileShare fs_;
};

TEST_F(SharePrivilegeTest, PlatformPrivilegeAndAttributeWord)
{
    constexpr int kUntouched = 3;  // no privilege's value, yet one the type can hold
    struct Row { const char* path; const char* user; int result; int priv; int extra; WEBFMERR error; };
    const Row rows[] = {
        {"/public/a", "alice", 0, WEBFM_SHARE_PRIV_RW, 0, WEBFM_ERR_NONE},
        {"/public", "bob", 0, WEBFM_SHARE_PRIV_NONE, 0, WEBFM_ERR_NONE},  // denied
        {"/photos/x", "alice", 0, WEBFM_SHARE_PRIV_RO, 4, WEBFM_ERR_NONE},
        {"/photos/x", "admin", 0, WEBFM_SHARE_PRIV_RW, 0, WEBFM_ERR_NONE},  // administrators: no attribute bits
        {"/secret", "alice", 0, WEBFM_SHARE_PRIV_NONE, 1, WEBFM_ERR_NONE},
        {"/secret", "admin", 0, WEBFM_SHARE_PRIV_RW, 0, WEBFM_ERR_NONE},
        {"/Public/a", "alice", -1, kUntouched, -1, WEBFM_ERR_NOT_FOUND},  // a name in another case is no share
        {"/nothing", "alice", -1, kUntouched, -1, WEBFM_ERR_NOT_FOUND},
        {"public", "alice", -1, kUntouched, -1, WEBFM_ERR_BAD_PATH},
        {"/", "alice", -1, kUntouched, -1, WEBFM_ERR_BAD_PATH},
        {"/public", nullptr, -1, kUntouched, -1, WEBFM_ERR_BAD_PATH},
    };
    for (const Row& row : rows) {
        WEBFM_SHARE_PRIVILEGE priv = static_cast<WEBFM_SHARE_PRIVILEGE>(kUntouched);
        int extra = -1;
        EXPECT_EQ(fs_.WfmLibGetPrivilege(row.path, row.user, "", &priv, &extra), row.result) << row.path;
        EXPECT_EQ(static_cast<int>(priv), row.priv) << row.path << " " << (row.user ? row.user : "NULL");
        EXPECT_EQ(extra, row.extra) << row.path;
        EXPECT_EQ(WfmLibGetErr(), row.error) << row.path;
    }
    // Exactly the privilege asked for, not "at least".
    EXPECT_EQ(fs_.WfmLibHasPrivilege("/photos", "alice", "", WEBFM_SHARE_PRIV_RO), 1);
    EXPECT_EQ(fs_.WfmLibHasPrivilege("/photos", "admin", "", WEBFM_SHARE_PRIV_RO), 0);
    EXPECT_EQ(fs_.WfmLibHasPrivilege("/nothing", "admin", "", WEBFM_SHARE_PRIV_RO), -1);
    arx_testing::LogCapture log;
    EXPECT_EQ(fs_.WfmLibHasPrivilege(nullptr, "admin", "", WEBFM_SHARE_PRIV_RO), -1);
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_BAD_PATH);
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"file_share(#): bad parameter! username=admin, path=(null)"});
}

TEST_F(SharePrivilegeTest, ListingAndFetchingFilesAndHomes)
{
    struct Row { const char* user; const char* path; bool list; bool fetch; };
    const Row rows[] = {
        {"alice", "/public/a", true, true},
        {"alice", "/photos", true, false},  // read-only, and files may not be fetched
        {"alice", "/secret", false, false},
        {"admin", "/secret", true, true},   // the attribute word binds ordinary users only
        {"bob", "/public", false, false},
        {"alice", "/home/docs", true, true},
        {"alice", "/homes/alice/x", true, true},
        {"alice", "/homes/ALICE", true, true},
        {"alice", "/homes/bob", false, false},
        {"admin", "/homes/bob", true, true},
        {"alice", "", false, false},
        {"alice", "/nothing", false, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(fs_.CheckShareListPrivilege(row.user, "", row.path), row.list) << row.user << " " << row.path;
        EXPECT_EQ(fs_.CheckShareDownloadPrivilege(row.user, "", row.path), row.fetch) << row.user << " " << row.path;
    }
    arx_testing::LogCapture log;
    fs_.CheckShareListPrivilege("alice", "", "/nothing");
    fs_.CheckShareListPrivilege("alice", "", "/secret");
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{"file_share(#): VORNShareGet nothing fail",
                                        "file_share:# Gailed to check privilege of path /nothing, reason=[6] ",
                                        "file_share:# No privilege in path /secret"}));
}

TEST_F(SharePrivilegeTest, UserHomes)
{
    struct Row { const char* path; const char* user; bool home; };
    const Row rows[] = {
        {"home", nullptr, true},         {"/home", nullptr, true},         {"/home/x", nullptr, true},
        {"/homex", nullptr, false},      {"/homes/ann", nullptr, false},   {"/homes/Ann/x", "ann", true},
        {"/homes/ann", "ann", true},     {"/homes/annx", "ann", false},    {"/homes", "ann", false},
        {"/home/x", "ann", true},        {"/public", "ann", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(fs_.IsDirUserHome(row.path, row.user), row.home) << row.path << " " << (row.user ? row.user : "");

    bool encrypted = false;
    EXPECT_TRUE(fs_.IsEncryptShare("secret", encrypted));
    EXPECT_TRUE(encrypted);
    EXPECT_TRUE(fs_.WfmLibCheckEncryptShare("public", encrypted));
    EXPECT_FALSE(encrypted);
    encrypted = true;
    EXPECT_TRUE(fs_.IsEncryptShare("home", encrypted));
    EXPECT_TRUE(encrypted) << "a home leaves the answer untouched";
    EXPECT_FALSE(fs_.IsEncryptShare("nothing", encrypted));
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_NOT_FOUND);
}

TEST_F(SharePrivilegeTest, FullPathsOfRequestPaths)
{
    struct Row { const char* path; const char* user; bool ok; std::string full; const char* rest; WEBFMERR error; };
    const Row rows[] = {
        {"/public/a/b", "alice", true, root_.Path("/volume1/public/a/b"), "a/b", WEBFM_ERR_NONE},
        {"/public/", "alice", true, root_.Path("/volume1/public"), "", WEBFM_ERR_NONE},
        {"/home/docs", "alice", true, root_.Path("/home/alice/docs"), "docs", WEBFM_ERR_NONE},
        {"/homes/alice", "alice", true, root_.Path("/volume1/homes/alice"), "alice", WEBFM_ERR_NONE},
        {"/nothing/x", "alice", false, "", "", WEBFM_ERR_NOT_FOUND},
        {"/home/x", "bob", false, "", "", WEBFM_ERR_BAD_PATH},  // no home directory
        {"/public", "", false, "", "", WEBFM_ERR_BAD_PARAMETER},
        {"", "alice", false, "", "", WEBFM_ERR_BAD_PARAMETER},
    };
    for (const Row& row : rows) {
        std::string full;
        std::string share;
        std::string folder;
        std::string rest;
        EXPECT_EQ(fs_.WfmFullPathGet(row.path, full, share, folder, rest, row.user), row.ok) << row.path;
        EXPECT_EQ(full, row.full) << row.path;
        EXPECT_EQ(rest, row.rest) << row.path;
        EXPECT_EQ(WfmLibGetErr(), row.error) << row.path;
    }
}

TEST_F(SharePrivilegeTest, TheFileAccessorsShareTestIsInverted)
{
    VORNPrivilege::FileAccessor accessor;
    EXPECT_TRUE(accessor.CheckSharePrivilege("/photos", "alice", "", WEBFM_SHARE_PRIV_RW)) << "1 is not 2";
    EXPECT_FALSE(accessor.CheckSharePrivilege("/photos", "alice", "", WEBFM_SHARE_PRIV_RO));
    EXPECT_TRUE(accessor.HasSharePrivilege("/public", "alice", ""));
    EXPECT_FALSE(accessor.HasSharePrivilege("/secret", "alice", ""));
    EXPECT_TRUE(accessor.HasSharePrivilege("/nothing", "alice", "")) << "a failed lookup differs from none";
    EXPECT_FALSE(accessor.HasPrivilege("/secret", "alice", "", 1)) << "the share first";
    EXPECT_TRUE(accessor.HasShareListPrivilege("/photos", "alice", ""));
    EXPECT_FALSE(accessor.HasShareDownloadPrivilege("/photos", "alice", ""));
    EXPECT_EQ(accessor.GetFullPath("/public/a", "alice"), root_.Path("/volume1/public/a"));
    EXPECT_EQ(accessor.GetFullPath("/nothing/a", "alice"), "");

    arx_testing::LogCapture log;
    EXPECT_EQ(accessor.GetACLPrivilege(root_.Path("/volume1/public/none")), 8191u);
    EXPECT_TRUE(log.texts().empty()) << "a missing path is not worth a line";
    EXPECT_FALSE(accessor.ACLAccess(root_.Path("/volume1/public/a"), 0));
    EXPECT_FALSE(accessor.ACLAccess("", 1));
    EXPECT_FALSE(accessor.ACLAccess(root_.Path("/volume1/public/none"), 1));
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PATH_NOT_FOUND);
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"file_share:# Failed to get the ACL Privilege: file = " +
                                       root_.Path("/volume1/public/none") + ", reason=[ERR_PATH_NOT_FOUND]"});
    if (geteuid() == 0) {
        EXPECT_TRUE(accessor.ACLAccess(root_.Path("/volume1/public/a"), 1 | 2 | 4 | 8)) << "root";
        EXPECT_TRUE(accessor.HasPrivilege("/public/a", "alice", "", 1 | 4));
    }
}

}  // namespace
