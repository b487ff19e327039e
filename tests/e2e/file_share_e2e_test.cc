// file_list.cgi and mkdir.cgi through lighttpd: each account's shares and
// folders, refusals of forbidden shares and crafted paths, folders made
// with valid and invalid names.

#include <sys/stat.h>
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

constexpr char kList[] = "/webapi/file_list.cgi";
constexpr char kMkdir[] = "/webapi/mkdir.cgi";

class FileShareE2eTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        alice_ = LogInAs(appliance_, "alice", "harbor-alice");
        admin_ = LogInAs(appliance_, "admin", "harbor-admin");
        ASSERT_FALSE(alice_.id.empty());
        ASSERT_FALSE(admin_.id.empty());
    }

    // "STATUS error" for a refusal, else the names listed, comma separated.
    // Bytes that the web server refuses in a URL (NUL, controls, no UTF-8)
    // go in a form body.
    std::string List(const DemoSession& session, const std::string& encodedPath, bool inBody = false)
    {
        const HttpResponse response =
            inBody ? Post(appliance_.Url(kList), "application/x-www-form-urlencoded", "path=" + encodedPath,
                          session.Headers())
                   : Get(appliance_.Url(kList) + "?path=" + encodedPath, session.Headers());
        const Json::Value reply = ParseJson(response.body);
        if (response.status != 200 || !reply["success"].asBool())
            return std::to_string(response.status) + " " + reply["error"].asString();
        std::string names;
        for (const Json::Value& folder : reply["folders"])
            names += (names.empty() ? "" : ",") + folder["name"].asString();
        return names;
    }

    // "STATUS error" (or "200 ok").
    std::string Mkdir(const DemoSession& session, const std::string& body)
    {
        const HttpResponse response =
            Post(appliance_.Url(kMkdir), "application/x-www-form-urlencoded", body, session.Headers());
        const Json::Value reply = ParseJson(response.body);
        return std::to_string(response.status) + " " +
               (reply["success"].asBool() ? std::string("ok") : reply["error"].asString());
    }

    Appliance appliance_;
    DemoSession alice_;
    DemoSession admin_;
};

TEST_F(FileShareE2eTest, EachAccountBrowsesTheFoldersItMayRead)
{
    const HttpResponse shares = Get(appliance_.Url(kList), alice_.Headers());
    ASSERT_EQ(shares.status, 200);
    const Json::Value reply = ParseJson(shares.body);
    ASSERT_EQ(reply["folders"].size(), 3u) << shares.body;
    EXPECT_EQ(reply["folders"][0]["path"].asString(), "/home");
    EXPECT_EQ(reply["folders"][1]["name"].asString(), "photos");
    EXPECT_FALSE(reply["folders"][1]["writable"].asBool()) << "read-only for her";
    EXPECT_TRUE(reply["folders"][2]["writable"].asBool());
    EXPECT_EQ(shares.Header("Cache-control"), "no-store");

    struct Row { const DemoSession& session; const char* path; const char* listed; };
    const Row rows[] = {
        {admin_, "/", "finance,home,homes,photos,public"},
        // In the tree's order; the folder alice may not read is not shown.
        {alice_, "/photos", "2024,birthday,Αθήνα,Москва,القاهرة,東京の旅"},
        {admin_, "/photos", "2024,birthday,Private,Αθήνα,Москва,القاهرة,東京の旅"},
        {alice_, "/photos/%E6%9D%B1%E4%BA%AC%E3%81%AE%E6%97%85/%E6%B5%85%E8%8D%89", "雷門"},
        {alice_, "/photos/2024/%C3%89t%C3%A9%20%C3%A0%20Paris/", "Jour 1"},
        {alice_, "/public/Projekte", "Ärger & Ärgernisse"},
        {alice_, "/home", "Notes"},
        {alice_, "/homes/alice", "Notes"},
        {admin_, "/homes", "admin,alice,carol"},
        {admin_, "/finance", "Budget 2025"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(List(row.session, row.path), row.listed) << row.path;
}

TEST_F(FileShareE2eTest, ForbiddenSharesAndCraftedPathsAreRefused)
{
    // A link in the readable share that leads into the forbidden one.
    ASSERT_EQ(symlink("../finance", appliance_.RootPath("/volume1/public/escape").c_str()), 0);
    struct Row { const char* path; const char* answer; bool inBody = false; };
    const Row rows[] = {
        {"/finance", "403 no_privilege"},
        {"/finance/Budget%202025", "403 no_privilege"},
        {"/photos/Private", "403 no_privilege"},   // the share lets her read, the folder does not
        {"/homes", "403 no_privilege"},
        {"/homes/carol", "403 no_privilege"},
        {"/public/../finance", "400 bad_path"},
        {"/public/%2E%2E/finance", "400 bad_path"},
        {"/public/..%2Ffinance", "400 bad_path"},
        {"/public/./Documents", "400 bad_path"},
        {"//public", "400 bad_path"},
        {"/public//Documents", "400 bad_path"},
        {"public", "400 bad_path"},
        {"/public/%FF", "400 bad_path", true},
        {"/public/a%0Ab", "400 bad_path", true},
        {"/public/%C0%AE%C0%AE/finance", "400 bad_path", true},  // overlong dots
        {"/public/escape", "403 link"},
        {"/public/escape/Budget%202025", "403 link"},
        {"/PUBLIC", "404 not_found"},                           // another case is another share
        {"/nothing", "404 not_found"},
        {"/public/missing", "404 not_found"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(List(alice_, row.path, row.inBody), row.answer) << row.path;
    EXPECT_EQ(List(alice_, "/public"), "Documents,Projekte") << "no link is listed";
    EXPECT_EQ(List(admin_, "/public/escape"), "403 link") << "not for administrators either";
    // A NUL drops the parameter: the shares, never what lies past it.
    EXPECT_EQ(List(alice_, "/finance%00/../public", true), "home,photos,public");
    const HttpResponse anonymous = Get(appliance_.Url(kList) + "?path=/public");
    EXPECT_NE(anonymous.Header("x-request-error"), "");
}

TEST_F(FileShareE2eTest, FoldersAreMadeWithCheckedNames)
{
    EXPECT_EQ(Mkdir(alice_, "path=/public/Documents&name=Neuer+Ordner+%E6%96%B0"), "200 ok");
    struct stat st;
    const std::string made = appliance_.RootPath("/volume1/public/Documents/Neuer Ordner 新");
    ASSERT_EQ(stat(made.c_str(), &st), 0);
    if (geteuid() == 0) {
        EXPECT_EQ(st.st_uid, 1002u) << "made as alice";
    }
    EXPECT_EQ(List(alice_, "/public/Documents"), "Neuer Ordner 新,Reports");
    struct Row { const DemoSession& session; const char* body; const char* answer; };
    const Row rows[] = {
        {alice_, "path=/public/Documents&name=Neuer+Ordner+%E6%96%B0", "409 exists"},
        {alice_, "path=/public&name=a%3Ab", "400 bad_name"},
        {alice_, "path=/public&name=..", "400 bad_name"},
        {alice_, "path=/public&name=%40eaDir", "400 bad_name"},
        {alice_, "path=/public&name=._hidden", "400 bad_name"},
        {alice_, "path=/public&name=a%2Fb", "400 bad_name"},
        {alice_, "path=/public&name=", "400 bad_name"},
        {alice_, "path=/public&name=%FF", "400 bad_name"},
        {alice_, "path=/public&name=a%0Db", "400 bad_name"},
        {alice_, "path=/public/../finance&name=x", "400 bad_path"},
        {alice_, "path=/&name=newshare", "400 bad_path"},
        {alice_, "path=/photos&name=x", "403 no_privilege"},   // read-only share
        {alice_, "path=/finance&name=x", "403 no_privilege"},
        {alice_, "path=/home&name=Ideas", "200 ok"},
        {admin_, "path=/finance&name=Q1", "200 ok"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Mkdir(row.session, row.body), row.answer) << row.body;
    EXPECT_EQ(List(alice_, "/home"), "Ideas,Notes");
    if (geteuid() == 0) {
        ASSERT_EQ(stat(appliance_.RootPath("/volume1/finance/Q1").c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, 1001u) << "an administrator's folder is theirs, not root's";
    }
    const std::string longName(256, 'n');
    EXPECT_EQ(Mkdir(alice_, "path=/public&name=" + longName), "400 bad_name");
    EXPECT_EQ(Mkdir(alice_, "path=/public&name=" + longName.substr(1)), "200 ok");

    // State changes need POST and the session's token.
    const HttpResponse get = Get(appliance_.Url(kMkdir) + "?path=/public&name=x", alice_.Headers());
    EXPECT_EQ(get.status, 405);
    const HttpResponse noToken = Post(appliance_.Url(kMkdir), "application/x-www-form-urlencoded",
                                      "path=/public&name=x", {"Cookie: id=" + alice_.id});
    EXPECT_NE(noToken.Header("x-request-error"), "");
    EXPECT_NE(access(appliance_.RootPath("/volume1/public/x").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace arx_e2e
