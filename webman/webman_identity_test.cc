// Switching a request to its session user's identity, as root.
//
// The users of these tests live in the test root's files only; the
// supplementary groups come from there through the platform's initgroups.
// This binary defines the platform's group setter, id lookups and setters
// itself, passing the calls on unless a failure is injected.

#include <dlfcn.h>
#include <errno.h>
#include <grp.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman.h>
#include <vorn/err.h>
#include <vorn/user.h>

#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/sessions.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

// Which call of each function fails (1 = the first), 0 for none.
struct Faults {
    int initgroups = 0;
    int gidGet = 0;
    int uidGet = 0;
    int adminCheck = 0;
    int gidSet = 0;
    int uidSet = 0;
};
Faults g_faults;
Faults g_calls;

bool Fails(int& calls, int failing)
{
    return ++calls == failing;
}

template <typename Function>
Function Next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

using IdFunction = int (*)(const char*, const char*);

bool g_failSetgroups = false;

}  // namespace

extern "C" int setgroups(size_t size, const gid_t* list)
{
    using Function = int (*)(size_t, const gid_t*);
    static const Function next = Next<Function>("setgroups");
    if (g_failSetgroups) {
        errno = EPERM;
        return -1;
    }
    return next(size, list);
}

extern "C" int VLIBUserInitGroups(const char* user, gid_t group)
{
    using Function = int (*)(const char*, gid_t);
    static const Function next = Next<Function>("VLIBUserInitGroups");
    return Fails(g_calls.initgroups, g_faults.initgroups) ? -1 : next(user, group);
}

extern "C" int VornCgiGIDGet(const char* sid, const char* user)
{
    static const IdFunction next = Next<IdFunction>("VornCgiGIDGet");
    return Fails(g_calls.gidGet, g_faults.gidGet) ? -1 : next(sid, user);
}

extern "C" int VornCgiUIDGet(const char* sid, const char* user)
{
    static const IdFunction next = Next<IdFunction>("VornCgiUIDGet");
    return Fails(g_calls.uidGet, g_faults.uidGet) ? -1 : next(sid, user);
}

extern "C" int VornCgiGidSet(const char* sid, const char* user)
{
    static const IdFunction next = Next<IdFunction>("VornCgiGidSet");
    return Fails(g_calls.gidSet, g_faults.gidSet) ? -1 : next(sid, user);
}

extern "C" int VornCgiUidSet(const char* sid, const char* user)
{
    static const IdFunction next = Next<IdFunction>("VornCgiUidSet");
    return Fails(g_calls.uidSet, g_faults.uidSet) ? -1 : next(sid, user);
}

extern "C" int VLIBGroupIsAdminGroupMem(const char* user, int flags)
{
    using Function = int (*)(const char*, int);
    static const Function next = Next<Function>("VLIBGroupIsAdminGroupMem");
    if (Fails(g_calls.adminCheck, g_faults.adminCheck)) {
        VLIBCErrSetEx(VLIB_ERR_OPEN_FAILED, "user_db", 42);
        return -1;
    }
    return next(user, flags);
}

namespace {

using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::WithoutLineNumbers;

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

class IdentityTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (getuid() != 0 || geteuid() != 0)
            GTEST_SKIP() << "switching identities needs root";
        arx_testing::WriteUserDatabase(root_);
        alice_ = arx_testing::LoginSession("alice", kAlice.password);
        admin_ = arx_testing::LoginSession("admin", kAdmin.password);
        ASSERT_FALSE(alice_.empty());
        ASSERT_FALSE(admin_.empty());
        g_faults = Faults();
    }
    void TearDown() override { g_faults = Faults(); }

    // Runs a request of the session sid (none when empty) in a child: the
    // check, then switch(web); prints its result and the identity after.
    arx_testing::ChildResult Switch(const std::string& sid, int (WebMan::*operation)(), const Faults& faults = {})
    {
        g_faults = faults;
        std::vector<std::pair<std::string, std::string>> env = {{"REMOTE_ADDR", "127.0.0.1"}};
        if (!sid.empty())
            env.push_back({"HTTP_COOKIE", "id=" + sid});
        return arx_testing::RunInChild(
            [operation] {
                WebMan web(false);
                web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
                g_calls = Faults();  // count from the switch on
                const int result = (web.*operation)();
                printf("%d %s", result, Identity().c_str());
            },
            arx_testing::WithEnvironment(env));
    }

    arx_testing::TempRoot root_;
    std::string alice_, admin_;
};

TEST_F(IdentityTest, AnOrdinaryUserGetsHisIdsAndGroups)
{
    const auto run = Switch(alice_, &WebMan::setEUGID);
    EXPECT_EQ(run.output, "0 uid 0/2002/0 gid 0/2100/0 groups 2100 2201 2202");
    EXPECT_TRUE(run.logLines.empty());
}

TEST_F(IdentityTest, AnAdministratorActsAsRoot)
{
    const auto run = Switch(admin_, &WebMan::setEUGID);
    EXPECT_EQ(run.output, "0 uid 0/0/0 gid 0/2001/0 groups 101 2001 2201");
}

TEST_F(IdentityTest, ThePermanentSwitchKeepsTheAdministratorsOwnUid)
{
    EXPECT_EQ(Switch(alice_, &WebMan::setUGID).output,
              "0 uid 2002/2002/2002 gid 2100/2100/2100 groups 2100 2201 2202");
    EXPECT_EQ(Switch(admin_, &WebMan::setUGID).output,
              "0 uid 2001/2001/2001 gid 2001/2001/2001 groups 101 2001 2201");
}

TEST_F(IdentityTest, FailuresAreLoggedAndLeaveTheIdentityAsItWas)
{
    const std::string before = Identity();
    const std::string tail = ", sid=" + alice_;
    struct Row {
        const char* description;
        std::string sid;
        int (WebMan::*operation)();
        Faults faults;
        int result;
        std::vector<std::string> lines;
    };
    Faults gidGet, initgroups, secondGidGet, adminCheck, uidGet, gidSet, uidSet;
    gidGet.gidGet = 1;
    initgroups.initgroups = 1;
    secondGidGet.gidGet = 2;
    adminCheck.adminCheck = 1;
    uidGet.uidGet = 1;
    gidSet.gidSet = 1;
    uidSet.uidSet = 1;
    const Row rows[] = {
        {"no session", "", &WebMan::setEUGID, {}, -1, {"webman(#) bad parameter"}},
        {"the gid lookup", alice_, &WebMan::setEUGID, gidGet, -1, {"webman(#) failed to get GID for user=alice" + tail}},
        {"the group switch", alice_, &WebMan::setEUGID, secondGidGet, -1,
         {"webman(#) failed to set GID for user=alice" + tail}},
        {"the administrators lookup", alice_, &WebMan::setEUGID, adminCheck, -1,
         {"webman:# VLIBGroupIsAdminGroupMem(alice) failed. [0x0900 user_db:42]",
          "webman(#) failed to set UID for user=alice" + tail}},
        {"the uid lookup", alice_, &WebMan::setEUGID, uidGet, -1, {"webman(#) failed to set UID for user=alice" + tail}},
        {"the platform's gid setter", alice_, &WebMan::setUGID, gidSet, -1,
         {"webman(#) failed to set GID for user=alice" + tail}},
        {"the platform's uid setter", alice_, &WebMan::setUGID, uidSet, -1,
         {"webman(#) failed to set UID for user=alice" + tail}},
    };
    for (const Row& row : rows) {
        const auto run = Switch(row.sid, row.operation, row.faults);
        EXPECT_EQ(run.output, std::to_string(row.result) + " " + before) << row.description;
        EXPECT_EQ(WithoutLineNumbers(run.logLines), row.lines) << row.description;
    }

    const auto run = Switch(alice_, &WebMan::setEUGID, initgroups);
    EXPECT_EQ(run.output, "0 uid 0/2002/0 gid 0/2100/0 groups 2100")
        << "a failed initgroups does not stop the switch, nor leave the server's groups";
    EXPECT_EQ(WithoutLineNumbers(run.logLines),
              std::vector<std::string>{"webman(#) failed to initgroup for user=alice" + tail});

    g_failSetgroups = true;
    const auto refused = Switch(alice_, &WebMan::setEUGID, initgroups);
    g_failSetgroups = false;
    EXPECT_EQ(refused.output, "-1 " + before) << "without groups of its own the switch is refused";
    EXPECT_EQ(WithoutLineNumbers(refused.logLines),
              (std::vector<std::string>{"webman(#) failed to initgroup for user=alice" + tail,
                                        "webman(#) failed to set groups for user=alice" + tail}));
}

TEST_F(IdentityTest, SetEUidAsksForAdministratorsFirst)
{
    const auto run = arx_testing::RunInChild([this] {
        WebMan web(false);
        g_calls = Faults();
        const int admin = web.SetEUid(admin_.c_str(), "admin");
        printf("admin %d euid %u uid lookups %d\n", admin, geteuid(), g_calls.uidGet);
        g_calls = Faults();
        const int noSid = web.SetEUid(nullptr, "alice");
        const int noUser = web.SetEGid(alice_.c_str(), nullptr);
        printf("null %d %d admin checks %d\n", noSid, noUser, g_calls.adminCheck);
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
            g_faults.adminCheck = 1;
            g_calls = Faults();
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
