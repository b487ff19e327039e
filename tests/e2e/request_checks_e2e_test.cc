// What the programs check of a request before they change anything: the
// method, and for the login, the site the form was sent from.

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

class RequestChecksTest : public ::testing::Test {
protected:
    Appliance appliance_;
};

TEST_F(RequestChecksTest, ProgramsThatChangeStateAcceptPostOnly)
{
    const DemoSession admin = LogInAs(appliance_, "admin", "harbor-admin");
    ASSERT_FALSE(admin.id.empty());
    // A GET with the administrator's cookie (as a link on another site
    // would send it) that asks to delete a rule config.
    const std::string deletion = "%7B%22action%22%3A%22delete%22%2C%22name%22%3A%22photo-viewer%22%7D";
    for (const char* path : {"/webapi/csp_rules.cgi?", "/webapi/sessions.cgi?action=logout_user&user=alice&",
                             "/webapi/logout.cgi?", "/webapi/login.cgi?user=alice&password=harbor-alice&"}) {
        const HttpResponse response = Get(appliance_.Url(path + deletion), admin.Headers());
        EXPECT_EQ(response.status, 405) << path;
        EXPECT_EQ(response.Header("Allow"), "POST") << path;
        EXPECT_EQ(ParseJson(response.body)["error"], "method") << path;
        EXPECT_EQ(SetCookieValue(response, "id"), "") << path;
    }
    EXPECT_EQ(access(appliance_.RootPath("/usr/vorn/etc/csp/photo-viewer").c_str(), F_OK), 0)
        << "the GET deleted nothing";
}

TEST_F(RequestChecksTest, LoginRefusesFormsOfOtherSites)
{
    const std::string own = appliance_.Url("");
    struct Row {
        const char* description;
        std::vector<std::string> headers;
        bool loggedIn;
    };
    const Row rows[] = {
        {"no Origin or Referer (a script)", {}, true},
        {"the appliance's own page", {"Origin: " + own, "Referer: " + own + "/index.html"}, true},
        {"its Referer alone", {"Referer: " + own + "/index.html"}, true},
        {"another site's Origin", {"Origin: http://evil.example"}, false},
        {"another port of the same host", {"Origin: http://127.0.0.1:1"}, false},
        {"another site's Referer", {"Referer: http://evil.example/login.html"}, false},
        {"an Origin that names no site", {"Origin: null"}, false},
        {"the own Referer does not excuse another Origin", {"Origin: http://evil.example", "Referer: " + own + "/"},
         false},
    };
    for (const Row& row : rows) {
        const HttpResponse response = Post(appliance_.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                                           "user=alice&password=harbor-alice", row.headers);
        const Json::Value reply = ParseJson(response.body);
        EXPECT_EQ(reply["success"], row.loggedIn) << row.description;
        EXPECT_EQ(SetCookieValue(response, "id").empty(), !row.loggedIn) << row.description;
        if (!row.loggedIn) {
            EXPECT_EQ(response.status, 403) << row.description;
            EXPECT_EQ(reply["error"], "cross_site") << row.description;
        }
    }
}

}  // namespace
}  // namespace arx_e2e
