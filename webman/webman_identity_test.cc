// Switching a request to its session user's identity, as root.
//
// The users of these tests live in the test root's files only; the
// supplementary groups come from there through the platform's initgroups.
// This binary defines the platform's group setter, id lookups and setters,
// the administrators check and setgroups itself, passing the calls on
// unless a plan makes one fail.

#include <grp.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman.h>
#include <vorn/err.h>
#include <vorn/user.h>

#include "testing/as_root.h"
#include "testing/child_process.h"
#include "testing/interpose.h"
#include "testing/log_capture.h"
#include "testing/sessions.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

struct Plans {
    arx_testing::FaultPlan initgroups, gidGet, uidGet, adminCheck, gidSet, uidSet, setgroups;
};
Plans g_plans;

}  // namespace

extern "C" int VLIBUserInitGroups(const char* user, gid_t group)
{
    return g_plans.initgroups.Fails() ? -1 : ARX_NEXT(VLIBUserInitGroups)(user, group);
}

extern "C" int VornCgiGIDGet(const char* sid, const char* user)
{
    return g_plans.gidGet.Fails() ? -1 : ARX_NEXT(VornCgiGIDGet)(sid, user);
}

extern "C" int VornCgiUIDGet(const char* sid, const char* user)
{
    return g_plans.uidGet.Fails() ? -1 : ARX_NEXT(VornCgiUIDGet)(sid, user);
}

extern "C" int VornCgiGidSet(const char* sid, const char* user)
{
    return g_plans.gidSet.Fails() ? -1 : ARX_NEXT(VornCgiGidSet)(sid, user);
}

extern "C" int VornCgiUidSet(const char* sid, const char* user)
{
    return g_plans.uidSet.Fails() ? -1 : ARX_NEXT(VornCgiUidSet)(sid, user);
}

extern "C" int setgroups(size_t size, const gid_t* list)
{
    return g_plans.setgroups.Fails() ? -1 : ARX_NEXT(setgroups)(size, list);
}

extern "C" int VLIBGroupIsAdminGroupMem(const char* user, int flags)
{
    if (g_plans.adminCheck.Fails()) {
        VLIBCErrSetEx(VLIB_ERR_OPEN_FAILED, "user_db", 42);
        return -1;
    }
    return ARX_NEXT(VLIBGroupIsAdminGroupMem)(user, flags);
}

namespace {

using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::WithoutLineNumbers;

// Which call of which function fails: the n-th from the switch on.
struct Fault {
    arx_testing::FaultPlan Plans::*plan = nullptr;
    int call = 0;
};

// The real, effective and saved ids and the groups (the kernel keeps them
// sorted), as one line.
std::string Identity()
{
    uid_t ruid, euid, suid;
    gid_t rgid, egid, sgid;
    getresuid(&ruid, &euid, &suid);
    getresgid(&rgid, &egid, &sgid);
    gid_t groups[64];
    const int count = getgroups(64, groups);
    std::string text = "uid " + std::to_string(ruid) + "/" + std::to_string(euid) + "/" + std::to_string(suid) +
                       " gid " + std::to_string(rgid) + "/" + std::to_string(egid) + "/" + std::to_string(sgid) +
                       " groups";
    for (int i = 0; i < count; ++i)
        text += " " + std::to_string(groups[i]);
    return text;
}

class IdentityTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        arx_testing::WriteUserDatabase(root_);
        alice_ = arx_testing::LoginSession("alice", kAlice.password);
        admin_ = arx_testing::LoginSession("admin", kAdmin.password);
        ASSERT_FALSE(alice_.empty());
        ASSERT_FALSE(admin_.empty());
    }

    // Runs a request of the session sid (none when empty) in a child: the
    // check, then the operation with the faults armed; prints its result
    // and the identity after.
    arx_testing::ChildResult Switch(const std::string& sid, int (WebMan::*operation)(),
                                    std::vector<Fault> faults = {})
    {
        std::vector<std::pair<std::string, std::string>> env = {{"REMOTE_ADDR", "127.0.0.1"}};
        if (!sid.empty())
            env.push_back({"HTTP_COOKIE", "id=" + sid});
        return arx_testing::RunInChild(
            [operation, faults] {
                WebMan web(false);
                web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
                for (const Fault& fault : faults)
                    (g_plans.*fault.plan).FailCall(fault.call);
                const int result = (web.*operation)();
                printf("%d %s", result, Identity().c_str());
            },
            arx_testing::WithEnvironment(env));
    }

    arx_testing::TempRoot root_;
    std::string alice_, admin_;
};

TEST_F(IdentityTest, EachUserGetsHisIdsAndGroups)
{
    EXPECT_EQ(Switch(alice_, &WebMan::setEUGID).output, "0 uid 0/2002/0 gid 0/2100/0 groups 2100 2201 2202");
    EXPECT_EQ(Switch(admin_, &WebMan::setEUGID).output, "0 uid 0/0/0 gid 0/2001/0 groups 101 2001 2201")
        << "an administrator acts as root";
    EXPECT_EQ(Switch(alice_, &WebMan::setUGID).output,
              "0 uid 2002/2002/2002 gid 2100/2100/2100 groups 2100 2201 2202");
    EXPECT_EQ(Switch(admin_, &WebMan::setUGID).output,
              "0 uid 2001/2001/2001 gid 2001/2001/2001 groups 101 2001 2201")
        << "the permanent switch keeps the administrator's own uid";
}

TEST_F(IdentityTest, FailuresAreLoggedAndLeaveNoMixedIdentity)
{
    const std::string before = Identity();
    const std::string tail = ", sid=" + alice_;
    struct Row {
        const char* description;
        std::string sid;
        int (WebMan::*operation)();
        std::vector<Fault> faults;
        std::string output;
        std::vector<std::string> lines;
    };
    const Row rows[] = {
        {"no session", "", &WebMan::setEUGID, {}, "-1 " + before, {"webman(#) bad parameter"}},
        {"the gid lookup", alice_, &WebMan::setEUGID, {{&Plans::gidGet, 1}}, "-1 " + before,
         {"webman(#) failed to get GID for user=alice" + tail}},
        {"the group switch", alice_, &WebMan::setEUGID, {{&Plans::gidGet, 2}}, "-1 " + before,
         {"webman(#) failed to set GID for user=alice" + tail}},
        {"the administrators lookup", alice_, &WebMan::setEUGID, {{&Plans::adminCheck, 1}}, "-1 " + before,
         {"webman:# VLIBGroupIsAdminGroupMem(alice) failed. [0x0900 user_db:42]",
          "webman(#) failed to set UID for user=alice" + tail}},
        {"the uid lookup", alice_, &WebMan::setEUGID, {{&Plans::uidGet, 1}}, "-1 " + before,
         {"webman(#) failed to set UID for user=alice" + tail}},
        {"the platform's gid setter", alice_, &WebMan::setUGID, {{&Plans::gidSet, 1}}, "-1 " + before,
         {"webman(#) failed to set GID for user=alice" + tail}},
        {"the platform's uid setter", alice_, &WebMan::setUGID, {{&Plans::uidSet, 1}}, "-1 " + before,
         {"webman(#) failed to set UID for user=alice" + tail}},
        {"initgroups does not stop the switch, nor leave the server's groups", alice_, &WebMan::setEUGID,
         {{&Plans::initgroups, 1}}, "0 uid 0/2002/0 gid 0/2100/0 groups 2100",
         {"webman(#) failed to initgroup for user=alice" + tail}},
        {"without groups of its own the switch is refused", alice_, &WebMan::setEUGID,
         {{&Plans::initgroups, 1}, {&Plans::setgroups, 1}}, "-1 " + before,
         {"webman(#) failed to initgroup for user=alice" + tail,
          "webman(#) failed to set groups for user=alice" + tail}},
    };
    for (const Row& row : rows) {
        const auto run = Switch(row.sid, row.operation, row.faults);
        EXPECT_EQ(run.output, row.output) << row.description;
        EXPECT_EQ(WithoutLineNumbers(run.logLines), row.lines) << row.description;
    }
}

TEST_F(IdentityTest, SetEUidAsksForAdministratorsFirst)
{
    const auto run = arx_testing::RunInChild([this] {
        WebMan web(false);
        g_plans.uidGet.Clear();
        const int admin = web.SetEUid(admin_.c_str(), "admin");
        printf("admin %d euid %u uid lookups %d\n", admin, geteuid(), g_plans.uidGet.calls());
        g_plans.adminCheck.Clear();
        const int noSid = web.SetEUid(nullptr, "alice");
        const int noUser = web.SetEGid(alice_.c_str(), nullptr);
        printf("null %d %d admin checks %d\n", noSid, noUser, g_plans.adminCheck.calls());
        const int otherUser = web.SetEUid(admin_.c_str(), "alice");
        printf("other user %d euid %u", otherUser, geteuid());
    });
    EXPECT_EQ(run.output, "admin 0 euid 0 uid lookups 0\nnull -1 -1 admin checks 1\nother user -1 euid 0")
        << "an administrator never needs the uid lookup; the membership is asked before the arguments are checked";
    EXPECT_EQ(WithoutLineNumbers(run.logLines),
              (std::vector<std::string>{"webman(#) bad parameter", "webman(#) bad parameter"}));
}

TEST_F(IdentityTest, AdministratorsAndPreferenceDirectories)
{
    const auto run = arx_testing::RunInChild(
        [] {
            WebMan web(false);
            web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
            const bool admin = web.IsAdmin();
            const std::string own = web.GetPreferenceDir();
            const std::string staff = web.GetGroupPreferenceDir("staff");
            const std::string none = web.GetGroupPreferenceDir("no-such-group");
            printf("%d %s %s %s\n", admin, own.c_str(), staff.c_str(), none.c_str());
            g_plans.adminCheck.FailCall(1);
            printf("%d", web.IsAdmin());
        },
        arx_testing::WithEnvironment({{"REMOTE_ADDR", "127.0.0.1"}, {"HTTP_COOKIE", "id=" + admin_}}));
    EXPECT_EQ(run.output, "1 " + root_.Path("/usr/vorn/etc/preference/admin") + " " +
                              root_.Path("/usr/vorn/etc/preference/@staff") + " /tmp\n0");
    EXPECT_EQ(WithoutLineNumbers(run.logLines),
              std::vector<std::string>{"webman:# VLIBGroupIsAdminGroupMem(admin) failed. [0x0900 user_db:42]"});

    const auto nobody = arx_testing::RunInChild([] {
        WebMan web(false);
        printf("%d %s", web.IsAdmin(), web.GetPreferenceDir().c_str());
    });
    EXPECT_EQ(nobody.output, "0 /tmp") << "no login user: no administrator, no directory";
}

}  // namespace
