// The scoped identity switch, as root, against the real system and against
// one whose calls fail: this binary defines setresuid and setresgid,
// records every call, and passes it on unless the plan makes it fail.

#include <grp.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/run_as.h>

#include "testing/as_root.h"
#include "testing/child_process.h"
#include "testing/interpose.h"
#include "testing/log_capture.h"

namespace {

// "setresuid 0": the call and the effective id it asked for.
std::vector<std::string> g_calls;
arx_testing::FaultPlan g_plan;  // counts both functions' calls together

bool Record(const char* name, unsigned effective)
{
    g_calls.push_back(std::string(name) + " " + std::to_string(static_cast<int>(effective)));
    return !g_plan.Fails();
}

}  // namespace

extern "C" int setresuid(uid_t ruid, uid_t euid, uid_t suid)
{
    return Record("setresuid", euid) ? ARX_NEXT(setresuid)(ruid, euid, suid) : -1;
}

extern "C" int setresgid(gid_t rgid, gid_t egid, gid_t sgid)
{
    return Record("setresgid", egid) ? ARX_NEXT(setresgid)(rgid, egid, sgid) : -1;
}

namespace {

class RunAsTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        g_calls.clear();
        g_plan.Clear();
    }
    void TearDown() override
    {
        g_plan.Clear();
        setresuid(-1, 0, -1);
        setresgid(-1, 0, -1);
        AsRootTest::TearDown();
    }
    std::string Nobody() const { return std::to_string(nobodyUid()); }
};

TEST_F(RunAsTest, ByNameSwitchesTheEffectiveIdsOnlyAndBack)
{
    bool ran = false;
    IF_RUN_AS2("nobody") {
        ran = true;
        uid_t real, effective, saved;
        getresuid(&real, &effective, &saved);
        EXPECT_EQ(effective, nobodyUid());
        EXPECT_EQ(getegid(), nobodyGid());
        EXPECT_EQ(real, 0u);
        EXPECT_EQ(saved, 0u) << "the saved uid is what makes the way back possible";
    }
    EXPECT_TRUE(ran);
}

TEST_F(RunAsTest, TargetEqualToTheCurrentIdentityMakesNoCall)
{
    int ran = 0;
    IF_RUN_AS2("root") {
        ++ran;
    }
    IF_RUN_AS(0, 0) {
        ++ran;
    }
    EXPECT_EQ(ran, 2);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(RunAsTest, GuardsNestAndEachRestoresWhatItFound)
{
    std::vector<uid_t> seen;
    IF_RUN_AS2("nobody") {
        seen.push_back(geteuid());
        IF_RUN_AS2("root") {
            seen.push_back(geteuid());
            IF_RUN_AS(nobodyUid(), nobodyGid()) {
                seen.push_back(geteuid());
            }
            seen.push_back(geteuid());
        }
        seen.push_back(geteuid());
        EXPECT_EQ(getegid(), nobodyGid());
    }
    EXPECT_EQ(seen, (std::vector<uid_t>{nobodyUid(), 0, nobodyUid(), 0, nobodyUid()}));
}

TEST_F(RunAsTest, MinusOneLeavesThatIdAlone)
{
    IF_RUN_AS(static_cast<uid_t>(-1), nobodyGid()) {
        EXPECT_EQ(geteuid(), 0u);
        EXPECT_EQ(getegid(), nobodyGid());
    }
    IF_RUN_AS(nobodyUid(), static_cast<gid_t>(-1)) {
        EXPECT_EQ(geteuid(), nobodyUid());
        EXPECT_EQ(getegid(), 0u);
    }
    // The group alone, from a user: only root may change it, so the switch
    // and the way back go through root.
    ASSERT_EQ(setresuid(-1, nobodyUid(), -1), 0);
    bool ran = false;
    IF_RUN_AS(static_cast<uid_t>(-1), nobodyGid()) {
        ran = true;
        EXPECT_EQ(geteuid(), nobodyUid());
        EXPECT_EQ(getegid(), nobodyGid());
    }
    EXPECT_TRUE(ran);
    EXPECT_EQ(getegid(), 0u);
    EXPECT_EQ(geteuid(), nobodyUid());
}

TEST_F(RunAsTest, CallsComeInTheOrderThatAlwaysAllowsTheWayBack)
{
    IF_RUN_AS(nobodyUid(), nobodyGid()) {
        EXPECT_EQ(g_calls, (std::vector<std::string>{"setresgid " + Nobody(), "setresuid " + Nobody()}));
        g_calls.clear();
    }
    // Back: root first (only root may change the group), then the group,
    // then the user.
    EXPECT_EQ(g_calls, (std::vector<std::string>{"setresuid 0", "setresgid 0", "setresuid 0"}));
}

TEST_F(RunAsTest, UnknownUserLogsTwoLinesAndSkipsTheBody)
{
    arx_testing::LogCapture log;
    const int line = __LINE__ + 1;
    IF_RUN_AS2("no-such-user-here") {
        ADD_FAILURE() << "the body runs only after a switch";
    }
    const std::string site = "privilege/run_as_test.cc:" + std::to_string(line);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{site + " ERROR: getpwnam(no-such-user-here) [Name not found]",
                                                     site + " ERROR: IF_RUN_AS2(\"no-such-user-here\")"}));
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_ERR);
    EXPECT_TRUE(g_calls.empty());
}

// A failed switch is undone before the guard reports it: the else branch
// runs as the caller, never as the root the first step became.
TEST_F(RunAsTest, FailedSwitchIsUndoneBeforeTheElseBranch)
{
    struct Row {
        const char* description;
        bool startAsNobody;
        int failingCall;
    };
    const Row rows[] = {
        {"from root, the group switch fails", false, 1},
        {"from root, the user switch fails after the group", false, 2},
        {"from a user, the group switch fails after becoming root", true, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        if (row.startAsNobody) {
            ASSERT_EQ(setresuid(-1, nobodyUid(), -1), 0);
        }
        const uid_t caller = geteuid();
        g_plan.FailCall(row.failingCall);
        arx_testing::LogCapture log;
        IF_RUN_AS2(row.startAsNobody ? "daemon" : "nobody") {
            ADD_FAILURE() << "the body ran";
        } else {
            EXPECT_EQ(geteuid(), caller);
            EXPECT_EQ(getegid(), 0u);
        }
        g_plan.Clear();
        EXPECT_EQ(log.texts().size(), 1u);
        ASSERT_EQ(setresuid(-1, 0, -1), 0);
    }
}

TEST_F(RunAsTest, FailuresNameTheTargetAndAFailedRestoreIsCritical)
{
    arx_testing::LogCapture log;
    g_plan.FailCall(2);
    {
        RunAsGuardBase guard("caller.cc", 9, "IF_RUN_AS");
        EXPECT_FALSE(guard.SwitchTo(nobodyUid(), nobodyGid()));
    }
    {
        RunAsGuard<false> guard("nobody", "caller.cc", 11, "IF_RUN_AS2");
        ASSERT_TRUE(guard.ok);
        g_plan.FailCall(1);  // the first call of the way back
    }
    const std::string nobody = Nobody() + ", " + std::to_string(nobodyGid());
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"caller.cc:9 ERROR: IF_RUN_AS(" + nobody + ")",
                                                     "caller.cc:11 ERROR: ~IF_RUN_AS2(0, 0)"}));
    EXPECT_EQ(log.lines()[1].priority, LOG_AUTH | LOG_CRIT);
    EXPECT_EQ(geteuid(), nobodyUid()) << "the process is told, not lied to";
}

TEST_F(RunAsTest, WithoutRootInTheSavedIdsTheSwitchFailsAndTheBodyIsSkipped)
{
    const uid_t uid = nobodyUid();
    const gid_t gid = nobodyGid();
    const auto run = arx_testing::RunInChild([uid, gid] {
        setgroups(0, nullptr);
        if (setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0)
            _exit(2);
        bool ran = false;
        IF_RUN_AS2("root") {
            ran = true;
        }
        IF_RUN_AS(0, 0) {
            ran = true;
        }
        printf("%d %u", ran, static_cast<unsigned>(geteuid()));
    });
    EXPECT_EQ(run.output, "0 " + Nobody());
    EXPECT_EQ(arx_testing::WithoutLineNumbers(run.logLines),
              (std::vector<std::string>{"privilege/run_as_test.cc:# ERROR: IF_RUN_AS2(\"root\")",
                                        "privilege/run_as_test.cc:# ERROR: IF_RUN_AS(0, 0)"}));
}

}  // namespace
