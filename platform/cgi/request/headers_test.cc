#include <string>

#include <gtest/gtest.h>
#include <vorn/cgi.h>
#include <vorn/err.h>

#include "testing/cgi_record.h"
#include "testing/child_process.h"

namespace {

using arx_testing::CgiRecord;

TEST(HeadersTest, RefusesWhatCouldSplitTheResponse)
{
    struct Row {
        const char* description;
        const char* name;
        const char* value;
        int result;
    };
    const Row rows[] = {
        {"ordinary header", "Content-type", "application/json; charset=\"UTF-8\"", 1},
        {"token punctuation in the name", "X-A!#$%&'*+.^_`|~9", "v", 1},
        {"empty value", "X-Empty", "", 1},
        {"tab in a value", "X-Tab", "a\tb", 1},
        {"8-bit value", "X-Name", "caf\xC3\xA9", 1},
        {"CR LF in a value", "X-Tag", "a\r\nSet-Cookie: id=evil", 0},
        {"lone LF in a value", "X-Tag", "a\nb", 0},
        {"lone CR in a value", "X-Tag", "a\rb", 0},
        {"other control character", "X-Tag", "a\x01", 0},
        {"DEL in a value", "X-Tag", "a\x7f", 0},
        {"empty name", "", "v", 0},
        {"blank in the name", "X Tag", "v", 0},
        {"colon in the name", "X-Tag:", "v", 0},
        {"CR LF in the name", "X\r\nSet-Cookie", "v", 0},
        {"separator in the name", "X(Tag)", "v", 0},
        {"8-bit name", "X-\xC3\xA9", "v", 0},
        {"NULL name", nullptr, "v", 0},
        {"NULL value", "X-Tag", nullptr, 0},
    };
    for (const Row& row : rows) {
        CgiRecord cgi;
        EXPECT_EQ(VornCgiSetHTTPHeader(cgi.get(), row.name, row.value), row.result) << row.description;
    }
    EXPECT_EQ(VornCgiSetHTTPHeader(nullptr, "X", "v"), 0);
}

TEST(HeadersTest, PrintsQueuedHeadersOnceReplacingSameNamesButCookies)
{
    const auto run = arx_testing::RunInChild([] {
        CgiRecord record;
        VornCgi* cgi = record.get();
        VornCgiSetHTTPHeader(cgi, "Content-type", "text/plain");
        VornCgiSetHTTPHeader(cgi, "X-Refused", "a\r\nInjected: yes");
        VornCgiSetHTTPHeader(cgi, "Set-Cookie", "a=1");
        VornCgiSetHTTPHeader(cgi, "content-TYPE", "application/json");
        VornCgiSetHTTPHeader(cgi, "set-cookie", "b=2");
        printf("%d", VornCgiPrintHTTPHeader(cgi));
        printf("%d", VornCgiPrintHTTPHeader(cgi));
        printf("%d", VornCgiSetHTTPHeader(cgi, "X-Late", "v"));
    });
    EXPECT_EQ(run.output,
              "Content-type: application/json\r\n"
              "Set-Cookie: a=1\r\n"
              "set-cookie: b=2\r\n"
              "\r\n"
              "100");
}

TEST(HeadersTest, RedirectPrintsStatusLocationAndTheOtherHeaders)
{
    const auto run = arx_testing::RunInChild([] {
        CgiRecord record;
        VornCgiSetHTTPHeader(record.get(), "Location", "/elsewhere");
        VornCgiSetHTTPHeader(record.get(), "Set-Cookie", "id=x");
        printf("%d|", VornCgiRedirect(record.get(), "https://nas.local/webman/"));
        printf("%d", VornCgiRedirect(record.get(), "/again"));
    });
    EXPECT_EQ(run.output,
              "Status: 302 Found\r\n"
              "Location: https://nas.local/webman/\r\n"
              "Set-Cookie: id=x\r\n"
              "\r\n"
              "0|-1");
}

TEST(HeadersTest, RedirectRefusesTargetsThatWouldSplitTheResponse)
{
    const char* targets[] = {"/a\r\nSet-Cookie: id=evil", "/a\nb", "/a\rb", "", nullptr};
    for (const char* target : targets) {
        const auto run = arx_testing::RunInChild([&] {
            CgiRecord cgi;
            printf("%d", VornCgiRedirect(cgi.get(), target));
        });
        EXPECT_EQ(run.output, "-1") << (target ? target : "(null)");
    }
}

}  // namespace
