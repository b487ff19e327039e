// The identity switch against a system whose calls can be made to fail:
// this binary defines setresuid and setresgid, records every call, and
// passes it on to the C library unless a failure is injected.

#include <dlfcn.h>
#include <errno.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/run_as.h>

#include "testing/log_capture.h"

namespace {

struct Call {
    std::string name;
    long effective;
    bool operator==(const Call& other) const { return name == other.name && effective == other.effective; }
};

std::ostream& operator<<(std::ostream& out, const Call& call)
{
    return out << call.name << "(-1, " << call.effective << ", -1)";
}

std::vector<Call> g_calls;
int g_failCall = -1;  // the index of the call to fail, -1 for none

bool Record(const char* name, long effective)
{
    g_calls.push_back({name, effective});
    if (static_cast<int>(g_calls.size()) - 1 == g_failCall) {
        errno = EPERM;
        return false;
    }
    return true;
}

template <typename Fn>
Fn Real(const char* name)
{
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int setresuid(uid_t ruid, uid_t euid, uid_t suid)
{
    if (!Record("setresuid", static_cast<long>(static_cast<int>(euid))))
        return -1;
    return Real<int (*)(uid_t, uid_t, uid_t)>("setresuid")(ruid, euid, suid);
}

extern "C" int setresgid(gid_t rgid, gid_t egid, gid_t sgid)
{
    if (!Record("setresgid", static_cast<long>(static_cast<int>(egid))))
        return -1;
    return Real<int (*)(gid_t, gid_t, gid_t)>("setresgid")(rgid, egid, sgid);
}

namespace {

constexpr uid_t kNobody = 65534;

class RunAsFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "identity switching needs root";
        g_calls.clear();
        g_failCall = -1;
    }
    void TearDown() override
    {
        g_failCall = -1;
        Real<int (*)(uid_t, uid_t, uid_t)>("setresuid")(-1, 0, -1);
        Real<int (*)(gid_t, gid_t, gid_t)>("setresgid")(-1, 0, -1);
    }
};

TEST_F(RunAsFaultTest, TargetEqualToTheCurrentIdentityMakesNoCall)
{
    bool ran = false;
    IF_RUN_AS2("root") {
        ran = true;
    }
    IF_RUN_AS(0, 0) {
        ran = ran && true;
    }
    EXPECT_TRUE(ran);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(RunAsFaultTest, CallsComeInTheOrderThatAlwaysAllowsTheWayBack)
{
    IF_RUN_AS(kNobody, kNobody) {
        EXPECT_EQ(g_calls, (std::vector<Call>{{"setresgid", 65534}, {"setresuid", 65534}}));
        g_calls.clear();
    }
    // Back: root first (only root may change the group), then the group,
    // then the user.
    EXPECT_EQ(g_calls, (std::vector<Call>{{"setresuid", 0}, {"setresgid", 0}, {"setresuid", 0}}));
    EXPECT_EQ(geteuid(), 0u);
    EXPECT_EQ(getegid(), 0u);
}

TEST_F(RunAsFaultTest, FailureAtAnyStepSkipsTheBodyAndIsRepaired)
{
    struct Row {
        const char* description;
        int failCall;
    };
    const Row rows[] = {
        {"group switch fails", 0},
        {"user switch fails after the group switched", 1},
    };
    for (const Row& row : rows) {
        g_calls.clear();
        g_failCall = row.failCall;
        arx_testing::LogCapture log;
        bool ran = false;
        {
            RunAsGuard<false> guard("nobody", "caller.cc", 7, "IF_RUN_AS2");
            ran = guard.ok;
            g_failCall = -1;
        }
        EXPECT_FALSE(ran) << row.description;
        EXPECT_EQ(log.texts(), std::vector<std::string>{"caller.cc:7 ERROR: IF_RUN_AS2(\"nobody\")"})
            << row.description;
        EXPECT_EQ(geteuid(), 0u) << row.description;
        EXPECT_EQ(getegid(), 0u) << row.description << ": a half switch is put back";
    }
}

TEST_F(RunAsFaultTest, NumericFailureNamesTheTarget)
{
    g_failCall = 1;
    arx_testing::LogCapture log;
    bool ran = false;
    {
        RunAsGuardBase guard("caller.cc", 9, "IF_RUN_AS");
        ran = guard.SwitchTo(kNobody, kNobody);
        g_failCall = -1;
    }
    EXPECT_FALSE(ran);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"caller.cc:9 ERROR: IF_RUN_AS(65534, 65534)"});
    EXPECT_EQ(getegid(), 0u);
}

TEST_F(RunAsFaultTest, FailedRestoreIsLoggedAsCritical)
{
    arx_testing::LogCapture log;
    {
        RunAsGuard<false> guard("nobody", "caller.cc", 11, "IF_RUN_AS2");
        ASSERT_TRUE(guard.ok);
        g_failCall = static_cast<int>(g_calls.size());  // the first call of the way back
    }
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text, "caller.cc:11 ERROR: ~IF_RUN_AS2(0, 0)");
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_CRIT);
    EXPECT_EQ(geteuid(), kNobody) << "the process is told, not lied to";
}

}  // namespace
