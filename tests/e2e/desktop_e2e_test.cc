// desktop.cgi through lighttpd: the configuration of the demo's modules in
// the session's language, from the cache on the second request, "304 Not
// Modified" for the tag of the current version, and a changed module once
// js-config-cache --clear has run.  Each account seeing the desktop in its
// language is the browser flow's (tests/browser/flows/desktop.test.mjs).

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

class DesktopTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The cache is root's: a server that is not root answers every
        // request by a scan, without versions.
        if (geteuid() != 0)
            GTEST_SKIP() << "lighttpd runs the programs as the user who starts it: needs root";
    }

    HttpResponse Desktop(const std::string& query, const std::vector<std::string>& headers)
    {
        return Get(appliance_.Url("/webapi/desktop.cgi?" + query), headers);
    }

    // The exit status of js-config-cache with arguments, run as a package script runs it.
    int CacheTool(const std::string& arguments)
    {
        const std::string command = "VORN_ROOT='" + appliance_.RootPath("") +
                                    "' '" ARX_BUILD_DIR "/tools/js-config-cache' " + arguments + " > /dev/null 2>&1";
        const int status = system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    bool Cached(const std::string& file) const
    {
        return access(appliance_.RootPath("/var/cache/js_config_parser/" + file).c_str(), F_OK) == 0;
    }

    Appliance appliance_;
};

TEST_F(DesktopTest, FirstRequestCacheNotModifiedAndClear)
{
    const HttpResponse login = Post(appliance_.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                                    "user=admin&password=harbor-admin&language=ger");
    const std::vector<std::string> admin = {"Cookie: id=" + SetCookieValue(login, "id")};

    // First request: the version, which builds the cache.
    const HttpResponse first = Desktop("part=version", admin);
    ASSERT_EQ(first.status, 200) << first.body;
    EXPECT_TRUE(first.Header("Cache-control") == "no-store" && first.Header("ETag").empty());
    const Json::Value version = ParseJson(first.body);
    EXPECT_EQ(version["lang"], "ger");
    const std::string v = version["version"].asString();
    ASSERT_FALSE(v.empty());
    EXPECT_TRUE(Cached("config/ARX.json") && Cached("texts/ARX_ger.json"));

    const std::string query = "part=config&lang=ger&user=admin&v=" + v;
    const HttpResponse config = Desktop(query, admin);
    ASSERT_EQ(config.status, 200) << config.body;
    const std::string etag = config.Header("ETag");
    EXPECT_FALSE(etag.empty());
    EXPECT_EQ(config.Header("Cache-control"), "private, no-cache");
    const Json::Value apps = ParseJson(config.body)["apps"];
    EXPECT_GE(apps.size(), 30u);
    EXPECT_EQ(apps["VORN.PAD.App.FileBrowser"]["string_file"], "webman/modules/FileBrowser/texts/ger");
    EXPECT_EQ(apps["VORN.PAD.App.Security"]["string_file"], "webman/modules/Security/texts/enu") << "English";

    // Second request: from the cache, not from the modules, which changed.
    const std::string archive = appliance_.RootPath("/usr/vorn/vornman/webman/modules/Archive");
    std::filesystem::create_directories(archive);
    std::ofstream(archive + "/config") << R"({".url": {"VORN.PAD.App.Archive": {"type": "app"}}})";
    const HttpResponse cached = Desktop(query, admin);
    EXPECT_TRUE(cached.body == config.body && cached.Header("ETag") == etag);
    const Json::Value texts = ParseJson(Desktop("part=texts&lang=ger&user=admin&v=" + v, admin).body)["texts"];
    EXPECT_EQ(texts["VORN.PAD.App.FileBrowser"]["app"]["title"], "Dateibrowser");
    const HttpResponse unknown = Desktop("part=everything", admin);
    EXPECT_TRUE(unknown.status == 400 && ParseJson(unknown.body)["error"] == "part") << unknown.body;

    // The tag of the current version: 304, nothing else; only exactly that
    // tag, and only for a session.
    std::vector<std::string> conditional = admin;
    conditional.push_back("If-None-Match: " + etag);
    const HttpResponse notModified = Desktop(query, conditional);
    EXPECT_EQ(notModified.status, 304);
    EXPECT_TRUE(notModified.Header("ETag") == etag && notModified.body.empty());
    EXPECT_EQ(Desktop(query, {admin[0], "If-None-Match: \"" + etag + "\""}).status, 200) << "the tag compares exactly";
    EXPECT_EQ(Desktop(query, {"If-None-Match: " + etag}).Header("x-request-error"), "unauth") << "no session";

    // The package tool clears the cache: the same URL and tag get the
    // changed configuration, under a new version.
    ASSERT_EQ(CacheTool("--clear"), 0);
    const HttpResponse changed = Desktop(query, conditional);
    ASSERT_EQ(changed.status, 200) << changed.body;
    EXPECT_EQ(changed.Header("Cache-control"), "no-store");
    const Json::Value after = ParseJson(changed.body);
    EXPECT_TRUE(after["apps"].isMember("VORN.PAD.App.Archive"));
    EXPECT_NE(after["version"].asString(), v);

    // Built ahead of the first request: the version is there before anyone asks.
    EXPECT_EQ(CacheTool("--clear --warm enu,ger"), 0);
    EXPECT_TRUE(Cached("texts/ARX_ger.json") && Cached("brieftext/VORN.PAD.App.Search_enu.json"));
    EXPECT_EQ(CacheTool("--warm ../ger"), 2) << "a language that is no code";
    EXPECT_EQ(CacheTool(""), 2);
}

}  // namespace
}  // namespace arx_e2e
