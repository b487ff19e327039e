// The authorization check of a request against the session store, and
// the ids of a session's user.

#include <time.h>

#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/session_test_support.h"

namespace {

using vorn_testing::LogIn;

using arx_testing::CgiRecord;

class AuthorizeTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        alice_ = LogIn("alice", arx_testing::kAlice.password).id;
        admin_ = LogIn("admin", arx_testing::kAdmin.password).id;
        ASSERT_FALSE(alice_.empty() || admin_.empty());
    }
    // The check of a request carrying cookie; user_ holds whom it found.
    int Check(const std::string& cookie, int level = VORN_AUTH_USER, bool noRefresh = false)
    {
        setenv("HTTP_COOKIE", cookie.c_str(), 1);
        CgiRecord cgi;
        VornCgiLoadInCookies(cgi.get());
        VORN_AUTH_REQUEST request = {level, noRefresh};
        char name[493] = "";
        const int result = VornCgiIsAuthorized(cgi.get(), name, sizeof name, &request, CGI_POSITION_DESKTOP);
        user_ = name;
        return result;
    }
    std::string alice_, admin_, user_;
};

// Refusals the end-to-end tests do not reach: ids that are paths.  (No id,
// an unknown one and a user who is no administrator are tests/e2e's session
// test's; an id with more after it the session-cookie fuzz target's.)
TEST_F(AuthorizeTest, TheSessionOfTheCookieOrWhyNot)
{
    // What would be a valid session if the id were taken as a path.
    root_.WriteFile("/run/vorn/evil", root_.ReadFile("/run/vorn/session/" + alice_), 0600);
    struct Row { const char* description; std::string cookie; int level; int expected; const char* user; };
    const Row rows[] = {
        {"alice's session", "lang=de; id=" + alice_, VORN_AUTH_USER, VORN_AUTH_OK, "alice"},
        {"an administrator", "id=" + admin_, VORN_AUTH_USER | VORN_AUTH_ADMIN, VORN_AUTH_OK, "admin"},
        {"a path for an id", "id=../evil", VORN_AUTH_USER, VORN_AUTH_TIMEOUT, ""},
        {"a path that ends in a valid id", "id=../session/" + alice_, VORN_AUTH_USER, VORN_AUTH_TIMEOUT, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Check(row.cookie, row.level), row.expected) << row.description;
        EXPECT_EQ(user_, row.user) << row.description;
    }
    Configure("session_timeout=\"15\"\n");
    CgiRecord cgi;
    ASSERT_EQ(VornCgiLogoutByAttr(cgi.get(), CURRENT_USER_INDEX_SID, admin_.c_str(), 0), 1);
    Age(admin_, 15 * 60);
    EXPECT_EQ(Check("id=" + admin_), VORN_AUTH_TIMEOUT) << "an ended session's marker lasts until its time";
}

// The text with from replaced by to in the line of user.
std::string EditLine(std::string text, const std::string& user, const std::string& from, const std::string& to)
{
    const size_t line = text.find("\n" + user + ":") + 1;
    text.replace(text.find(from, line), from.size(), to);
    return text;
}

TEST_F(AuthorizeTest, TheAccountMustStillBeAsAtLogin)
{
    const std::string passwd = root_.ReadFile("/etc/passwd"), shadow = root_.ReadFile("/etc/shadow");
    struct Row { const char* description; std::string passwd; std::string shadow; };
    const Row rows[] = {
        {"deleted", EditLine(passwd, "alice", "alice:x:2002:2100:Alice:/home/alice:/bin/sh\n", ""), shadow},
        {"another account of the name in another case", EditLine(passwd, "alice", "alice:", "Alice:"),
         EditLine(shadow, "alice", "alice:", "Alice:")},
        {"renumbered", EditLine(passwd, "alice", ":2002:", ":2999:"), shadow},
        {"another primary group", EditLine(passwd, "alice", ":2100:", ":2201:"), shadow},
        {"locked", passwd, EditLine(shadow, "alice", "alice:", "alice:!")},
        {"expired", passwd, EditLine(shadow, "alice", ":7:::", ":7::1:")},
    };
    for (const Row& row : rows) {
        root_.WriteFile("/etc/passwd", row.passwd);
        root_.WriteFile("/etc/shadow", row.shadow, 0600);
        EXPECT_EQ(Check("id=" + alice_), VORN_AUTH_TIMEOUT) << row.description;
        EXPECT_EQ(VornCgiUIDGet(alice_.c_str(), "alice"), -1) << row.description;
        EXPECT_EQ(VornCgiGIDGet(alice_.c_str(), "alice"), -1) << row.description;
        root_.WriteFile("/etc/passwd", passwd);
        root_.WriteFile("/etc/shadow", shadow, 0600);
        EXPECT_EQ(Check("id=" + alice_), VORN_AUTH_OK) << row.description << ": as it was";
    }
}

TEST_F(AuthorizeTest, IdsOnlyForTheSessionsOwnUser)
{
    const int uid = static_cast<int>(arx_testing::kAlice.uid), gid = static_cast<int>(arx_testing::kAlice.gid);
    struct Row { std::string sid; const char* user; int uid; int gid; };
    const Row rows[] = {{alice_, "alice", uid, gid}, {alice_, "Alice", uid, gid}, {alice_, "admin", -1, -1},
                        {admin_, "alice", -1, -1}, {"../session/" + alice_, "alice", -1, -1}, {"", "alice", -1, -1}};
    for (const Row& row : rows) {
        EXPECT_EQ(VornCgiUIDGet(row.sid.c_str(), row.user), row.uid) << row.sid << " " << row.user;
        EXPECT_EQ(VornCgiGIDGet(row.sid.c_str(), row.user), row.gid) << row.sid << " " << row.user;
    }
    EXPECT_EQ(VornCgiUIDGet(nullptr, "alice"), -1);
    Age(alice_, 60 * 60);
    EXPECT_EQ(VornCgiUIDGet(alice_.c_str(), "alice"), -1) << "an expired session answers nothing";
}

TEST_F(AuthorizeTest, TheClientAddressAndTheToken)
{
    const std::string token = Stored(alice_).token;
    // The client's address and the configuration, the method and the token
    // in the header.  (The record's skip flag is WebMan's session test's, the
    // token as a parameter tests/e2e's logout.)
    struct Row { const char* description; const char *address, *config, *method; std::string header; int expected; };
    const Row rows[] = {
        {"an IPv4-mapped address is its IPv4 form", "::ffff:127.0.0.1", "", "GET", "", VORN_AUTH_OK},
        {"no address", "not an address", "", "GET", "", VORN_AUTH_ERRORIP},
        {"address checks off", "::1", "session_check_ip=\"no\"\n", "GET", "", VORN_AUTH_OK},
        {"HEAD needs no token", "127.0.0.1", "", "HEAD", "", VORN_AUTH_OK},
        {"POST with the header", "127.0.0.1", "", "POST", token, VORN_AUTH_OK},
        {"a prefix of the token", "127.0.0.1", "", "PUT", token.substr(0, 10), VORN_AUTH_UNAUTH},
        {"another session's token", "127.0.0.1", "", "DELETE", Stored(admin_).token, VORN_AUTH_UNAUTH},
        {"tokens off", "127.0.0.1", "token_enable=\"no\"\n", "POST", "", VORN_AUTH_OK},
    };
    for (const Row& row : rows) {
        Configure(row.config);
        setenv("REMOTE_ADDR", row.address, 1);
        setenv("HTTP_X_FORWARDED_FOR", "127.0.0.1", 1);  // never counts
        setenv("REQUEST_METHOD", row.method, 1);
        setenv("HTTP_X_VORNTOKEN", row.header.c_str(), 1);
        EXPECT_EQ(Check("id=" + alice_), row.expected) << row.description;
    }
    unsetenv("HTTP_X_FORWARDED_FOR");
}

TEST_F(AuthorizeTest, RefreshingTheLastAccess)
{
    const long long now = time(nullptr);
    // (A request after a while, and a background one, are tests/e2e's session
    // test's.)
    struct Row { const char* description; long long idle; const char* background; bool noRefresh; bool refreshed; };
    const Row rows[] = {
        {"only \"1\" marks a background request", 60, "yes", false, true},
        {"within 30 s: not written again", 10, "", false, false},
        {"the caller asks for no refresh", 60, "", true, false},
    };
    for (const Row& row : rows) {
        Age(alice_, row.idle);
        setenv("HTTP_X_VORN_BACKGROUND", row.background, 1);
        ASSERT_EQ(Check("id=" + alice_, VORN_AUTH_USER, row.noRefresh), VORN_AUTH_OK) << row.description;
        EXPECT_EQ(Stored(alice_).lastAccess >= now, row.refreshed) << row.description;
    }
}

}  // namespace
