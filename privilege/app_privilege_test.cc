// AppPrivilege against the real platform in a scratch root: which list a
// name is looked up in, grantable applications decided by the table and
// the rest by the administrators group, and the platform calls it makes
// (this binary defines the two platform checks, counting every call).

#include <map>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>
#include <vorn/app_privilege.h>
#include <vorn/user.h>

#include <arx/app_privilege.h>

#include "testing/interpose.h"
#include "testing/log_capture.h"
#include "testing/module_tree.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {
std::map<std::string, int> g_calls;  // "admin alice", "app alice T.Local"
}  // namespace

extern "C" int VLIBGroupIsAdminGroupMem(const char* user, int flags)
{
    ++g_calls[std::string("admin ") + user];
    return ARX_NEXT(VLIBGroupIsAdminGroupMem)(user, flags);
}

extern "C" int VLIBAppPrivUserHas(const char* user, const char* app, const char* extra)
{
    ++g_calls[std::string("app ") + user + " " + app];
    return ARX_NEXT(VLIBAppPrivUserHas)(user, app, extra);
}

namespace {

using arx_testing::TempRoot;
using VORN::PAD::AppPrivilege;

class AppPrivilegeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        arx_testing::WriteModule(root_, {"Apps",
                                         R"({".url": {
            "T.Local":  {"type": "app", "grantPrivilege": "local"},
            "T.Domain": {"type": "app", "grantPrivilege": "domain"},
            "T.All":    {"type": "app", "grantPrivilege": "all"},
            "T.Admin":  {"type": "app"}}})",
                                         {},
                                         false});
        root_.WriteFile("/usr/vorn/etc/app_privilege.json", R"({
            "T.Local":  {"allow": ["alice", "D\\carl"]},
            "T.Domain": {"allow": ["alice", "D\\carl", "carl@example.com"]},
            "T.All":    {"allow": ["@users", "D\\carl"], "deny": ["admin"]},
            "T.Admin":  {"allow": ["alice"]}})");
        g_calls.clear();
    }

    TempRoot root_;
};

TEST_F(AppPrivilegeTest, ListsTableAndAdministrators)
{
    AppPrivilege privilege;  // the scan
    struct Row {
        const char* user;
        const char* app;
        bool allowed;
    };
    const Row rows[] = {
        {"alice", "T.Local", true},
        {"alice", "T.Domain", false},  // a local name: the local list only
        {"alice", "T.All", true},
        {"alice", "T.Admin", false},  // not grantable: administrators only
        {"alice", "T.Unknown", false},
        {"admin", "T.Local", false},
        {"admin", "T.All", false},  // the table decides, for administrators too
        {"admin", "T.Admin", true},
        {"admin", "T.Unknown", true},
        {"D\\carl", "T.Local", false},
        {"D\\carl", "T.Domain", true},  // a backslash: the domain list
        {"D\\carl", "T.All", true},
        {"carl@example.com", "T.Domain", true},
        {"carl@example.com", "T.Local", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(privilege.IsUserHasAppPriv(row.user, row.app, ""), row.allowed) << row.user << " " << row.app;
}

TEST_F(AppPrivilegeTest, OnePlatformCallPerQuestionAtMost)
{
    Json::Value grantable;
    grantable["local"].append("T.Local");
    grantable["local"].append("T.All");
    grantable["domain"].append("T.All");
    AppPrivilege privilege(grantable);
    for (int round = 0; round < 3; ++round) {
        for (const char* app : {"T.Local", "T.All", "T.Admin", "T.Unknown"})
            privilege.IsUserHasAppPriv("alice", app, "");
        EXPECT_TRUE(privilege.IsAdminUser("admin"));
        EXPECT_FALSE(privilege.IsAdminUser("alice"));
    }
    // Each answer once, on the first question about the user.
    EXPECT_EQ(g_calls, (std::map<std::string, int> {
                           {"admin alice", 1}, {"admin admin", 1}, {"app alice T.Local", 1}, {"app alice T.All", 1}}));
}

TEST_F(AppPrivilegeTest, AnUnreadableTableAllowsNothingGrantable)
{
    root_.WriteFile("/usr/vorn/etc/app_privilege.json", "{\"T.Local\": {\"allow\": \"alice\"}}");
    arx_testing::LogCapture log;
    AppPrivilege privilege;
    EXPECT_FALSE(privilege.IsUserHasAppPriv("alice", "T.Local", ""));
    EXPECT_FALSE(privilege.IsUserHasAppPriv("alice", "T.All", ""));
    EXPECT_TRUE(privilege.IsUserHasAppPriv("admin", "T.Admin", "")) << "administrators keep their own applications";
    EXPECT_EQ(log.texts().size(), 4u) << "for each user, the table and the one line of its answers";
}

}  // namespace
