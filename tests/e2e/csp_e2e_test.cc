// The security headers through lighttpd: the demo's default rule and its two
// applications' rule configs, the configuration keys, the rule program.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include "testing/temp_root.h"
#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

// The demo's default rule widened by the photo viewer (a system config; its
// child-src source lands in frame-src) and the media centre (an add-on that
// may be framed by the portal), with {HOSTNAME} the address the tests use.
constexpr char kSystemPolicy[] =
    "base-uri 'self'; child-src 'self'; connect-src 'self' wss://127.0.0.1:5001 https://api.example.net/photos; "
    "default-src 'none'; font-src 'self'; form-action 'self'; frame-ancestors 'self' https://portal.example.com; "
    "frame-src 'self' https://player.example.net; "
    "img-src 'self' data: https://tiles.example.net *.photos-cdn.example.net; media-src 'self'; "
    "object-src 'none'; script-src 'self'; style-src 'self'; ";

// The media centre's player page: its own media sources, pictures from any
// host.
constexpr char kPlayerPolicy[] =
    "base-uri 'self'; child-src 'self'; connect-src 'self' wss://127.0.0.1:5001 https://api.example.net/photos; "
    "default-src 'none'; font-src 'self'; form-action 'self'; frame-ancestors 'self' https://portal.example.com; "
    "frame-src 'self' https://player.example.net; "
    "img-src 'self' data: https://tiles.example.net *.photos-cdn.example.net *; "
    "media-src 'self' https://cdn.example.org blob:; object-src 'none'; script-src 'self'; style-src 'self'; ";


class CspTest : public ::testing::Test {
protected:
    // csp_rules.cgi is for administrators: the requests carry an
    // administrator's session.
    HttpResponse Rules(const std::string& body)
    {
        if (admin_.id.empty())
            admin_ = LogInAs(appliance_, "admin", "harbor-admin");
        std::vector<std::string> headers = admin_.Headers();
        headers.push_back("Content-Type: application/json");
        return Send({"POST", appliance_.Url("/webapi/csp_rules.cgi"), body, headers, ""});
    }
    std::string EchoPolicy() { return Get(appliance_.Url("/webapi/echo.cgi")).Header("Content-Security-Policy"); }
    void Configure(const std::string& line)
    {
        std::ofstream(appliance_.RootPath("/etc/vorninfo.conf"), std::ios::app) << line << "\n";
    }

    Appliance appliance_;
    DemoSession admin_;
};

TEST_F(CspTest, RuleConfigsAreForAdministratorsOnly)
{
    const std::string list = R"({"action": "list"})";
    const std::string url = appliance_.Url("/webapi/csp_rules.cgi");
    const HttpResponse anonymous = Post(url, "application/json", list);
    EXPECT_EQ(anonymous.Header("x-request-error"), "unauth");
    EXPECT_EQ(anonymous.HeaderCount("Content-Security-Policy"), 1u) << "a refusal carries the headers too";

    const DemoSession alice = LogInAs(appliance_, "alice", "harbor-alice");
    ASSERT_FALSE(alice.id.empty());
    std::vector<std::string> headers = alice.Headers();
    headers.push_back("Content-Type: application/json");
    const HttpResponse ordinary = Send({"POST", url, list, headers, ""});
    EXPECT_EQ(ordinary.Header("x-request-error"), "noprivilege");
    EXPECT_EQ(ParseJson(ordinary.body)["success"], false);
    EXPECT_FALSE(ParseJson(ordinary.body).isMember("configs"));
}

TEST_F(CspTest, EverySampleProgramCarriesTheSecurityHeaders)
{
    const HttpResponse responses[] = {
        Get(appliance_.Url("/webapi/echo.cgi?message=hi")),
        Get(appliance_.Url("/webapi/note.cgi?name=welcome")),
        Rules(R"({"action": "list"})"),
        Post(appliance_.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded", "user=alice&password=x"),
        Get(appliance_.Url("/webapi/whoami.cgi")),  // refused: no session
    };
    for (const HttpResponse& response : responses) {
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.HeaderCount("Content-Security-Policy"), 1u);
        EXPECT_EQ(response.Header("Content-Security-Policy"), kSystemPolicy);
        EXPECT_EQ(response.Header("X-Frame-Options"), "SAMEORIGIN");
    }
    std::ifstream rule(appliance_.RootPath("/run/csp/rule"));
    EXPECT_TRUE(rule.good()) << "the first request generated the rule";
}

TEST_F(CspTest, StandalonePageHasItsOwnPolicy)
{
    const HttpResponse response = Get(appliance_.Url("/webapi/player.cgi"));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Security-Policy"), kPlayerPolicy);
    EXPECT_EQ(response.Header("X-Frame-Options"), "SAMEORIGIN");
    EXPECT_NE(response.body.find("<h1>Media centre</h1>"), std::string::npos);
}

// The web server sends the files of the page with the headers the programs
// send (staged from the same rule files); a value's trailing blank is not
// part of it.
TEST_F(CspTest, StaticFilesCarryTheProgramsHeaders)
{
    const std::string policy = std::string(kSystemPolicy).substr(0, sizeof kSystemPolicy - 2);
    for (const char* file : {"/", "/index.html", "/app.js", "/style.css", "/favicon.svg"}) {
        const HttpResponse response = Get(appliance_.Url(file));
        EXPECT_EQ(response.status, 200) << file;
        EXPECT_EQ(response.HeaderCount("Content-Security-Policy"), 1u) << file;
        EXPECT_EQ(response.Header("Content-Security-Policy"), policy) << file;
        EXPECT_EQ(response.HeaderCount("X-Frame-Options"), 1u) << file;
        EXPECT_EQ(response.Header("X-Frame-Options"), "SAMEORIGIN") << file;
    }
    const HttpResponse program = Get(appliance_.Url("/webapi/echo.cgi"));
    EXPECT_EQ(program.HeaderCount("Content-Security-Policy"), 1u) << "the program's own, not the file's too";
    EXPECT_EQ(program.HeaderCount("X-Frame-Options"), 1u);
}

// A config may give a source with a quote or a backslash in its path; the
// files' policy, written into lighttpd's configuration as a quoted string,
// is still the programs' own.
TEST(CspStaticFilesTest, SourcesWithQuotesAndBackslashesReachTheFiles)
{
    char overlay[] = "/tmp/arx-overlay.XXXXXX";
    ASSERT_NE(mkdtemp(overlay), nullptr);
    std::filesystem::create_directories(std::string(overlay) + "/usr/local/etc/csp");
    std::ofstream(std::string(overlay) + "/usr/local/etc/csp/quoted")
        << R"({"rule": {"img-src": ["https://a.example.com/x\"y", "https://b.example.com/p\\q\\\"r"]}})";
    {
        Appliance appliance(overlay);
        const std::string program = Get(appliance.Url("/webapi/echo.cgi")).Header("Content-Security-Policy");
        ASSERT_NE(program.find(R"(img-src 'self' data: https://tiles.example.net *.photos-cdn.example.net )"
                               R"(https://a.example.com/x"y https://b.example.com/p\q\"r;)"),
                  std::string::npos)
            << program;
        EXPECT_EQ(Get(appliance.Url("/")).Header("Content-Security-Policy") + " ", program);
    }
    arx_testing::RemoveTree(overlay);
}

TEST_F(CspTest, HeaderOptionNoSendsNoPolicy)
{
    Configure("csp_header_option=\"no\"");
    for (const char* program : {"/webapi/echo.cgi", "/webapi/note.cgi?name=welcome", "/webapi/player.cgi"}) {
        const HttpResponse response = Get(appliance_.Url(program));
        EXPECT_EQ(response.status, 200) << program;
        EXPECT_EQ(response.HeaderCount("Content-Security-Policy"), 0u) << program;
        EXPECT_EQ(response.Header("X-Frame-Options"), "SAMEORIGIN") << program;
    }
}

TEST_F(CspTest, ReferrerOnTheAllowListMayFrameThePage)
{
    struct Row {
        const char* referrer;
        size_t frameOptions;  // how many X-Frame-Options headers
    };
    const Row rows[] = {
        {"https://portal.example.com/desktop", 0},
        {"https://PORTAL.example.com/desktop", 0},
        {"http://portal.example.com/desktop", 1},
        {"https://portal.example.com:8443/desktop", 1},
        {"https://evil.example.net/portal.example.com", 1},
    };
    for (const Row& row : rows) {
        const HttpResponse response =
            Send({"GET", appliance_.Url("/webapi/echo.cgi"), "", {std::string("Referer: ") + row.referrer}, ""});
        EXPECT_EQ(response.HeaderCount("X-Frame-Options"), row.frameOptions) << row.referrer;
        EXPECT_EQ(response.Header("Content-Security-Policy"), kSystemPolicy) << row.referrer;
    }
}

TEST_F(CspTest, RuleProgramWidensAndNarrowsThePolicy)
{
    const std::string before = EchoPolicy();
    ASSERT_EQ(before, kSystemPolicy);

    const Json::Value saved = ParseJson(Rules(R"({"action": "save", "name": "weather", "local": true,
        "config": {"rule": {"img-src": ["https://maps.example.org"], "child-src": ["radar.example.org"]}}})")
                                            .body);
    EXPECT_EQ(saved["success"], true) << saved;
    const std::string widened = EchoPolicy();
    EXPECT_NE(widened.find("img-src 'self' data: https://tiles.example.net *.photos-cdn.example.net "
                           "https://maps.example.org;"),
              std::string::npos)
        << widened;
    EXPECT_NE(widened.find("frame-src 'self' https://player.example.net radar.example.org;"), std::string::npos)
        << widened;

    const Json::Value list = ParseJson(Rules(R"({"action": "list"})").body);
    ASSERT_EQ(list["configs"].size(), 3u) << list;
    EXPECT_EQ(list["configs"][0]["name"], "photo-viewer");
    EXPECT_EQ(list["configs"][1]["name"], "media-center");
    EXPECT_EQ(list["configs"][2]["name"], "weather");
    EXPECT_EQ(list["configs"][2]["local"], true);
    EXPECT_EQ(list["configs"][2]["valid"], true);

    const Json::Value refused = ParseJson(Rules(R"({"action": "save", "name": "weather", "local": true,
        "config": {"rule": {"script-src": ["'unsafe-inline'"]}}})")
                                              .body);
    EXPECT_EQ(refused["success"], false);
    EXPECT_EQ(refused["error"], "invalid config");
    EXPECT_EQ(EchoPolicy(), widened) << "a refused config changes nothing";

    for (const char* body : {R"({"action": "save", "name": "../../etc/passwd", "config": {"rule": {}}})",
                             R"({"action": "delete", "name": ".."})", R"({"action": "drop"})", "[1]"}) {
        EXPECT_EQ(ParseJson(Rules(body).body)["success"], false) << body;
    }

    const Json::Value deleted = ParseJson(Rules(R"({"action": "delete", "name": "weather", "local": true})").body);
    EXPECT_EQ(deleted["success"], true);
    EXPECT_EQ(EchoPolicy(), before);
}

}  // namespace
}  // namespace arx_e2e
