// echo.cgi through lighttpd: the ways a program receives its parameters,
// and a header that would split the response.

#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include "tests/e2e/appliance.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

class EchoTest : public ::testing::Test {
protected:
    Appliance appliance_;
};

TEST_F(EchoTest, TheWaysAProgramReceivesItsParameters)
{
    struct Row {
        const char* description;
        HttpResponse response;
        const char* source;
        const char* data;
    };
    const std::string url = appliance_.Url("/webapi/echo.cgi");
    const Row rows[] = {
        {"a JSON body, whole", Post(url, "application/json", R"({"name": "Zoë", "list": [1, 2, {"deep": true}]})"),
         "json", R"({"name": "Zoë", "list": [1, 2, {"deep": true}]})"},
        {"a form body, decoded, the first of a name wins",
         Post(url, "application/x-www-form-urlencoded", "name=Zo%C3%AB&message=a+b%26c&name=second"), "form",
         R"({"name": "Zoë", "message": "a b&c"})"},
        {"the query of a GET", Get(url + "?message=from%20the%20query&tag=t1"), "form",
         R"({"message": "from the query", "tag": "t1"})"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.response.status, 200) << row.description;
        EXPECT_EQ(row.response.Header("Content-type"), "application/json; charset=\"UTF-8\"") << row.description;
        const Json::Value reply = ParseJson(row.response.body);
        EXPECT_EQ(reply["source"], row.source) << row.description;
        EXPECT_EQ(reply["data"], ParseJson(row.data)) << row.description;
    }
    EXPECT_EQ(rows[2].response.Header("X-Echo-Tag"), "t1");
}

TEST_F(EchoTest, HeaderThatWouldSplitTheResponseIsRefused)
{
    // lighttpd itself refuses control characters in the URL; the body is
    // where they reach the program.
    const HttpResponse response = Post(appliance_.Url("/webapi/echo.cgi"), "application/x-www-form-urlencoded",
                                       "tag=x%0D%0ASet-Cookie:%20id=evil%0D%0A%0D%0A<script>");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.HeaderCount("X-Echo-Tag"), 0u);
    EXPECT_EQ(response.HeaderCount("Set-Cookie"), 0u);
    const Json::Value reply = ParseJson(response.body);
    EXPECT_EQ(reply["tag_refused"], true);
    EXPECT_EQ(reply["data"]["tag"], "x\r\nSet-Cookie: id=evil\r\n\r\n<script>") << "the value itself is data";
}

TEST_F(EchoTest, BodyOverTheLimitGivesNoParameters)
{
    std::ofstream(appliance_.RootPath("/etc/vorninfo.conf"), std::ios::app) << "cgi_max_body=\"1024\"\n";
    const std::string url = appliance_.Url("/webapi/echo.cgi");
    const char* form = "application/x-www-form-urlencoded";

    const HttpResponse over = Post(url, form, "message=" + std::string(1017, 'x'));
    EXPECT_EQ(over.status, 200);
    EXPECT_EQ(ParseJson(over.body)["data"], Json::Value(Json::objectValue));

    const HttpResponse within = Post(url, form, "message=" + std::string(1016, 'x'));
    EXPECT_EQ(ParseJson(within.body)["data"]["message"], std::string(1016, 'x'));
}

}  // namespace
}  // namespace arx_e2e
