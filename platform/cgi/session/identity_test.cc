// The ids of a session's user, and switching the process to them.

#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <vorn/session.h>

#include "cgi/session/session_test_support.h"
#include "testing/child_process.h"
#include "testing/sessions.h"

namespace {

using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::LoginSession;

class SessionIdentityTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        alice_ = LoginSession("alice", kAlice.password);
        ASSERT_FALSE(alice_.empty());
    }
    void TearDown() override
    {
        setresuid(-1, 0, -1);
        setresgid(-1, 0, -1);
        SessionTest::TearDown();
    }
    std::string alice_;
};

TEST_F(SessionIdentityTest, IdsOnlyForTheSessionsOwnUser)
{
    const std::string admin = LoginSession("admin", kAdmin.password);
    struct Row {
        std::string sid;
        const char* user;
        int uid;
        int gid;
    };
    const Row rows[] = {
        {alice_, "alice", static_cast<int>(kAlice.uid), static_cast<int>(kAlice.gid)},
        {alice_, "Alice", static_cast<int>(kAlice.uid), static_cast<int>(kAlice.gid)},
        {alice_, "admin", -1, -1},  // another user's session
        {admin, "alice", -1, -1},
        {"../session/" + alice_, "alice", -1, -1},
        {"", "alice", -1, -1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(VornCgiUIDGet(row.sid.c_str(), row.user), row.uid) << row.sid << " " << row.user;
        EXPECT_EQ(VornCgiGIDGet(row.sid.c_str(), row.user), row.gid) << row.sid << " " << row.user;
    }
    EXPECT_EQ(VornCgiUIDGet(nullptr, "alice"), -1);
    Age(alice_, 60 * 60);
    EXPECT_EQ(VornCgiUIDGet(alice_.c_str(), "alice"), -1) << "an expired session answers nothing";
}

TEST_F(SessionIdentityTest, EffectiveAndPermanentSwitches)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "switching identities needs root";
    ASSERT_EQ(VornCgiEGidSet(alice_.c_str(), "alice"), 0);
    ASSERT_EQ(VornCgiEUidSet(alice_.c_str(), "alice"), 0);
    EXPECT_EQ(geteuid(), kAlice.uid);
    EXPECT_EQ(getegid(), kAlice.gid);
    EXPECT_EQ(getuid(), 0u) << "effective only";
    EXPECT_EQ(VornCgiEGidSet(alice_.c_str(), "alice"), 0) << "the same again: nothing to do";
    EXPECT_EQ(VornCgiEUidSet(alice_.c_str(), "admin"), -1);
    EXPECT_EQ(geteuid(), kAlice.uid) << "a refused switch changes nothing";

    const auto run = arx_testing::RunInChild([&] {
        const int gid = VornCgiGidSet(alice_.c_str(), "alice");
        const int uid = VornCgiUidSet(alice_.c_str(), "alice");
        uid_t ruid, euid, suid;
        gid_t rgid, egid, sgid;
        getresuid(&ruid, &euid, &suid);
        getresgid(&rgid, &egid, &sgid);
        printf("%d %d %u %u %u %u %u %u %d", gid, uid, ruid, euid, suid, rgid, egid, sgid, setresuid(-1, 0, -1));
    });
    const std::string u = std::to_string(kAlice.uid);
    const std::string g = std::to_string(kAlice.gid);
    EXPECT_EQ(run.output, "0 0 " + u + " " + u + " " + u + " " + g + " " + g + " " + g + " -1")
        << "a permanent drop: no way back to root";
}

}  // namespace
