// Authorization and what a refused request is answered, redirects, and
// file-sharing requests.  This binary defines VornCgiIsAuthorized itself,
// so that every result the platform may give can be tried; it passes the
// call on to the platform unless a result is forced.

#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/interpose.h"
#include "testing/sessions.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

bool g_forced = false;
int g_forcedResult = 0;
VORN_AUTH_REQUEST g_seenRequest = {0, false};

}  // namespace

extern "C" int VornCgiIsAuthorized(VornCgi* cgi, char* user, int size, VORN_AUTH_REQUEST* request,
                                   CGI_POSITION position)
{
    g_seenRequest = *request;
    if (g_forced) {
        if (g_forcedResult >= 1)
            snprintf(user, static_cast<size_t>(size), "forced");
        return g_forcedResult;
    }
    return ARX_NEXT(VornCgiIsAuthorized)(cgi, user, size, request, position);
}

namespace {

using arx_testing::ChildOptions;
using arx_testing::RunInChild;
using arx_testing::WithEnvironment;

// The response of a program that checks authorization and, when it
// passes, prints "authorized as USER".
std::string Answer(int forcedResult, const ChildOptions& request = {}, const char* redirect = nullptr)
{
    g_forced = true;
    g_forcedResult = forcedResult;
    return RunInChild(
               [redirect] {
                   WebMan web(true);
                   if (web.IsAuthorized(redirect, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
                       printf("authorized as %s", web.GetLoginUserName().c_str());
               },
               request)
        .output;
}

Json::Value BodyOf(const std::string& response)
{
    Json::Value body;
    Json::CharReaderBuilder builder;
    std::string errors;
    const std::string text = response.substr(response.find("\r\n\r\n") + 4);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &body, &errors)) << response;
    return body;
}

class AuthorizeReplyTest : public ::testing::Test {
protected:
    void TearDown() override { g_forced = false; }
    arx_testing::TempRoot root_;
};

TEST_F(AuthorizeReplyTest, EveryFailureHasItsReply)
{
    struct Row {
        int result;
        const char* error;
        const char* section;
        const char* key;
    };
    const Row rows[] = {
        {-1, "timeout", "login", "error_timeout"},     {-5, "unauth", "login", "error_noprivilege"},
        {-2, "noprivilege", "login", "error_noprivilege"}, {-3, "relogin", "login", "error_interrupt"},
        {-8, "errorip", "login", "error_noprivilege"}, {-4, "system", "common", "error_system"},
        {-6, "system", "common", "error_system"},      {-7, "system", "common", "error_system"},
        {0, "system", "common", "error_system"},       {-100, "system", "common", "error_system"},
    };
    for (const Row& row : rows) {
        const std::string response = Answer(row.result);
        const std::string headers = std::string("x-request-error: ") + row.error +
                                    "\r\nContent-type: text/plain; charset=\"UTF-8\"\r\n\r\n";
        EXPECT_EQ(response.substr(0, headers.size()), headers) << row.result;
        Json::Value expected;
        expected["success"] = false;
        expected["total"] = 0;
        expected["items"] = Json::Value(Json::arrayValue);
        expected["errno"]["section"] = row.section;
        expected["errno"]["key"] = row.key;
        EXPECT_EQ(BodyOf(response), expected) << row.result;
    }
    EXPECT_EQ(Answer(-1).substr(Answer(-1).find("\r\n\r\n") + 4),
              "{\n   \"errno\" : {\n      \"key\" : \"error_timeout\",\n      \"section\" : \"login\"\n   },\n"
              "   \"items\" : [],\n   \"success\" : false,\n   \"total\" : 0\n}\n")
        << "the reply word for word, as the UI parses it";
}

TEST_F(AuthorizeReplyTest, ContentTypeRedirectAndSuccess)
{
    const std::string upload = Answer(-5, arx_testing::PostRequest("--x--\r\n", "multipart/form-data; boundary=x"));
    EXPECT_EQ(upload.substr(0, upload.find("\r\n\r\n")),
              "x-request-error: unauth\r\nContent-type: text/html; charset=\"UTF-8\"")
        << "an upload's frame reads the JSON as HTML";
    EXPECT_EQ(BodyOf(upload)["errno"]["key"], "error_noprivilege");

    EXPECT_EQ(Answer(-1, {}, "/login.html"), "Status: 302 Found\r\nLocation: /login.html\r\n\r\n");
    EXPECT_EQ(Answer(1), "authorized as forced");
    EXPECT_EQ(Answer(2), "authorized as forced") << "any result above 0 passes";

    g_forced = true;
    g_forcedResult = -2;
    const auto custom = RunInChild([] {
        WebMan web(false);
        web.SetDefaultContentType("application/json");
        web.IsAuthorized(nullptr, 6, CGI_POSITION_LOGIN);
        printf("level %d flag %d", g_seenRequest.level, g_seenRequest.noRefresh);
    });
    EXPECT_NE(custom.output.find("Content-type: application/json\r\n"), std::string::npos);
    EXPECT_NE(custom.output.find("level 6 flag 0"), std::string::npos) << "the level is passed as given";
}

TEST_F(AuthorizeReplyTest, ASessionParameterReplacesTheCookies)
{
    arx_testing::WriteUserDatabase(root_);
    const std::string id = arx_testing::LoginSession("alice", arx_testing::kAlice.password);
    ASSERT_FALSE(id.empty());
    const auto check = [](const std::string& query, const std::string& cookie) {
        ChildOptions request = arx_testing::GetRequest(query);
        request.env.push_back({"HTTP_COOKIE", cookie});
        request.env.push_back({"REMOTE_ADDR", "127.0.0.1"});
        return RunInChild(
                   [] {
                       WebMan web(true);
                       const int result = web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
                       printf("%d %s other=%s cookie=%s", result, web.GetLoginUserName().c_str(),
                              web.GetCookie("other", "(gone)"), getenv("HTTP_COOKIE"));
                   },
                   request)
            .output;
    };
    EXPECT_EQ(check("_sid=" + id, "other=1; id=AAAAAAAAAAAAAAAAAAAAAA"),
              "1 alice other=(gone) cookie=id=" + id);
    EXPECT_EQ(check("_sid=", "other=1; id=" + id), "1 alice other=1 cookie=other=1; id=" + id)
        << "an empty parameter changes nothing";
    const std::string longSid(200, 'A');
    EXPECT_EQ(check("_sid=" + longSid, "id=" + id), "-1  other=(gone) cookie=id=" + longSid.substr(0, 121))
        << "a long parameter is cut, and the login user name is cleared";
}

TEST(RedirectHeaderTest, AbsoluteLocation)
{
    struct Row {
        const char* https;
        const char* forwardedProto;
        const char* host;
        const char* path;
        const char* location;  // nullptr: none queued, false returned
    };
    const Row rows[] = {
        {nullptr, nullptr, "nas:5000", "/a/b", "http://nas:5000/a/b"},
        {nullptr, nullptr, "nas:5000", "a/b", "http://nas:5000/a/b"},
        {nullptr, nullptr, "nas", "//x", "http://nas//x"},
        {nullptr, nullptr, "nas", "", "http://nas/"},
        {"on", nullptr, "nas", "/a", "https://nas/a"},
        {"ON", nullptr, "nas", "/a", "https://nas/a"},
        {"off", "HTTPS", "nas", "/a", "https://nas/a"},
        {nullptr, "https", "nas", "/a", "https://nas/a"},
        {"off", nullptr, "nas", "/a", "http://nas/a"},
        {nullptr, "http", "nas", "/a", "http://nas/a"},
        {"1", nullptr, "nas", "/a", "http://nas/a"},
        {"on", nullptr, nullptr, "/a", nullptr},
        {nullptr, nullptr, "nas", nullptr, nullptr},
    };
    for (const Row& row : rows) {
        ChildOptions request;
        if (row.https != nullptr)
            request.env.push_back({"HTTPS", row.https});
        if (row.forwardedProto != nullptr)
            request.env.push_back({"HTTP_X_FORWARDED_PROTO", row.forwardedProto});
        if (row.host != nullptr)
            request.env.push_back({"HTTP_HOST", row.host});
        const std::string output = RunInChild(
                                       [&] {
                                           WebMan web(false);
                                           printf("%d\n", web.AddRedirectHeader(row.path));
                                           web.WriteHeader("text/plain");
                                       },
                                       request)
                                       .output;
        const std::string expected = row.location != nullptr
                                         ? std::string("1\nLocation: ") + row.location + "\r\n"
                                         : std::string("0\n");
        EXPECT_EQ(output, expected + "Content-type: text/plain\r\n\r\n")
            << (row.https ? row.https : "-") << " " << (row.forwardedProto ? row.forwardedProto : "-") << " "
            << (row.path ? row.path : "(null)");
    }
}

TEST(SharingRequestTest, IdAndSessionOfASharingLink)
{
    struct Row {
        const char* header;  // X-Vorn-Sharing
        const char* query;
        const char* cookie;
        const char* seen;
    };
    const Row rows[] = {
        {"abc", "", "sharing_sid=s1", "1 [abc] [s1]"},
        {nullptr, "_sharing_id=%22abc%22", "sharing_sid=s1", "1 [abc] [s1]"},
        {nullptr, "_sharing_id=%22abc", "sharing_sid=s1", "1 [\"abc] [s1]"},
        {nullptr, "_sharing_id=abc%22", "sharing_sid=s1", "1 [abc\"] [s1]"},
        {nullptr, "_sharing_id=%22", "sharing_sid=s1", "0 [] [s1]"},
        {nullptr, "_sharing_id=%22%22", "sharing_sid=s1", "0 [] [s1]"},
        {"", "_sharing_id=abc", "sharing_sid=s1", "0 [] [s1]"},  // the header wins, even empty
        {"hdr", "_sharing_id=abc", "sharing_sid=s1", "1 [hdr] [s1]"},
        {nullptr, "_sharing_id=abc", "", "0 [abc] []"},
        {nullptr, "", "sharing_sid=s1", "0 [] [s1]"},
    };
    for (const Row& row : rows) {
        ChildOptions request = arx_testing::GetRequest(row.query);
        request.env.push_back({"HTTP_COOKIE", row.cookie});
        if (row.header != nullptr)
            request.env.push_back({"HTTP_X_VORN_SHARING", row.header});
        const std::string output = RunInChild(
                                       [] {
                                           WebMan web(true);
                                           std::string id = "old", sid = "old";
                                           const bool sharing = web.IsSharingRequest(id, sid);
                                           printf("%d [%s] [%s]", sharing, id.c_str(), sid.c_str());
                                       },
                                       request)
                                       .output;
        EXPECT_EQ(output, row.seen) << row.query << " " << (row.header ? row.header : "-");
    }
}

}  // namespace
