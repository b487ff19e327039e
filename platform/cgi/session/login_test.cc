// Logins through the platform: the result codes, blocking, and the session
// a login makes.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <sys/time.h>

#include <set>
#include <vector>
#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/session_id.h"
#include "cgi/session/session_test_support.h"
#include "testing/cgi_record.h"
#include "testing/interpose.h"
#include "testing/child_process.h"
#include "testing/sessions.h"

// Every password check of this binary passes here and is counted.
int g_passwordChecks = 0;

extern "C" int VLIBUserPasswordCheck(const char* user, const char* password)
{
    ++g_passwordChecks;
    return ARX_NEXT(VLIBUserPasswordCheck)(user, password);
}

namespace {

using arx_testing::CgiRecord;
using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::kBob;
using arx_testing::kCarol;
using arx_testing::LoginSession;

class LoginTest : public vorn_testing::SessionTest {
protected:
    int Login(const char* user, const char* password, const char* address = "127.0.0.1")
    {
        int result = 0;
        LoginSession(user, password, address, &result);
        return result;
    }
};

TEST_F(LoginTest, ResultCodes)
{
    struct Row {
        const char* user;
        const char* password;
        int expected;
    };
    const Row rows[] = {
        {"alice", kAlice.password, VORN_LOGIN_SUCCESS},
        {"ALICE", kAlice.password, VORN_LOGIN_SUCCESS},  // local names ignore case
        {"alice", "wrong", VORN_LOGIN_WRONG},
        {"nobody-here", kAlice.password, VORN_LOGIN_WRONG},  // the same answer as a wrong password
        {"bob", kBob.password, VORN_LOGIN_DISABLED},
        {"carol", kCarol.password, VORN_LOGIN_DISABLED},
        {"bob", "wrong", VORN_LOGIN_WRONG},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Login(row.user, row.password), row.expected) << row.user << " / " << row.password;

    CgiRecord cgi;
    VORN_LOGIN_PARAMS noPassword = {"alice", nullptr, nullptr};
    EXPECT_EQ(VornCgiLogin(cgi.get(), nullptr, 0, &noPassword), VORN_LOGIN_SYSTEM_ERROR);
    EXPECT_EQ(VornCgiLogin(cgi.get(), nullptr, 0, nullptr), VORN_LOGIN_SYSTEM_ERROR);
}

TEST_F(LoginTest, WrongUnknownAndDisabledLoginsCountTowardBlockingTheAddress)
{
    Configure("login_max_attempts=\"3\"\nlogin_attempt_window=\"5\"\nlogin_block_minutes=\"30\"\n");
    EXPECT_EQ(Login("alice", "wrong"), VORN_LOGIN_WRONG);
    EXPECT_EQ(Login("nobody-here", "x"), VORN_LOGIN_WRONG);
    EXPECT_EQ(Login("bob", kBob.password), VORN_LOGIN_DISABLED);
    EXPECT_EQ(Login("alice", kAlice.password), VORN_LOGIN_BLOCKED) << "the right password does not help now";
    EXPECT_EQ(Login("alice", kAlice.password, "::ffff:127.0.0.1"), VORN_LOGIN_BLOCKED)
        << "an IPv4-mapped address is the same client";
    EXPECT_EQ(Login("alice", kAlice.password, "127.0.0.2"), VORN_LOGIN_SUCCESS) << "other clients may log in";

    // The block ends after its time (here: the record says it has).
    const std::string record = root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1");
    ASSERT_NE(record.find("\"blocked_until\""), std::string::npos) << record;
    root_.WriteFile("/run/vorn/autoblock/ip-127.0.0.1", "{\"blocked_until\":1,\"attempts\":[]}\n", 0600);
    EXPECT_EQ(Login("alice", kAlice.password), VORN_LOGIN_SUCCESS);
}

TEST_F(LoginTest, AParallelBurstGetsNoMorePasswordChecksThanTheLimit)
{
    Configure("login_max_attempts=\"10\"\n");
    constexpr int kClients = 21;
    int go[2], report[2];
    ASSERT_EQ(pipe(go), 0);
    ASSERT_EQ(pipe(report), 0);
    std::vector<pid_t> clients;
    for (int i = 0; i < kClients; ++i) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(go[1]);
            char byte;
            (void)!read(go[0], &byte, 1);  // all start when the pipe closes
            g_passwordChecks = 0;
            const int result = Login("alice", "wrong");
            const std::string line = std::to_string(g_passwordChecks) + " " + std::to_string(result) + "\n";
            (void)!write(report[1], line.data(), line.size());
            _exit(0);
        }
        clients.push_back(pid);
    }
    close(go[0]);
    close(go[1]);
    close(report[1]);
    for (pid_t pid : clients)
        waitpid(pid, nullptr, 0);
    FILE* lines = fdopen(report[0], "r");
    int checks = 0, blocked = 0, total = 0;
    for (int count, result; fscanf(lines, "%d %d", &count, &result) == 2; ++total) {
        checks += count;
        blocked += result == VORN_LOGIN_BLOCKED ? 1 : 0;
    }
    fclose(lines);
    EXPECT_EQ(total, kClients);
    EXPECT_EQ(checks, 10) << "each password check was counted before it ran";
    EXPECT_EQ(blocked, kClients - 10);
}

struct Step {
    const char* user;
    const char* password;
    const char* address;  // nullptr: no REMOTE_ADDR
    int expected;
};

TEST_F(LoginTest, WhatTheBlockingRecordsCount)
{
    const char* a = kAdmin.password;
    const char* al = kAlice.password;
    struct Row {
        const char* description;
        std::vector<Step> steps;
        const char* maxAttempts = "3";
    };
    const Row rows[] = {
        {"0 attempts never block",
         {{"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG}, {"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG},
          {"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG}, {"alice", al, "10.0.0.1", VORN_LOGIN_SUCCESS}},
         "0"},
        {"a success of one's own account leaves the address's failures",
         {{"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG}, {"nobody-1", "x", "10.0.0.1", VORN_LOGIN_WRONG},
          {"admin", a, "10.0.0.1", VORN_LOGIN_SUCCESS}, {"nobody-2", "x", "10.0.0.1", VORN_LOGIN_WRONG},
          {"admin", a, "10.0.0.1", VORN_LOGIN_BLOCKED}, {"admin", a, "10.0.0.2", VORN_LOGIN_SUCCESS}}},
        {"IPv6 clients count per /64",
         {{"nobody-1", "x", "2001:db8::1", VORN_LOGIN_WRONG}, {"nobody-2", "x", "2001:db8::2", VORN_LOGIN_WRONG},
          {"nobody-3", "x", "2001:db8::1:0:0:3", VORN_LOGIN_WRONG}, {"admin", a, "2001:db8::99", VORN_LOGIN_BLOCKED},
          {"admin", a, "2001:db8:0:1::1", VORN_LOGIN_SUCCESS}}},
        {"an account is blocked from every address, whatever the case of its name",
         {{"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG}, {"ALICE", "wrong", "10.0.0.2", VORN_LOGIN_WRONG},
          {"alice", "wrong", "10.0.0.3", VORN_LOGIN_WRONG}, {"alice", al, "10.0.0.4", VORN_LOGIN_BLOCKED},
          {"admin", a, "10.0.0.4", VORN_LOGIN_SUCCESS}}},
        {"an unknown name is counted as an account is",
         {{"nobody-here", "x", "10.0.0.1", VORN_LOGIN_WRONG}, {"nobody-here", "x", "10.0.0.2", VORN_LOGIN_WRONG},
          {"nobody-here", "x", "10.0.0.3", VORN_LOGIN_WRONG}, {"nobody-here", "x", "10.0.0.4", VORN_LOGIN_BLOCKED}}},
        {"a success clears its account's record only",
         {{"alice", "wrong", "10.0.0.1", VORN_LOGIN_WRONG}, {"alice", "wrong", "10.0.0.2", VORN_LOGIN_WRONG},
          {"alice", al, "10.0.0.3", VORN_LOGIN_SUCCESS}, {"alice", "wrong", "10.0.0.4", VORN_LOGIN_WRONG},
          {"alice", "wrong", "10.0.0.5", VORN_LOGIN_WRONG}, {"alice", al, "10.0.0.6", VORN_LOGIN_SUCCESS}}},
        {"clients without a usable address share no record",
         {{"nobody-1", "x", nullptr, VORN_LOGIN_WRONG}, {"nobody-2", "x", "not an address", VORN_LOGIN_WRONG},
          {"nobody-3", "x", nullptr, VORN_LOGIN_WRONG}, {"admin", a, nullptr, VORN_LOGIN_SUCCESS}}},
    };
    for (const Row& row : rows) {
        arx_testing::RemoveTree(root_.Path("/run/vorn/autoblock"));
        Configure(std::string("login_max_attempts=\"") + row.maxAttempts + "\"\n");
        for (const Step& step : row.steps) {
            if (step.address != nullptr)
                setenv("REMOTE_ADDR", step.address, 1);
            else
                unsetenv("REMOTE_ADDR");
            CgiRecord cgi;
            VORN_LOGIN_PARAMS params = {step.user, step.password, nullptr};
            EXPECT_EQ(VornCgiLogin(cgi.get(), nullptr, 0, &params), step.expected)
                << row.description << ": " << step.user << " from " << (step.address ? step.address : "nowhere");
        }
    }
}

TEST_F(LoginTest, OldRecordsAreSweptOnlyEveryFewMinutes)
{
    Configure("login_max_attempts=\"3\"\n");
    const std::string stale = "/run/vorn/autoblock/ip-10.9.9.9";
    EXPECT_EQ(Login("alice", "wrong"), VORN_LOGIN_WRONG);
    root_.WriteFile(stale, "{\"attempts\":[1],\"blocked_until\":0}\n", 0600);
    EXPECT_EQ(Login("alice", "wrong"), VORN_LOGIN_WRONG);
    struct stat st;
    EXPECT_EQ(stat(root_.Path(stale).c_str(), &st), 0) << "not swept at every attempt";
    const timeval longAgo[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimes(root_.Path("/run/vorn/autoblock/.swept").c_str(), longAgo), 0);
    EXPECT_EQ(Login("admin", kAdmin.password), VORN_LOGIN_SUCCESS);
    EXPECT_NE(stat(root_.Path(stale).c_str(), &st), 0) << "swept once its time came";
}

TEST_F(LoginTest, TheSessionFileIsPrivateAndComplete)
{
    const std::string id = LoginSession("ALICE", kAlice.password, "::ffff:127.0.0.1");
    ASSERT_TRUE(vorn::IsSessionId(id)) << id;
    struct stat st;
    ASSERT_EQ(stat(root_.Path("/run/vorn/session/" + id).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    ASSERT_EQ(stat(root_.Path("/run/vorn/session").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u);

    const vorn::Session session = Stored(id);
    EXPECT_EQ(session.user, "alice") << "the name as the database spells it";
    EXPECT_EQ(session.uid, kAlice.uid);
    EXPECT_EQ(session.gid, kAlice.gid);
    EXPECT_EQ(session.address, "127.0.0.1");
    EXPECT_TRUE(vorn::IsSessionId(session.token));
    EXPECT_NE(session.token, id);
    EXPECT_EQ(session.created, session.lastAccess);
    EXPECT_FALSE(session.ended);
}

TEST_F(LoginTest, AFreshIdAtEveryLoginNeverTheClients)
{
    const std::string chosen = "AAAAAAAAAAAAAAAAAAAAAA";
    ASSERT_TRUE(vorn::IsSessionId(chosen));
    setenv("HTTP_COOKIE", ("id=" + chosen).c_str(), 1);
    std::set<std::string> ids;
    for (int i = 0; i < 5; ++i) {
        const std::string id = LoginSession("alice", kAlice.password);
        ASSERT_FALSE(id.empty());
        EXPECT_NE(id, chosen);
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 5u);
    struct stat st;
    EXPECT_NE(stat(root_.Path("/run/vorn/session/" + chosen).c_str(), &st), 0);
}

TEST_F(LoginTest, TheCookieIsHttpOnlyAndSameSite)
{
    for (const char* https : {"", "on"}) {
        const auto run = arx_testing::RunInChild(
            [] {
                CgiRecord cgi;
                VORN_LOGIN_PARAMS params = {"alice", kAlice.password, nullptr};
                char id[64];
                if (VornCgiLogin(cgi.get(), id, sizeof id, &params) == VORN_LOGIN_SUCCESS)
                    printf("%s\n", id);
                VornCgiPrintHTTPHeader(cgi.get());
            },
            arx_testing::WithEnvironment({{"REMOTE_ADDR", "127.0.0.1"}, {"HTTPS", https}}));
        const std::string id = run.output.substr(0, run.output.find('\n'));
        const std::string expected = "Set-Cookie: id=" + id + "; Path=/; HttpOnly; SameSite=Lax" +
                                     (*https != '\0' ? "; Secure" : "") + "\r\n\r\n";
        EXPECT_EQ(run.output, id + "\n" + expected);
    }
}

TEST_F(LoginTest, TestLoginAndLoginWithoutCredentials)
{
    VORN_LOGIN_PARAMS right = {"alice", kAlice.password, nullptr};
    VORN_LOGIN_PARAMS wrong = {"alice", "wrong", nullptr};
    EXPECT_EQ(VornCgiTestLogin(&right, nullptr), VORN_LOGIN_SUCCESS);
    EXPECT_EQ(VornCgiTestLogin(&wrong, nullptr), VORN_LOGIN_WRONG);
    EXPECT_NE(root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1"), "") << "a failed test counts";
    std::vector<std::string> names;
    vorn::ForEachSession([&](const vorn::Session& session) { names.push_back(session.id); });
    EXPECT_TRUE(names.empty()) << "no session";

    struct Row {
        const char* user;
        int expected;
    };
    const Row rows[] = {{"admin", VORN_LOGIN_SUCCESS}, {"nobody-here", VORN_LOGIN_WRONG}, {"bob", VORN_LOGIN_DISABLED}};
    for (const Row& row : rows) {
        CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {row.user, nullptr, nullptr};
        EXPECT_EQ(VornCgiLoginNoAuth(cgi.get(), nullptr, 0, &params), row.expected) << row.user;
    }
    vorn::ForEachSession([&](const vorn::Session& session) { names.push_back(session.user); });
    EXPECT_EQ(names, std::vector<std::string>{"admin"});
}

TEST_F(LoginTest, LoginSweepsExpiredSessionsAndStrayFiles)
{
    Configure("session_timeout=\"15\"\n");
    const std::string old = LoginSession("alice", kAlice.password);
    const std::string fresh = LoginSession("admin", kAdmin.password);
    Age(old, 16 * 60);
    root_.WriteFile("/run/vorn/session/" + fresh + ".AbCdEf", "half", 0600);
    const std::string stray = root_.Path("/run/vorn/session/" + fresh + ".AbCdEf");
    const timeval longAgo[2] = {{1, 0}, {1, 0}};
    utimes(stray.c_str(), longAgo);

    ASSERT_FALSE(LoginSession("alice", kAlice.password).empty());
    struct stat st;
    EXPECT_NE(stat(root_.Path("/run/vorn/session/" + old).c_str(), &st), 0) << "expired: removed";
    EXPECT_EQ(stat(root_.Path("/run/vorn/session/" + fresh).c_str(), &st), 0);
    EXPECT_NE(stat(stray.c_str(), &st), 0) << "a crashed writer's file: removed";
}

}  // namespace
