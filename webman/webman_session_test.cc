// Logins, sessions and cookies through the request context.

#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/sessions.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::kAlice;
using arx_testing::RunInChild;
using arx_testing::WithEnvironment;

class WebManSessionTest : public ::testing::Test {
protected:
    void SetUp() override { arx_testing::WriteUserDatabase(root_); }

    // Runs body as a request from 127.0.0.1 carrying cookie.
    std::string Request(const std::string& cookie, const std::function<void()>& body,
                        std::vector<std::pair<std::string, std::string>> env = {})
    {
        env.push_back({"REMOTE_ADDR", "127.0.0.1"});
        env.push_back({"HTTP_COOKIE", cookie});
        return RunInChild(body, WithEnvironment(env)).output;
    }

    arx_testing::TempRoot root_;
};

TEST_F(WebManSessionTest, LoginsKeepTheUserNameGiven)
{
    struct Row {
        const char* description;
        int (*login)(WebMan&, _tag_login_params*);
        const char* user;
        const char* password;
        const char* seen;
    };
    const Row rows[] = {
        {"password", [](WebMan& w, _tag_login_params* p) { return w.Login(p); }, "ALICE", kAlice.password, "1 ALICE"},
        {"wrong password", [](WebMan& w, _tag_login_params* p) { return w.Login(p); }, "alice", "x", "0 "},
        {"with a code the user does not need",
         [](WebMan& w, _tag_login_params* p) { return w.LoginWithOTPAuth(p, "123456"); }, "alice", kAlice.password,
         "1 alice"},
        {"without credentials: no login user", [](WebMan& w, _tag_login_params* p) { return w.LoginNoAuth(p); },
         "alice", nullptr, "1 "},
        {"a test creates nothing", [](WebMan& w, _tag_login_params* p) { return w.LoginTest(p, nullptr); }, "alice",
         kAlice.password, "1 "},
        {"a token that is none", [](WebMan& w, _tag_login_params* p) { return w.LoginWithOIDCSSOAuth(p, "x", false); },
         "alice", nullptr, "0 "},
    };
    for (const Row& row : rows) {
        const std::string seen = Request("", [&] {
            WebMan web(false);
            _tag_login_params params = {row.user, row.password, nullptr};
            const int result = row.login(web, &params);
            printf("%d %s", result, web.GetLoginUserName().c_str());
        });
        EXPECT_EQ(seen, row.seen) << row.description;
    }
}

TEST_F(WebManSessionTest, TheNewSessionIsTheRequestsAfterALogin)
{
    const std::string seen = Request("id=AAAAAAAAAAAAAAAAAAAAAA", [] {
        WebMan web(false);
        _tag_login_params params = {"alice", kAlice.password, nullptr};
        web.Login(&params);
        const std::string token = web.GetVornToken(false);
        const char* path = web.GetSessionFilePath();
        char buffer[4096];
        const int length = web.GetSessionFilePath(buffer, sizeof buffer);
        printf("%s|%zu|%s|%s|%d|%s\n", web.GetSessionID(), token.size(), path, web.GetLockFile(),
               length == static_cast<int>(strlen(path)), web.IsTokenEnable() ? "tokens" : "none");
        web.WriteHeader("application/json");
    });
    const std::string dir = root_.Path("/run/vorn/session/");
    const size_t idStart = seen.find(dir) + dir.size();
    const std::string id = seen.substr(idStart, 22);
    EXPECT_EQ(seen, "AAAAAAAAAAAAAAAAAAAAAA|22|" + dir + id + "|" + dir + ".lock|1|tokens\n" +
                        "Set-Cookie: id=" + id + "; Path=/; HttpOnly; SameSite=Lax\r\n" +
                        "Content-type: application/json\r\n\r\n")
        << "the request's cookie stays what it was; the token and files are the new session's";
}

TEST_F(WebManSessionTest, CookiesTokenAndLanguage)
{
    const std::string id = arx_testing::LoginSession("alice", kAlice.password);
    root_.WriteFile("/etc/vorninfo.conf", "token_enable=\"no\"\n");
    const std::string seen = Request(
        "theme=dark",
        [&] {
            WebMan web(false);
            printf("[%s] [%s] [%s]\n", web.GetCookie("theme", "d"), web.GetCookie("id", "none"),
                   web.GetVornToken(false).c_str());
            setenv("HTTP_COOKIE", ("id=" + id).c_str(), 1);
            const std::string token = web.GetVornToken(true);
            printf("%zu %d %s %s\n", token.size(), web.IsTokenEnable(), web.GetUILanguage(), web.GetSessionID());
            printf("%d %d\n", web.AddCookieToHeader("/app", "pref", "1"), web.AddCookieToHeader(nullptr, "bad", "a;b"));
            web.WriteHeader("text/plain");
        },
        {{"HTTP_ACCEPT_LANGUAGE", "de-DE,de;q=0.9"}});
    EXPECT_EQ(seen, "[dark] [none] []\n22 0 ger " + id + "\n1 0\n" +
                        "Set-Cookie: pref=1; Path=/app; HttpOnly; SameSite=Lax\r\n" +
                        "Content-type: text/plain\r\n\r\n");
}

TEST_F(WebManSessionTest, EndingSessions)
{
    const std::string first = arx_testing::LoginSession("alice", kAlice.password);
    const std::string second = arx_testing::LoginSession("alice", kAlice.password);
    const std::string admin = arx_testing::LoginSession("admin", arx_testing::kAdmin.password);
    const std::string seen = Request("id=" + first, [&] {
        WebMan web(false);
        const int checked = web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
        const bool out = web.Logout();
        const bool again = web.Logout();
        const bool byIndex = web.RemoveSessionByIndex(CURRENT_USER_INDEX_SID, admin.c_str());
        const bool badIndex = web.RemoveSessionByIndex(static_cast<CURRENT_USER_INDEX>(7), "x");  // -1
        const int byUser = web.LogoutByUser("ALICE");
        printf("%d %d %d %d %d %d", checked, out, again, byIndex, badIndex, byUser);
    });
    EXPECT_EQ(seen, "1 1 0 1 0 1") << "the second session of alice is the one left to end by user";
}

TEST_F(WebManSessionTest, SkippingTheAddressCheck)
{
    const std::string id = arx_testing::LoginSession("alice", kAlice.password, "127.0.0.2");
    const std::string seen = Request("id=" + id, [] {
        WebMan web(false);
        const int strict = web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
        web.SetSkipCheckIP(true);
        const int skipped = web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
        printf("%d %d %s", strict, skipped, web.GetLoginUserName().c_str());
    });
    EXPECT_EQ(seen, "-8 1 alice");
}

}  // namespace
