// The desktop per account through lighttpd: alice and admin see different
// applications, a grant through apps.cgi shows at once (the cache does not
// hide it), a standalone application's page gets its own style sheets, an
// unreadable privilege table grants nothing, and theme.cgi switches the
// desktop's theme for administrators only.

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

constexpr char kNoteBoard[] = "Demo.NoteBoard";
constexpr char kTextEditor[] = "VORN.PAD.App.TextEditor";
constexpr char kRouterDesktop[] = "VORN.PAD._ThirdParty.Desktop.Router";
constexpr char kRouterApp[] = "VORN.PAD._ThirdParty.App.Router";

class DesktopAddonsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "the cache and the theme file are root's: needs root";
        admin_ = LogInAs(appliance_, "admin", "harbor-admin");
        alice_ = LogInAs(appliance_, "alice", "harbor-alice");
        ASSERT_FALSE(admin_.id.empty() || alice_.id.empty());
    }

    // The version, then a document of that version, as the page asks.
    Json::Value Document(const DemoSession& session, const std::string& part, const std::string& app = "")
    {
        const std::string appQuery = app.empty() ? "" : "&app=" + app;
        const HttpResponse version =
            Get(appliance_.Url("/webapi/desktop.cgi?part=version" + appQuery), session.Headers());
        EXPECT_EQ(version.status, 200) << version.body;
        const Json::Value v = ParseJson(version.body);
        const HttpResponse reply =
            Get(appliance_.Url("/webapi/desktop.cgi?part=" + part + "&lang=" + v["lang"].asString() +
                               "&user=" + v["user"].asString() + "&v=" + v["version"].asString() + appQuery),
                session.Headers());
        EXPECT_EQ(reply.status, 200) << reply.body;
        return ParseJson(reply.body);
    }

    HttpResponse Call(const std::string& program, const DemoSession& session, const std::string& body)
    {
        return Post(appliance_.Url("/webapi/" + program), "application/json", body, session.Headers());
    }

    Appliance appliance_;
    DemoSession admin_;
    DemoSession alice_;
};

TEST_F(DesktopAddonsTest, EachAccountItsApplicationsAndGrants)
{
    const Json::Value adminApps = Document(admin_, "config")["apps"];
    const Json::Value aliceApps = Document(alice_, "config")["apps"];
    // id, admin sees it, alice sees it
    struct Row {
        const char* id;
        bool admin, alice;
    };
    const Row rows[] = {
        {"VORN.PAD.App.FileBrowser", true, true},  // granted to @users
        {"VORN.PAD.App.Security", true, false},  // not grantable: administrators only
        {kNoteBoard, true, true},  // an add-on's own module, granted to alice
        {kTextEditor, true, false},  // grantable, not granted to alice yet
        {kRouterDesktop, true, true},  // adminonly=false
        {kRouterApp, true, false},  // adminonly
        {"VORN.PAD.Lib.Utils", true, true},  // libraries are everyone's
    };
    for (const Row& row : rows) {
        EXPECT_EQ(adminApps.isMember(row.id), row.admin) << row.id;
        EXPECT_EQ(aliceApps.isMember(row.id), row.alice) << row.id;
    }
    EXPECT_EQ(aliceApps[kRouterDesktop]["url"],
              appliance_.Url("").replace(appliance_.Url("").rfind(':'), 100, ":8080/status"));

    // apps.cgi is the administrators', and POST only.
    EXPECT_EQ(Call("apps.cgi", alice_, R"({"action": "list"})").Header("x-request-error"), "noprivilege");
    EXPECT_EQ(Get(appliance_.Url("/webapi/apps.cgi"), admin_.Headers()).status, 405);
    const Json::Value list = ParseJson(Call("apps.cgi", admin_, R"({"action": "list"})").body);
    ASSERT_TRUE(list["success"].asBool()) << list;
    bool listed = false;
    for (const Json::Value& app : list["apps"])
        listed = listed || (app["id"] == kNoteBoard && app["allow"][0] == "alice" && app["title"] == "Note Board");
    EXPECT_TRUE(listed) << list;
    struct Refusal {
        const char* body;
        const char* error;
    };
    for (const Refusal& refusal : {
             Refusal {R"({"action": "set", "app": "VORN.PAD.App.Security", "name": "alice", "rule": "allow"})",
                      "not a grantable application"},
             Refusal {R"({"action": "set", "app": "VORN.PAD.App.TextEditor", "name": "mallory", "rule": "allow"})",
                      "no such user"},
             Refusal {R"({"action": "set", "app": "VORN.PAD.App.TextEditor", "name": "alice", "rule": "root"})",
                      "the rule is allow, deny or none"},
             Refusal {R"({"action": "set", "app": "VORN.PAD.App.TextEditor", "name": "@", "rule": "allow"})",
                      "the privilege could not be saved"},
         })
        EXPECT_EQ(ParseJson(Call("apps.cgi", admin_, refusal.body).body)["error"], refusal.error) << refusal.body;

    // The grant shows at once: a new version, whose document has it.
    const std::string before =
        ParseJson(Get(appliance_.Url("/webapi/desktop.cgi?part=version"), alice_.Headers()).body)["version"].asString();
    EXPECT_TRUE(ParseJson(Call("apps.cgi", admin_,
                               std::string(R"({"action": "set", "name": "alice", "rule": "allow", "app": ")") +
                                   kTextEditor + "\"}")
                              .body)["success"]
                    .asBool());
    const Json::Value granted = Document(alice_, "config");
    EXPECT_NE(granted["version"].asString(), before);
    EXPECT_TRUE(granted["apps"].isMember(kTextEditor));
}

TEST_F(DesktopAddonsTest, StandaloneApplicationPageAndUnreadableTable)
{
    const Json::Value page = Document(alice_, "config", "VORN.PAD.App.PhotoViewer");
    std::vector<std::string> css;
    for (const Json::Value& url : page["css"])
        css.push_back(url.asString().substr(0, url.asString().rfind("?v=")));
    EXPECT_EQ(css,
              (std::vector<std::string> {"webman/modules/FileBrowser/style.css", "webman/modules/FileChooser/style.css",
                                         "webman/modules/PhotoViewer/style.css", "webman/modules/Utils/style.css"}));
    const Json::Value texts = Document(alice_, "texts", "VORN.PAD.App.PhotoViewer")["texts"];
    EXPECT_EQ(texts.getMemberNames(),
              (std::vector<std::string> {"VORN.PAD.App.FileBrowser", "VORN.PAD.App.PhotoViewer"}));
    const Json::Value desktopCss = Document(alice_, "config")["css"];
    for (const Json::Value& url : desktopCss)
        EXPECT_EQ(url.asString().find("PhotoViewer"), std::string::npos) << "not loaded with the desktop";

    // An application alice may not open, and one nobody declares: refused,
    // and no cache of their own.
    for (const char* app : {"VORN.PAD.App.Security", "No.Such.App"}) {
        const HttpResponse refused =
            Get(appliance_.Url(std::string("/webapi/desktop.cgi?part=config&app=") + app), alice_.Headers());
        EXPECT_EQ(refused.status, 403) << app;
        EXPECT_NE(
            access(appliance_.RootPath(std::string("/var/cache/js_config_parser/config/") + app + ".json").c_str(),
                   F_OK),
            0);
    }

    // A table that cannot be read grants nothing; administrators keep theirs.
    std::ofstream(appliance_.RootPath("/usr/vorn/etc/app_privilege.json")) << "{\"VORN.PAD.App.FileBrowser\": 1}";
    const Json::Value apps = Document(alice_, "config")["apps"];
    EXPECT_FALSE(apps.isMember("VORN.PAD.App.FileBrowser"));
    EXPECT_TRUE(apps.isMember(kRouterDesktop));
    EXPECT_TRUE(Document(admin_, "config")["apps"].isMember("VORN.PAD.App.Security"));
}

TEST_F(DesktopAddonsTest, ThemeSwitch)
{
    const std::string target = appliance_.RootPath("/usr/vorn/vornman/theme/desktop.css");
    EXPECT_EQ(Call("theme.cgi", alice_, R"({"action": "apply", "theme": "dark"})").Header("x-request-error"),
              "noprivilege");
    const Json::Value list = ParseJson(Call("theme.cgi", admin_, R"({"action": "list"})").body);
    EXPECT_EQ(list["themes"], ParseJson(R"({"dark": ["apply"], "light": ["apply"]})")) << list;
    EXPECT_EQ(ParseJson(Call("theme.cgi", admin_, R"({"action": "apply", "theme": "sepia"})").body)["error"],
              "no such theme");

    const Json::Value applied = ParseJson(Call("theme.cgi", admin_, R"({"action": "apply", "theme": "dark"})").body);
    EXPECT_TRUE(applied["success"].asBool()) << applied;
    char link[PATH_MAX] = {};
    ASSERT_GT(readlink(target.c_str(), link, sizeof link - 1), 0);
    EXPECT_EQ(std::string(link), appliance_.RootPath("/usr/vorn/theme/dark/desktop.css"));
    EXPECT_NE(Get(appliance_.Url("/theme/desktop.css")).body.find("\"dark\""), std::string::npos);

    // A theme file others may write is refused, and nothing changes.
    ASSERT_EQ(chmod(appliance_.RootPath("/usr/vorn/theme/theme.json").c_str(), 0666), 0);
    EXPECT_EQ(ParseJson(Call("theme.cgi", admin_, R"({"action": "apply", "theme": "light"})").body)["error"],
              "the theme file cannot be used");
    EXPECT_NE(Get(appliance_.Url("/theme/desktop.css")).body.find("\"dark\""), std::string::npos);
}

}  // namespace
}  // namespace arx_e2e
