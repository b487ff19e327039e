#include <string>

#include <gtest/gtest.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildOptions;
using arx_testing::RunInChild;

// What a program prints after AddSecurityHeaders(page) and WriteHeader.
std::string Response(const char* page, const ChildOptions& request = {})
{
    return RunInChild(
               [page] {
                   WebMan web(false);
                   web.AddHeader("X-Before", "1");
                   web.AddSecurityHeaders(page);
                   web.WriteHeader("text/plain");
               },
               request)
        .output;
}

TEST(SecurityHeadersTest, QueuedInKeyOrderBeforeTheContentType)
{
    struct Row {
        const char* description;
        const char* settings;  // /etc/vorninfo.conf
        const char* page;
        const char* referrer;
        std::string response;
    };
    const Row rows[] = {
        {"both headers", "", nullptr, "",
         "X-Before: 1\r\nContent-Security-Policy: img-src 'self'; \r\nX-Frame-Options: SAMEORIGIN\r\n"
         "Content-type: text/plain\r\n\r\n"},
        {"a page's own policy", "", "Page", "",
         "X-Before: 1\r\nContent-Security-Policy: img-src 'self' *; \r\nX-Frame-Options: SAMEORIGIN\r\n"
         "Content-type: text/plain\r\n\r\n"},
        {"both off", "csp_header_option=\"no\"\ncheck_frame_options=\"no\"\n", nullptr, "",
         "X-Before: 1\r\nContent-type: text/plain\r\n\r\n"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        root.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
        root.WriteFile("/run/csp/standalone/Page", R"({"img-src": ["'self'", "*"]})");
        root.WriteFile("/etc/vorninfo.conf", row.settings);
        ChildOptions request = arx_testing::GetRequest("");
        request.env.push_back({"HTTP_REFERER", row.referrer});
        EXPECT_EQ(Response(row.page, request), row.response) << row.description;
    }
}

TEST(SecurityHeadersTest, PolicyThatCannotBeAHeaderIsNotSent)
{
    // A rule file written by hand with a line break in a source: the
    // platform refuses the header rather than split the response.
    arx_testing::TempRoot root;
    root.WriteFile("/run/csp/rule", R"({"img-src": ["'self'\r\nSet-Cookie: id=evil"]})");
    root.WriteFile("/etc/vorninfo.conf", "check_frame_options=\"no\"\n");
    EXPECT_EQ(Response(nullptr), "X-Before: 1\r\nContent-type: text/plain\r\n\r\n");
}

}  // namespace
