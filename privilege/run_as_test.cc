// The identity switch on the real system: these tests run as root and
// really become an unprivileged user and back.

#include <grp.h>
#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/run_as.h>

#include "testing/child_process.h"
#include "testing/log_capture.h"

namespace {

class RunAsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (getuid() != 0 || geteuid() != 0)
            GTEST_SKIP() << "identity switching needs root";
        const passwd* nobody = getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        nobodyUid_ = nobody->pw_uid;
        nobodyGid_ = nobody->pw_gid;
    }
    void TearDown() override
    {
        EXPECT_EQ(geteuid(), 0u) << "a guard left the process switched";
        EXPECT_EQ(getegid(), 0u) << "a guard left the process switched";
    }

    uid_t nobodyUid_ = 0;
    gid_t nobodyGid_ = 0;
};

TEST_F(RunAsTest, ByNameSwitchesTheEffectiveIdsOnlyAndBack)
{
    bool ran = false;
    IF_RUN_AS2("nobody") {
        ran = true;
        EXPECT_EQ(geteuid(), nobodyUid_);
        EXPECT_EQ(getegid(), nobodyGid_);
        uid_t real, effective, saved;
        getresuid(&real, &effective, &saved);
        EXPECT_EQ(real, 0u);
        EXPECT_EQ(saved, 0u) << "the saved uid is what makes the way back possible";
    }
    EXPECT_TRUE(ran);
    EXPECT_EQ(geteuid(), 0u);
    EXPECT_EQ(getegid(), 0u);
}

TEST_F(RunAsTest, GuardsNestAndEachRestoresWhatItFound)
{
    std::vector<uid_t> seen;
    IF_RUN_AS2("nobody") {
        seen.push_back(geteuid());
        IF_RUN_AS2("root") {
            seen.push_back(geteuid());
            EXPECT_EQ(getegid(), 0u);
            IF_RUN_AS(nobodyUid_, nobodyGid_) {
                seen.push_back(geteuid());
            }
            seen.push_back(geteuid());
        }
        seen.push_back(geteuid());
        EXPECT_EQ(getegid(), nobodyGid_);
    }
    EXPECT_EQ(seen, (std::vector<uid_t>{nobodyUid_, 0, nobodyUid_, 0, nobodyUid_}));
}

TEST_F(RunAsTest, NumericFormAndUnchangedIds)
{
    IF_RUN_AS(nobodyUid_, nobodyGid_) {
        EXPECT_EQ(geteuid(), nobodyUid_);
        IF_RUN_AS(0, 0) {
            EXPECT_EQ(geteuid(), 0u);
            EXPECT_EQ(getegid(), 0u);
        }
        EXPECT_EQ(geteuid(), nobodyUid_);
    }
    IF_RUN_AS(static_cast<uid_t>(-1), nobodyGid_) {
        EXPECT_EQ(geteuid(), 0u) << "-1 leaves the uid alone";
        EXPECT_EQ(getegid(), nobodyGid_);
    }
    IF_RUN_AS(nobodyUid_, static_cast<gid_t>(-1)) {
        EXPECT_EQ(geteuid(), nobodyUid_);
        EXPECT_EQ(getegid(), 0u) << "-1 leaves the gid alone";
    }
}

TEST_F(RunAsTest, UnknownUserLogsTwoLinesAndSkipsTheBody)
{
    arx_testing::LogCapture log;
    bool ran = false;
    bool failed = false;
    RunAsGuard<false> guard("no-such-user-here", "caller.cc", 42, "IF_RUN_AS2");
    if (guard.ok)
        ran = true;
    else
        failed = true;
    EXPECT_FALSE(ran);
    EXPECT_TRUE(failed);
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0].text, "caller.cc:42 ERROR: getpwnam(no-such-user-here) [Name not found]");
    EXPECT_EQ(log.lines()[1].text, "caller.cc:42 ERROR: IF_RUN_AS2(\"no-such-user-here\")");
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_ERR);
    EXPECT_EQ(log.lines()[1].priority, LOG_AUTH | LOG_ERR);
}

TEST_F(RunAsTest, MacroLabelsTheLogWithTheCallSite)
{
    arx_testing::LogCapture log;
    const int line = __LINE__ + 1;
    IF_RUN_AS2("no-such-user-here") {
        ADD_FAILURE() << "the body runs only after a switch";
    } else {
        SUCCEED();
    }
    ASSERT_EQ(log.texts().size(), 2u);
    EXPECT_EQ(log.texts()[1], "privilege/run_as_test.cc:" + std::to_string(line) +
                                  " ERROR: IF_RUN_AS2(\"no-such-user-here\")");
}

TEST_F(RunAsTest, WithoutRootInTheSavedIdsTheSwitchFailsAndTheBodyIsSkipped)
{
    const uid_t uid = nobodyUid_;
    const gid_t gid = nobodyGid_;
    const auto run = arx_testing::RunInChild([uid, gid] {
        // A permanent drop: real, effective and saved ids all unprivileged.
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
    EXPECT_EQ(run.output, "0 " + std::to_string(nobodyUid_));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(run.logLines),
              (std::vector<std::string>{"privilege/run_as_test.cc:# ERROR: IF_RUN_AS2(\"root\")",
                                        "privilege/run_as_test.cc:# ERROR: IF_RUN_AS(0, 0)"}));
}

}  // namespace
