// Logins through the platform: the result codes, blocking, and the session
// a login makes.

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/session_id.h"
#include "cgi/session/session_test_support.h"
#include "testing/interpose.h"

// Every password check of this binary passes here and is counted.
int g_passwordChecks = 0;

extern "C" int VLIBUserPasswordCheck(const char* user, const char* password)
{
    ++g_passwordChecks;
    return ARX_NEXT(VLIBUserPasswordCheck)(user, password);
}

namespace {

using vorn_testing::LogIn;

using arx_testing::CgiRecord;
using arx_testing::kAdmin;
using arx_testing::kAlice;

class LoginTest : public vorn_testing::SessionTest {};

// The answers of a login, a test login (no session) and a login without a
// password.  (An unknown name answered as a wrong password is tests/e2e's.)
TEST_F(LoginTest, ResultCodes)
{
    enum Kind { kLogin, kTest, kNoAuth };
    struct Row { Kind kind; const char *user, *password; int expected; };
    const Row rows[] = {
        {kLogin, "bob", "wrong", VORN_LOGIN_WRONG},  // locked: told only to who knows the password
        {kLogin, "alice", nullptr, VORN_LOGIN_SYSTEM_ERROR},
        {kTest, "alice", kAlice.password, VORN_LOGIN_SUCCESS},
        {kTest, "alice", "wrong", VORN_LOGIN_WRONG},
        {kNoAuth, "admin", nullptr, VORN_LOGIN_SUCCESS},
        {kNoAuth, "nobody-here", nullptr, VORN_LOGIN_WRONG},
        {kNoAuth, "bob", nullptr, VORN_LOGIN_DISABLED},
    };
    for (const Row& row : rows) {
        CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {row.user, row.password, nullptr};
        const int result = row.kind == kLogin  ? LogIn(row.user, row.password).result
                           : row.kind == kTest ? VornCgiTestLogin(&params, nullptr)
                                               : VornCgiLoginNoAuth(cgi.get(), nullptr, 0, &params);
        EXPECT_EQ(result, row.expected) << row.kind << " " << row.user << " / " << (row.password ? row.password : "-");
    }
    std::vector<std::string> users;
    vorn::ForEachSession([&](const vorn::Session& session) { users.push_back(session.user); });
    EXPECT_EQ(users, std::vector<std::string> {"admin"}) << "a test login makes no session";
    EXPECT_NE(ModeOf("/run/vorn/autoblock/ip-127.0.0.1"), -1) << "it counts like a login";
}

// The session a login makes.  (A fresh id at every login, never the one the
// client brought, is tests/e2e's session test's.)
TEST_F(LoginTest, TheSessionIsPrivateAndComplete)
{
    const std::string id = LogIn("ALICE", kAlice.password, "::ffff:127.0.0.1").id;
    ASSERT_TRUE(vorn::IsSessionId(id)) << id;
    EXPECT_TRUE(ModeOf("/run/vorn/session/" + id) == 0600 && ModeOf("/run/vorn/session") == 0700);
    const vorn::Session session = Stored(id);
    EXPECT_EQ(session.user, "alice") << "the name as the database spells it";
    EXPECT_EQ(session.address, "127.0.0.1") << "an IPv4-mapped address in its IPv4 form";
    EXPECT_TRUE(session.uid == kAlice.uid && session.gid == kAlice.gid && session.created == session.lastAccess);
    EXPECT_TRUE(vorn::IsSessionId(session.token) && session.token != id);
}

TEST_F(LoginTest, AParallelBurstGetsNoMorePasswordChecksThanTheLimit)
{
    Configure("login_max_attempts=\"10\"\n");
    constexpr int kClients = 21;
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    for (int i = 0; i < kClients; ++i) {
        if (fork() != 0)
            continue;
        close(go[1]);
        char byte;
        (void)!read(go[0], &byte, 1);  // all start when the pipe closes
        g_passwordChecks = 0;
        const int result = LogIn("alice", "wrong").result;
        _exit(g_passwordChecks * 16 + (result == VORN_LOGIN_BLOCKED ? 1 : 0));
    }
    close(go[0]);
    close(go[1]);
    int checks = 0, blocked = 0;
    for (int i = 0, status = 0; i < kClients && wait(&status) > 0; ++i) {
        checks += WEXITSTATUS(status) / 16;
        blocked += WEXITSTATUS(status) % 16;
    }
    EXPECT_EQ(checks, 10) << "each attempt was counted before its password was checked";
    EXPECT_EQ(blocked, kClients - 10);
}

TEST_F(LoginTest, WhatTheBlockingRecordsCount)
{
    struct Step { const char* user; const char* password; const char* address; int expected; };
    struct Row { const char* description; std::vector<Step> steps; const char* maxAttempts = "3"; };
    const char* a = kAdmin.password;
    const char* al = kAlice.password;
    const int wrong = VORN_LOGIN_WRONG, ok = VORN_LOGIN_SUCCESS, blocked = VORN_LOGIN_BLOCKED;
    const Row rows[] = {
        {"wrong, unknown and disabled logins count; an IPv4-mapped address is the same client",
         {{"alice", "wrong", "10.0.0.1", wrong}, {"nobody-1", "x", "10.0.0.1", wrong},
          {"bob", arx_testing::kBob.password, "10.0.0.1", VORN_LOGIN_DISABLED},
          {"admin", a, "::ffff:10.0.0.1", blocked}, {"admin", a, "10.0.0.2", ok}}},
        {"a success of one's own account leaves the address's failures",
         {{"alice", "wrong", "10.0.0.1", wrong}, {"nobody-1", "x", "10.0.0.1", wrong}, {"admin", a, "10.0.0.1", ok},
          {"nobody-2", "x", "10.0.0.1", wrong}, {"admin", a, "10.0.0.1", blocked}}},
        {"IPv6 clients count per /64",
         {{"nobody-1", "x", "2001:db8::1", wrong}, {"nobody-2", "x", "2001:db8::2", wrong},
          {"nobody-3", "x", "2001:db8::1:0:0:3", wrong}, {"admin", a, "2001:db8::99", blocked},
          {"admin", a, "2001:db8:0:1::1", ok}}},
        {"an account is blocked from every address, whatever the case of its name",
         {{"alice", "wrong", "10.0.0.1", wrong}, {"ALICE", "wrong", "10.0.0.2", wrong},
          {"alice", "wrong", "10.0.0.3", wrong}, {"alice", al, "10.0.0.4", blocked}, {"admin", a, "10.0.0.4", ok}}},
        {"an unknown name is counted as an account is",
         {{"nobody-here", "x", "10.0.0.1", wrong}, {"nobody-here", "x", "10.0.0.2", wrong},
          {"nobody-here", "x", "10.0.0.3", wrong}, {"nobody-here", "x", "10.0.0.4", blocked}}},
        {"a success clears its account's record",
         {{"alice", "wrong", "10.0.0.1", wrong}, {"alice", "wrong", "10.0.0.2", wrong}, {"alice", al, "10.0.0.3", ok},
          {"alice", "wrong", "10.0.0.4", wrong}, {"alice", "wrong", "10.0.0.5", wrong}, {"alice", al, "10.0.0.6", ok}}},
        {"clients without a usable address share no record",
         {{"nobody-1", "x", nullptr, wrong}, {"nobody-2", "x", "not an address", wrong},
          {"nobody-3", "x", nullptr, wrong}, {"admin", a, nullptr, ok}}},
        {"0 attempts never block",
         {{"alice", "wrong", "10.0.0.1", wrong}, {"alice", "wrong", "10.0.0.1", wrong},
          {"alice", "wrong", "10.0.0.1", wrong}, {"alice", al, "10.0.0.1", ok}},
         "0"},
    };
    for (const Row& row : rows) {
        arx_testing::RemoveTree(root_.Path("/run/vorn/autoblock"));
        Configure(std::string("login_max_attempts=\"") + row.maxAttempts + "\"\n");
        for (const Step& step : row.steps)
            EXPECT_EQ(LogIn(step.user, step.password, step.address).result, step.expected)
                << row.description << ": " << step.user << " from " << (step.address ? step.address : "nowhere");
    }
    // A block lasts until its time (here: the record says when).
    Configure("login_max_attempts=\"3\"\n");
    const std::string until = std::to_string(time(nullptr) + 60);
    root_.WriteFile("/run/vorn/autoblock/ip-10.0.0.1", "{\"attempts\":[],\"blocked_until\":" + until + "}\n", 0600);
    EXPECT_EQ(LogIn("admin", a, "10.0.0.1").result, blocked);
    root_.WriteFile("/run/vorn/autoblock/ip-10.0.0.1", "{\"attempts\":[],\"blocked_until\":1}\n", 0600);
    EXPECT_EQ(LogIn("admin", a, "10.0.0.1").result, ok);
    // Attempts another process counted after reading the clock a second later.
    const std::string ahead = std::to_string(time(nullptr) + 1);
    root_.WriteFile("/run/vorn/autoblock/ip-10.0.0.1", "{\"attempts\":[" + ahead + "," + ahead + "," + ahead + "]}\n", 0600);
    EXPECT_EQ(LogIn("admin", a, "10.0.0.1").result, blocked) << "attempts a second ahead still count";
}

TEST_F(LoginTest, SweepsOfOldRecordsAndSessions)
{
    Configure("login_max_attempts=\"3\"\nsession_timeout=\"15\"\n");
    const std::string stale = "/run/vorn/autoblock/ip-10.9.9.9";
    const std::string old = LogIn("alice", kAlice.password).id, fresh = LogIn("admin", kAdmin.password).id;
    Age(old, 16 * 60);
    const std::string stray = "/run/vorn/session/" + fresh + ".AbCdEf";
    root_.WriteFile(stray, "half", 0600);
    const timeval longAgo[2] = {{1, 0}, {1, 0}};
    utimes(root_.Path(stray).c_str(), longAgo);
    root_.WriteFile(stale, "{\"attempts\":[1],\"blocked_until\":0}\n", 0600);
    EXPECT_EQ(LogIn("alice", "wrong").result, VORN_LOGIN_WRONG);
    EXPECT_EQ(ModeOf("/run/vorn/session/" + old), -1) << "an expired session goes at every login";
    EXPECT_NE(ModeOf("/run/vorn/session/" + fresh), -1);
    EXPECT_EQ(ModeOf(stray), -1) << "a crashed writer's file, once it is old";
    EXPECT_NE(ModeOf(stale), -1) << "blocking records go at most every few minutes";
    ASSERT_EQ(utimes(root_.Path("/run/vorn/autoblock/.swept").c_str(), longAgo), 0);
    EXPECT_EQ(LogIn("admin", kAdmin.password).result, VORN_LOGIN_SUCCESS);
    EXPECT_EQ(ModeOf(stale), -1) << "swept once its time came";
}

}  // namespace
