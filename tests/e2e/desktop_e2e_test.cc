// desktop.cgi through lighttpd: the configuration of the demo's modules in
// the session's language, from the cache on the second request, "304 Not
// Modified" for the tag of the current version, and a changed module once
// js-config-cache --clear has run.

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "tests/e2e/appliance.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

constexpr char kModules[] = "/usr/vorn/vornman/webman/modules";

void WriteFile(const std::string& path, const std::string& content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
}

class DesktopTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The cache is root's: a server that is not root answers every
        // request by a scan, without versions.
        if (geteuid() != 0)
            GTEST_SKIP() << "lighttpd runs the programs as the user who starts it: needs root";
    }

    // A session of user in the language (none: the appliance's).
    std::vector<std::string> LogIn(const std::string& user, const std::string& password,
                                   const std::string& language = "")
    {
        const HttpResponse response =
            Post(appliance_.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                 "user=" + user + "&password=" + password + (language.empty() ? "" : "&language=" + language));
        const std::string id = SetCookieValue(response, "id");
        EXPECT_FALSE(id.empty()) << response.body;
        return {"Cookie: id=" + id};
    }

    HttpResponse Desktop(const std::string& query, const std::vector<std::string>& headers)
    {
        return Get(appliance_.Url("/webapi/desktop.cgi?" + query), headers);
    }

    // js-config-cache with arguments, as a package script runs it.
    int CacheTool(const std::string& arguments)
    {
        const std::string command = "VORN_ROOT='" + appliance_.RootPath("") +
                                    "' '" ARX_BUILD_DIR "/tools/js-config-cache' " + arguments + " > /dev/null 2>&1";
        const int status = system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    Appliance appliance_;
};

TEST_F(DesktopTest, FirstRequestCacheNotModifiedAndClear)
{
    const std::vector<std::string> alice = LogIn("alice", "harbor-alice", "ger");

    // First request: the version, which builds the cache.
    const HttpResponse first = Desktop("part=version", alice);
    ASSERT_EQ(first.status, 200) << first.body;
    EXPECT_EQ(first.Header("Cache-control"), "no-store");
    EXPECT_EQ(first.Header("ETag"), "");
    const Json::Value version = ParseJson(first.body);
    EXPECT_EQ(version["lang"], "ger");
    const std::string v = version["version"].asString();
    ASSERT_FALSE(v.empty());
    EXPECT_EQ(access(appliance_.RootPath("/var/cache/js_config_parser/config/ARX.json").c_str(), F_OK), 0);

    const std::string query = "part=config&lang=ger&v=" + v;
    const HttpResponse config = Desktop(query, alice);
    ASSERT_EQ(config.status, 200) << config.body;
    const std::string etag = config.Header("ETag");
    EXPECT_FALSE(etag.empty());
    EXPECT_EQ(config.Header("Cache-control"), "private, no-cache");
    EXPECT_FALSE(config.Header("Content-Security-Policy").empty());
    const Json::Value apps = ParseJson(config.body)["apps"];
    EXPECT_GE(apps.size(), 30u);
    EXPECT_EQ(apps["VORN.PAD.App.FileBrowser"]["string_file"], "webman/modules/FileBrowser/texts/ger");
    EXPECT_EQ(apps["VORN.PAD.App.Security"]["string_file"], "webman/modules/Security/texts/enu")
        << "no German strings: English";

    // Second request: from the cache, not from the modules, which changed.
    WriteFile(appliance_.RootPath(std::string(kModules) + "/Archive/config"),
              R"({".url": {"VORN.PAD.App.Archive": {"type": "app"}}})");
    const HttpResponse cached = Desktop(query, alice);
    EXPECT_EQ(cached.body, config.body);
    EXPECT_EQ(cached.Header("ETag"), etag);
    const HttpResponse texts = Desktop("part=texts&lang=ger&v=" + v, alice);
    const Json::Value moduleTexts = ParseJson(texts.body)["texts"];
    EXPECT_EQ(moduleTexts["VORN.PAD.App.FileBrowser"]["app"]["title"], "Dateibrowser");
    EXPECT_EQ(moduleTexts["VORN.PAD.App.Security"]["app"]["title"], "Security");

    // The tag of the current version: 304, nothing else.
    std::vector<std::string> conditional = alice;
    conditional.push_back("If-None-Match: " + etag);
    const HttpResponse notModified = Desktop(query, conditional);
    EXPECT_EQ(notModified.status, 304);
    EXPECT_EQ(notModified.Header("ETag"), etag);
    EXPECT_EQ(notModified.body, "");
    std::vector<std::string> quoted = alice;
    quoted.push_back("If-None-Match: \"" + etag + "\"");
    EXPECT_EQ(Desktop(query, quoted).status, 200) << "the tag compares exactly";
    const HttpResponse anonymous = Desktop(query, {"If-None-Match: " + etag});
    EXPECT_EQ(anonymous.Header("x-request-error"), "unauth") << "no session, no answer";

    // The package tool clears the cache: the same URL and tag get the
    // changed configuration, under a new version.
    ASSERT_EQ(CacheTool("--clear"), 0);
    const HttpResponse changed = Desktop(query, conditional);
    ASSERT_EQ(changed.status, 200) << changed.body;
    EXPECT_EQ(changed.Header("Cache-control"), "no-store");
    const Json::Value after = ParseJson(changed.body);
    EXPECT_TRUE(after["apps"].isMember("VORN.PAD.App.Archive"));
    EXPECT_NE(after["version"].asString(), v);
    const std::string newQuery = "part=config&lang=ger&v=" + after["version"].asString();
    EXPECT_FALSE(Desktop(newQuery, alice).Header("ETag").empty());

    // Built ahead of the first request: the version is there before anyone asks.
    EXPECT_EQ(CacheTool("--clear --warm enu,ger"), 0);
    EXPECT_EQ(access(appliance_.RootPath("/var/cache/js_config_parser/texts/ARX_ger.json").c_str(), F_OK), 0);
    EXPECT_EQ(
        access(appliance_.RootPath("/var/cache/js_config_parser/brieftext/VORN.PAD.App.Search_enu.json").c_str(), F_OK),
        0);
    EXPECT_EQ(CacheTool("--warm ../ger"), 2) << "a language that is no code";
    EXPECT_EQ(CacheTool(""), 2);
}

TEST_F(DesktopTest, EachAccountInItsLanguage)
{
    struct Row {
        const char* user;
        const char* password;
        const char* language;  // at login; "" for the appliance's
        const char* lang;
        const char* title;
    };
    const Row rows[] = {
        {"admin", "harbor-admin", "", "enu", "File Browser"},
        {"alice", "harbor-alice", "ger", "ger", "Dateibrowser"},
        {"alice", "harbor-alice", "fre", "fre", "Explorateur de fichiers"},
    };
    for (const Row& row : rows) {
        const std::vector<std::string> session = LogIn(row.user, row.password, row.language);
        const Json::Value reply = ParseJson(Desktop("part=texts", session).body);
        EXPECT_EQ(reply["lang"], row.lang) << row.user;
        EXPECT_EQ(reply["texts"]["VORN.PAD.App.FileBrowser"]["app"]["title"], row.title) << row.user;
        // The cache keeps each language apart.
        EXPECT_EQ(
            access(
                appliance_.RootPath(std::string("/var/cache/js_config_parser/texts/ARX_") + row.lang + ".json").c_str(),
                F_OK),
            0)
            << row.user;
    }
}

TEST_F(DesktopTest, UnknownPartIsRefused)
{
    const std::vector<std::string> admin = LogIn("admin", "harbor-admin");
    const HttpResponse response = Desktop("part=everything", admin);
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(ParseJson(response.body)["error"], "part");
}

}  // namespace
}  // namespace arx_e2e
