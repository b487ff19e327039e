// What a program prints: queued headers, the security headers, a styled
// JSON body, refusals, redirects and the not-found response.

#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

TEST(WebManResponseTest, WhatAProgramPrints)
{
    struct Row {
        const char* description;
        const char* settings;  // /etc/vorninfo.conf
        std::function<void(WebMan&)> program;
        std::string printed;
    };
    const Row rows[] = {
        {"headers, then a styled JSON body", "",
         [](WebMan& web) {
             web.AddHeader("X-Request-Id", "r1");
             Json::Value body;
             body["success"] = true;
             body["data"]["name"] = "caf\xC3\xA9";
             body["data"]["items"].append(1);
             web.WriteHeader("application/json; charset=\"UTF-8\"");
             printf("%d", web.WriteBody(body));
         },
         "X-Request-Id: r1\r\nContent-type: application/json; charset=\"UTF-8\"\r\n\r\n"
         "{\n   \"data\" : {\n      \"items\" : [ 1 ],\n      \"name\" : \"caf\\u00e9\"\n   },\n"
         "   \"success\" : true\n}\n1"},
        {"refused headers are never printed, headers only once", "",
         [](WebMan& web) {
             printf("%d", web.AddHeader("X-Tag", "a\r\nSet-Cookie: id=evil"));
             printf("%d", web.AddHeader("Bad Name", "v"));
             printf("%d|", web.WriteHeader("text/html\r\nX-Injected: 1"));
             printf("%d|", web.WriteHeader("text/plain"));
             printf("%d", web.WriteHeader("text/plain"));
         },
         "000|Content-type: text/plain\r\n\r\n1|0"},
        {"security headers in key order before the content type", "",
         [](WebMan& web) {
             web.AddHeader("X-Before", "1");
             web.AddSecurityHeaders(nullptr);
             web.WriteHeader("text/plain");
         },
         "X-Before: 1\r\nContent-Security-Policy: img-src 'self'; \r\nX-Frame-Options: SAMEORIGIN\r\n"
         "Content-type: text/plain\r\n\r\n"},
        {"a page's own policy", "",
         [](WebMan& web) {
             web.AddSecurityHeaders("Page");
             web.WriteHeader("text/plain");
         },
         "Content-Security-Policy: img-src 'self' *; \r\nX-Frame-Options: SAMEORIGIN\r\nContent-type: text/plain\r\n\r\n"},
        {"both security headers off", "csp_header_option=\"no\"\ncheck_frame_options=\"no\"\n",
         [](WebMan& web) {
             web.AddSecurityHeaders(nullptr);
             web.WriteHeader("text/plain");
         },
         "Content-type: text/plain\r\n\r\n"},
        {"a policy that cannot be a header is not sent", "check_frame_options=\"no\"\n",
         [](WebMan& web) {
             web.AddSecurityHeaders("Split");
             web.WriteHeader("text/plain");
         },
         "Content-type: text/plain\r\n\r\n"},
        {"a redirect goes through the platform, which refuses line breaks", "",
         [](WebMan& web) {
             printf("%d|", web.Redirect("/a\r\nb"));
             printf("|%d", web.Redirect("/webman/index.cgi"));
         },
         "-1|Status: 302 Found\r\nLocation: /webman/index.cgi\r\n\r\n|0"},
        {"not found is exact and ends the process with 0", "",
         [](WebMan& web) {
             web.AddHeader("X-Queued", "never printed");
             web.ResponseNotFound();
             printf("not reached");
         },
         "Cache-control: no-store\r\nStatus: 404 Not Found\r\n\r\n"},
        {"the process leads its own session", "", [](WebMan&) { printf("%d", getsid(0) == getpid()); }, "1"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        root.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
        root.WriteFile("/run/csp/standalone/Page", R"({"img-src": ["'self'", "*"]})");
        // A rule file written by hand with a line break in a source.
        root.WriteFile("/run/csp/standalone/Split", R"({"img-src": ["'self'\r\nSet-Cookie: id=evil"]})");
        root.WriteFile("/etc/vorninfo.conf", row.settings);
        const auto run = arx_testing::RunInChild([&row] {
            WebMan web(false);
            row.program(web);
        });
        EXPECT_TRUE(run.exited && run.exitStatus == 0) << row.description;
        EXPECT_EQ(run.output, row.printed) << row.description;
    }
}

}  // namespace
