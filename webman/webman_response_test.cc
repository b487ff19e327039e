#include <unistd.h>

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::RunInChild;

TEST(WebManResponseTest, HeadersThenAStyledJsonBody)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        web.AddHeader("X-Request-Id", "r1");
        Json::Value body;
        body["success"] = true;
        body["data"]["name"] = "caf\xC3\xA9";
        body["data"]["items"].append(1);
        web.WriteHeader("application/json; charset=\"UTF-8\"");
        printf("%d", web.WriteBody(body));
    });
    EXPECT_EQ(run.output,
              "X-Request-Id: r1\r\n"
              "Content-type: application/json; charset=\"UTF-8\"\r\n"
              "\r\n"
              "{\n"
              "   \"data\" : {\n"
              "      \"items\" : [ 1 ],\n"
              "      \"name\" : \"caf\\u00e9\"\n"
              "   },\n"
              "   \"success\" : true\n"
              "}\n"
              "1");
}

TEST(WebManResponseTest, RefusedHeadersAreNeverPrinted)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        printf("%d", web.AddHeader("X-Tag", "a\r\nSet-Cookie: id=evil"));
        printf("%d", web.AddHeader("Bad Name", "v"));
        printf("%d|", web.WriteHeader("text/html\r\nX-Injected: 1"));
        printf("%d|", web.WriteHeader("text/plain"));
        printf("%d", web.WriteHeader("text/plain"));
    });
    EXPECT_EQ(run.output, "000|Content-type: text/plain\r\n\r\n1|0");
}

TEST(WebManResponseTest, NotFoundIsExactAndEndsTheProcessWithZero)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        web.AddHeader("X-Queued", "never printed");
        web.ResponseNotFound();
        printf("not reached");
    });
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.output, "Cache-control: no-store\r\nStatus: 404 Not Found\r\n\r\n");
}

TEST(WebManResponseTest, RedirectGoesThroughThePlatform)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        printf("%d|", web.Redirect("/a\r\nb"));
        printf("|%d", web.Redirect("/webman/index.cgi"));
    });
    EXPECT_EQ(run.output, "-1|Status: 302 Found\r\nLocation: /webman/index.cgi\r\n\r\n|0");
}

TEST(WebManResponseTest, ConstructorMakesTheProcessASessionLeader)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        printf("%d", getsid(0) == getpid());
    });
    EXPECT_EQ(run.output, "1");
}

}  // namespace
