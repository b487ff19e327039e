// The authorization check of a request against the session store.

#include <string.h>
#include <time.h>

#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/session_test_support.h"
#include "testing/cgi_record.h"
#include "testing/sessions.h"

namespace {

using arx_testing::CgiRecord;
using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::LoginSession;

class AuthorizeTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        alice_ = LoginSession("alice", kAlice.password);
        admin_ = LoginSession("admin", kAdmin.password);
        ASSERT_FALSE(alice_.empty());
        ASSERT_FALSE(admin_.empty());
    }

    // The check of a request carrying cookie, with "user" holding whom it
    // found.
    int Check(const std::string& cookie, int level = VORN_AUTH_USER, bool skipCheckIp = false,
              bool noRefresh = false)
    {
        setenv("HTTP_COOKIE", cookie.c_str(), 1);
        CgiRecord cgi;
        VornCgiLoadInCookies(cgi.get());
        cgi.get()->skip_check_ip = skipCheckIp ? 1 : 0;
        VORN_AUTH_REQUEST request = {level, noRefresh};
        char name[493] = "";
        const int result = VornCgiIsAuthorized(cgi.get(), name, sizeof name, &request, CGI_POSITION_DESKTOP);
        user = name;
        return result;
    }

    std::string alice_, admin_;
    std::string user;
};

TEST_F(AuthorizeTest, TheSessionOfTheCookie)
{
    EXPECT_EQ(Check("lang=de; id=" + alice_), VORN_AUTH_OK);
    EXPECT_EQ(user, "alice");
    EXPECT_EQ(Check("id=" + admin_, VORN_AUTH_ADMIN), VORN_AUTH_OK);
    EXPECT_EQ(user, "admin");
}

TEST_F(AuthorizeTest, FailureCodes)
{
    // What would be a valid session if the id were taken as a path.
    root_.WriteFile("/run/vorn/evil", root_.ReadFile("/run/vorn/session/" + alice_), 0600);
    struct Row {
        const char* description;
        std::string cookie;
        int level;
        int expected;
    };
    const Row rows[] = {
        {"no cookie", "", VORN_AUTH_USER, VORN_AUTH_UNAUTH},
        {"an empty id", "id=", VORN_AUTH_USER, VORN_AUTH_UNAUTH},
        {"an id of another form", "id=abc", VORN_AUTH_USER, VORN_AUTH_TIMEOUT},
        {"a path for an id", "id=../evil", VORN_AUTH_USER, VORN_AUTH_TIMEOUT},
        {"a path that ends in a valid id", "id=../session/" + alice_, VORN_AUTH_USER, VORN_AUTH_TIMEOUT},
        {"a valid id with a character more", "id=" + alice_ + "A", VORN_AUTH_USER, VORN_AUTH_TIMEOUT},
        {"unknown id", "id=AAAAAAAAAAAAAAAAAAAAAA", VORN_AUTH_USER, VORN_AUTH_TIMEOUT},
        {"not an administrator", "id=" + alice_, VORN_AUTH_ADMIN, VORN_AUTH_NOPRIVILEGE},
        {"administrator bit among others", "id=" + alice_, VORN_AUTH_USER | VORN_AUTH_ADMIN,
         VORN_AUTH_NOPRIVILEGE},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Check(row.cookie, row.level), row.expected) << row.description;
        EXPECT_EQ(user, "") << row.description;
    }
}

TEST_F(AuthorizeTest, ExpiredAndEndedSessions)
{
    Configure("session_timeout=\"15\"\n");
    Age(alice_, 14 * 60);
    EXPECT_EQ(Check("id=" + alice_), VORN_AUTH_OK);
    Age(alice_, 15 * 60);
    EXPECT_EQ(Check("id=" + alice_), VORN_AUTH_TIMEOUT);

    CgiRecord cgi;
    EXPECT_EQ(VornCgiLogoutByAttr(cgi.get(), CURRENT_USER_INDEX_USER, "ADMIN", 0), 1);
    EXPECT_EQ(Check("id=" + admin_, VORN_AUTH_USER), VORN_AUTH_RELOGIN) << "ended for its user";
    Age(admin_, 15 * 60);
    EXPECT_EQ(Check("id=" + admin_, VORN_AUTH_USER), VORN_AUTH_TIMEOUT) << "a marker lasts until the session's time";
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
    const std::string passwd = root_.ReadFile("/etc/passwd");
    const std::string shadow = root_.ReadFile("/etc/shadow");
    struct Row {
        const char* description;
        std::string passwd;
        std::string shadow;
    };
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

TEST_F(AuthorizeTest, TheClientAddress)
{
    const std::string cookie = "id=" + alice_;
    struct Row {
        const char* address;
        const char* config;
        bool skip;
        int expected;
    };
    const Row rows[] = {
        {"127.0.0.1", "", false, VORN_AUTH_OK},
        {"::ffff:127.0.0.1", "", false, VORN_AUTH_OK},  // the IPv4 form of a mapped address
        {"127.0.0.2", "", false, VORN_AUTH_ERRORIP},
        {"::1", "", false, VORN_AUTH_ERRORIP},
        {"not an address", "", false, VORN_AUTH_ERRORIP},
        {"127.0.0.2", "", true, VORN_AUTH_OK},  // the record's skip flag
        {"127.0.0.2", "session_check_ip=\"no\"\n", false, VORN_AUTH_OK},
    };
    for (const Row& row : rows) {
        Configure(row.config);
        setenv("REMOTE_ADDR", row.address, 1);
        // A forwarding header never counts.
        setenv("HTTP_X_FORWARDED_FOR", "127.0.0.1", 1);
        EXPECT_EQ(Check(cookie, VORN_AUTH_USER, row.skip), row.expected) << row.address << " " << row.config;
    }
    unsetenv("HTTP_X_FORWARDED_FOR");
}

TEST_F(AuthorizeTest, StateChangingRequestsCarryTheToken)
{
    const std::string token = Stored(alice_).token;
    const std::string cookie = "id=" + alice_;
    struct Row {
        const char* description;
        const char* method;
        std::string header;
        std::string query;
        const char* config;
        int expected;
    };
    const Row rows[] = {
        {"GET needs none", "GET", "", "", "", VORN_AUTH_OK},
        {"HEAD needs none", "HEAD", "", "", "", VORN_AUTH_OK},
        {"POST without", "POST", "", "", "", VORN_AUTH_UNAUTH},
        {"POST with the header", "POST", token, "", "", VORN_AUTH_OK},
        {"POST with the parameter", "POST", "", "VornToken=" + token, "", VORN_AUTH_OK},
        {"PUT with a wrong token", "PUT", token.substr(1) + "A", "", "", VORN_AUTH_UNAUTH},
        {"DELETE with the token of another session", "DELETE", Stored(admin_).token, "", "", VORN_AUTH_UNAUTH},
        {"a prefix of the token", "POST", token.substr(0, 10), "", "", VORN_AUTH_UNAUTH},
        {"tokens off", "POST", "", "", "token_enable=\"no\"\n", VORN_AUTH_OK},
    };
    for (const Row& row : rows) {
        Configure(row.config);
        setenv("REQUEST_METHOD", row.method, 1);
        setenv("HTTP_X_VORNTOKEN", row.header.c_str(), 1);
        setenv("QUERY_STRING", row.query.c_str(), 1);
        EXPECT_EQ(Check(cookie), row.expected) << row.description;
    }
}

TEST_F(AuthorizeTest, RefreshingTheLastAccess)
{
    const long long now = time(nullptr);
    struct Row {
        const char* description;
        long long idle;
        const char* background;
        bool noRefresh;
        bool refreshed;
    };
    const Row rows[] = {
        {"idle for a minute", 60, nullptr, false, true},
        {"within 30 s: not written again", 10, nullptr, false, false},
        {"background request", 60, "1", false, false},
        {"background header of another value", 60, "yes", false, true},
        {"the caller asks for no refresh", 60, nullptr, true, false},
    };
    for (const Row& row : rows) {
        Age(alice_, row.idle);
        if (row.background != nullptr)
            setenv("HTTP_X_VORN_BACKGROUND", row.background, 1);
        else
            unsetenv("HTTP_X_VORN_BACKGROUND");
        ASSERT_EQ(Check("id=" + alice_, VORN_AUTH_USER, false, row.noRefresh), VORN_AUTH_OK) << row.description;
        const long long lastAccess = Stored(alice_).lastAccess;
        if (row.refreshed)
            EXPECT_GE(lastAccess, now) << row.description;
        else
            EXPECT_LE(lastAccess, now - row.idle + 1) << row.description;
    }
}

TEST_F(AuthorizeTest, TokenAndPathsOfTheRequestsSession)
{
    setenv("HTTP_COOKIE", ("id=" + alice_).c_str(), 1);
    CgiRecord cgi;
    VornCgiLoadInCookies(cgi.get());
    EXPECT_EQ(std::string(VornCgiGetOption(cgi.get(), VORN_OPTION_TOKEN, "")), Stored(alice_).token);
    EXPECT_STREQ(VornCgiGetOption(cgi.get(), VORN_OPTION_USER, ""), "alice");
    EXPECT_STREQ(VornCgiGetOption(cgi.get(), 99, "d"), "d");
    char path[4096];
    const int length = VornCgiGetSessPath(cgi.get(), path, sizeof path);
    EXPECT_EQ(std::string(path), root_.Path("/run/vorn/session/" + alice_));
    EXPECT_EQ(length, static_cast<int>(strlen(path)));
    EXPECT_EQ(VornCgiGetSessPath(cgi.get(), path, 10), -1);

    EXPECT_EQ(cgi.get()->session_file, nullptr) << "known once the check has found the session";
    char name[493];
    VORN_AUTH_REQUEST request = {VORN_AUTH_USER, false};
    ASSERT_EQ(VornCgiIsAuthorized(cgi.get(), name, sizeof name, &request, CGI_POSITION_DESKTOP), VORN_AUTH_OK);
    EXPECT_EQ(std::string(cgi.get()->session_file), root_.Path("/run/vorn/session/" + alice_));
    EXPECT_EQ(std::string(cgi.get()->lock_file), root_.Path("/run/vorn/session/.lock"));

    setenv("HTTP_COOKIE", "id=AAAAAAAAAAAAAAAAAAAAAA", 1);
    VornCgiLoadInCookies(cgi.get());
    EXPECT_STREQ(VornCgiGetOption(cgi.get(), VORN_OPTION_TOKEN, ""), "") << "no session: the default";
    EXPECT_EQ(VornCgiGetSessPath(cgi.get(), path, sizeof path), -1);
}

}  // namespace
