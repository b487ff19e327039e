// Shared folders from the root's share.conf: exact names, the share that
// holds a path, and each user's privilege.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/share.h>

#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

constexpr char kShares[] =
    "# shares\n"
    "[public]\npath=/volume1/public/\nrw=@users\nro=\ndeny=bob\nattr=0\n"
    "[photos]\npath=/volume1/photos\nro=@staff, carol\nrw=ADMIN\nhide_unreadable=yes\nattr=0x4\n"
    "[caf\xc3\xa9]\npath=/volume1/cafe\nrw=alice\nencrypted=yes\n"
    "[nested]\npath=/volume1/public/inner\nro=alice\n"
    "[nopath]\nro=alice\n"
    "[relative]\npath=volume1/x\n"
    "[public]\npath=/volume1/public\nrw=@users\ndeny=bob\n";  // named again: these keys count

class ShareTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        root_.WriteFile(VORN_SHARE_FILE, kShares);
    }
    arx_testing::TempRoot root_;
};

TEST_F(ShareTest, RecordsAreFoundByTheirExactNameOnly)
{
    VORNSHARE* share = nullptr;
    ASSERT_EQ(VORNShareGet("photos", &share), 0);
    EXPECT_STREQ(share->szName, "photos");
    EXPECT_EQ(share->szPath, root_.Path("/volume1/photos"));
    EXPECT_STREQ(share->szRO, "@staff, carol");
    EXPECT_EQ(share->attr, 4u);
    EXPECT_EQ(share->hideUnreadable, 1);
    EXPECT_EQ(VLIBShareHideUnreadableGet(share), 1);
    VORNShareFree(share);

    struct Row { const char* name; int code; };
    const Row refused[] = {
        {"Photos", VLIB_ERR_NOT_FOUND},         // another case is another name
        {"PHOTOS", VLIB_ERR_NOT_FOUND},
        {"cafe\xcc\x81", VLIB_ERR_NOT_FOUND},   // the same word in normalisation form D
        {"CAF\xc3\x89", VLIB_ERR_NOT_FOUND},
        {"nopath", VLIB_ERR_NO_VOLUME},
        {"relative", VLIB_ERR_NO_VOLUME},
        {"", VLIB_ERR_BAD_PARAMETERS},
        {"public/..", VLIB_ERR_BAD_PARAMETERS},
        {"pub\nlic", VLIB_ERR_BAD_PARAMETERS},
    };
    for (const Row& row : refused) {
        share = nullptr;
        EXPECT_EQ(VORNShareGet(row.name, &share), -1) << row.name;
        EXPECT_EQ(VLIBCErrGet(), row.code) << row.name;
        EXPECT_EQ(share, nullptr);
    }
    ASSERT_EQ(VORNShareGet("caf\xc3\xa9", &share), 0);
    EXPECT_EQ(share->encrypted, 1);
    EXPECT_STREQ(share->szDeny, "");
    VORNShareFree(share);
    ASSERT_EQ(VORNShareGet("public", &share), 0);
    EXPECT_STREQ(share->szRO, "") << "the keys of the last occurrence";
    VORNShareFree(share);
}

TEST_F(ShareTest, NamesInFileOrderAndTheShareThatHoldsAPath)
{
    VLIBSZLIST* names = VLIBCSzListAlloc(2);
    ASSERT_EQ(VORNShareEnum(&names), 6);
    std::vector<std::string> listed;
    for (int i = 0; i < names->nItem; ++i)
        listed.push_back(VLIBCSzListGet(names, i));
    VLIBCSzListFree(names);
    EXPECT_EQ(listed, (std::vector<std::string>{"public", "photos", "caf\xc3\xa9", "nested", "nopath", "relative"}));

    struct Row { std::string path; const char* name; std::string folder; };
    const Row rows[] = {
        {root_.Path("/volume1/public/a/b"), "public", root_.Path("/volume1/public")},
        {root_.Path("/volume1/public/inner/x"), "nested", root_.Path("/volume1/public/inner")},  // the longest
        {root_.Path("/volume1/public/inner"), "nested", root_.Path("/volume1/public/inner")},
        {root_.Path("/volume1/public/innerx"), "public", root_.Path("/volume1/public")},  // whole elements
        {root_.Path("/volume1/photos/"), "photos", root_.Path("/volume1/photos")},
        {root_.Path("/volume1/photosx"), nullptr, ""},
        {"/volume1/public", nullptr, ""},  // outside the root
    };
    for (const Row& row : rows) {
        char name[256] = "";
        char folder[4096] = "";
        EXPECT_EQ(VORNShareNamePathGet(row.path.c_str(), name, sizeof name, folder, sizeof folder),
                  row.name != nullptr ? 0 : -1) << row.path;
        EXPECT_STREQ(name, row.name != nullptr ? row.name : "") << row.path;
        EXPECT_EQ(folder, row.folder) << row.path;
    }
    char small[4];
    char folder[4096];
    EXPECT_EQ(VORNShareNamePathGet(rows[0].path.c_str(), small, sizeof small, folder, sizeof folder), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BUFFER_TOO_SMALL);
}

TEST_F(ShareTest, DenyWinsThenReadWriteThenReadOnly)
{
    struct Row { const char* share; const char* user; int privilege; };
    const Row rows[] = {
        {"public", "alice", VORN_SHARE_PRIV_RW},   // @users: her primary group
        {"public", "bob", VORN_SHARE_PRIV_NONE},   // in @users, but denied
        {"public", "admin", VORN_SHARE_PRIV_RW},   // administrators may write
        {"photos", "alice", VORN_SHARE_PRIV_RO},   // @staff lists her
        {"photos", "carol", VORN_SHARE_PRIV_RO},
        {"photos", "CAROL", VORN_SHARE_PRIV_RO},   // user names ignore ASCII case
        {"photos", "bob", VORN_SHARE_PRIV_NONE},
        {"photos", "admin", VORN_SHARE_PRIV_RW},
        {"nested", "alice", VORN_SHARE_PRIV_RO},
        {"nested", "nobody-here", VORN_SHARE_PRIV_NONE},
    };
    for (const Row& row : rows) {
        VORNSHARE* share = nullptr;
        ASSERT_EQ(VORNShareGet(row.share, &share), 0);
        EXPECT_EQ(VORNShareUserPrivGet(row.user, share), row.privilege) << row.share << " " << row.user;
        VORNShareFree(share);
    }
    VORNSHARE* share = nullptr;
    ASSERT_EQ(VORNShareGet("photos", &share), 0);
    root_.WriteFile("/etc/group", "");
    chmod(root_.Path("/etc/group").c_str(), 0);
    if (geteuid() != 0) {
        EXPECT_EQ(VORNShareUserPrivGet("alice", share), -1) << "an unreadable group database is an error";
    }
    EXPECT_EQ(VORNShareUserPrivGet(nullptr, share), -1);
    EXPECT_EQ(VORNShareUserPrivGet("alice", nullptr), -1);
    EXPECT_EQ(VLIBShareHideUnreadableGet(nullptr), -1);
    VORNShareFree(share);
}

TEST(ShareListTest, TokensLeaveOutEmptyPieces)
{
    VLIBSZLIST* list = VLIBCSzListAlloc(1);
    EXPECT_EQ(VLIBCStrTok("//public//a b/c/", "/", &list), 3);
    EXPECT_EQ(VLIBCStrTok("", "/", &list), 0);
    ASSERT_EQ(list->nItem, 3);
    EXPECT_STREQ(VLIBCSzListGet(list, 0), "public");
    EXPECT_STREQ(VLIBCSzListGet(list, 1), "a b");
    EXPECT_STREQ(VLIBCSzListGet(list, 2), "c");
    EXPECT_EQ(VLIBCSzListGet(list, 3), nullptr);
    EXPECT_EQ(VLIBCStrTok(nullptr, "/", &list), -1);
    VLIBCSzListFree(list);
}

}  // namespace
