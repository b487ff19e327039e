// The request and its response: cookies, headers, URL decoding and
// encoding, and the parameter line with its body.  The request context's
// own tests (libarx) read parameters, request parameters and the
// configuration handle through the platform.

#include <stdlib.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/request/url_codec.h"
#include "testing/cgi_record.h"
#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildOptions;
using arx_testing::CgiRecord;
using Map = std::map<std::string, std::string>;

TEST(CookiesTest, ParsesTheCookieHeader)
{
    struct Row { const char* description; const char* header; int count; Map expected; };
    const Row rows[] = {
        {"blanks trimmed", "  id = abc ;\tlang=enu  ", 2, {{"id", "abc"}, {"lang", "enu"}}},
        {"first occurrence wins", "id=first; id=second", 1, {{"id", "first"}}},
        {"value split at the first '=', no decoding", "id=a=b%20+c", 1, {{"id", "a=b%20+c"}}},
        {"quotes kept", "id=\"q\"", 1, {{"id", "\"q\""}}},
        {"pieces without '=' and empty names skipped", "junk; =x; id=1; ;", 1, {{"id", "1"}}},
        {"empty value kept", "id=", 1, {{"id", ""}}},
        {"empty header", "", 0, {}},
    };
    CgiRecord cgi;
    for (const Row& row : rows) {
        setenv("HTTP_COOKIE", row.header, 1);
        EXPECT_EQ(VornCgiLoadInCookies(cgi.get()), row.count) << row.description << ": loading again replaces";
        Map found;
        for (const char* name : {"id", "lang"}) {
            if (const char* value = VornCgiGetInCookies(cgi.get(), name, nullptr))
                found[name] = value;
        }
        EXPECT_EQ(found, row.expected) << row.description;
    }
    unsetenv("HTTP_COOKIE");
}

// (The session cookie of a login and its removal at logout are tests/e2e's
// session test's; a value with ';', CR or LF is never printed: the cookies
// fuzz target's.)
TEST(CookiesTest, SetCookieCarriesTheProtectiveAttributes)
{
    struct Row { const char* description; const char* scheme; const char* name; const char* value; long maxAge;
                 const char* path; const char* domain; const char* line; };
    const Row rows[] = {
        {"over HTTPS", "HTTPS=ON", "id", "a", 0, "", nullptr, "id=a; Path=/; HttpOnly; SameSite=Lax; Secure"},
        {"HTTPS off", "HTTPS=off", "id", "a", 0, "/", nullptr, "id=a; Path=/; HttpOnly; SameSite=Lax"},
        {"behind a proxy that ends TLS", "HTTP_X_FORWARDED_PROTO=HTTPS", "id", "a", 0, "/", nullptr,
         "id=a; Path=/; HttpOnly; SameSite=Lax; Secure"},
        {"path, domain, lifetime", "", "lang", "enu", 3600, "/webman", "nas.local",
         "lang=enu; Path=/webman; Domain=nas.local; Max-Age=3600; HttpOnly; SameSite=Lax"},
        {"value with a blank", "", "id", "a b", 0, nullptr, nullptr, nullptr},
        {"name with '='", "", "i=d", "a", 0, nullptr, nullptr, nullptr},
        {"empty name", "", "", "a", 0, nullptr, nullptr, nullptr},
        {"path with ';'", "", "id", "a", 0, "/; Secure", nullptr, nullptr},
        {"domain with LF", "", "id", "a", 0, nullptr, "x\ny", nullptr},
    };
    for (const Row& row : rows) {
        const std::string scheme = row.scheme;
        arx_testing::ChildOptions options;
        if (!scheme.empty())
            options.env.push_back({scheme.substr(0, scheme.find('=')), scheme.substr(scheme.find('=') + 1)});
        const auto run = arx_testing::RunInChild(
            [&] {
                CgiRecord cgi;
                printf("%d\n", VornCgiSetCookies(cgi.get(), row.name, row.value, row.maxAge, row.path, row.domain, 0));
                VornCgiPrintHTTPHeader(cgi.get());
            },
            options);
        const std::string expected = row.line != nullptr ? "1\nSet-Cookie: " + std::string(row.line) + "\r\n\r\n"
                                                         : "0\n\r\n";
        EXPECT_EQ(run.output, expected) << row.description;
    }
}


// (That no accepted name or value holds a line break, a colon in a name or
// a blank: the headers fuzz target's.)
TEST(HeadersTest, RefusesWhatCouldSplitTheResponse)
{
    struct Row { const char* description; const char* name; const char* value; int result; };
    const Row rows[] = {
        {"ordinary header", "Content-type", "application/json; charset=\"UTF-8\"", 1},
        {"token punctuation in the name", "X-A!#$%&'*+.^_`|~9", "v", 1},
        {"empty value, a tab, 8-bit text", "X-Tab", "\tcaf\xC3\xA9", 1},
        {"CR LF in a value", "X-Tag", "a\r\nSet-Cookie: id=evil", 0},
        {"other control character", "X-Tag", "a\x01", 0},
        {"empty name", "", "v", 0},
        {"CR LF in the name", "X\r\nSet-Cookie", "v", 0},
        {"NULL name", nullptr, "v", 0},
        {"NULL value", "X-Tag", nullptr, 0},
    };
    for (const Row& row : rows) {
        CgiRecord cgi;
        EXPECT_EQ(VornCgiSetHTTPHeader(cgi.get(), row.name, row.value), row.result) << row.description;
    }
    EXPECT_EQ(VornCgiSetHTTPHeader(nullptr, "X", "v"), 0);
}

// (Refused headers never printed, and printed only once: WebMan's response
// test's.)
TEST(HeadersTest, PrintsQueuedHeadersReplacingSameNamesButCookies)
{
    const auto run = arx_testing::RunInChild([] {
        CgiRecord record;
        VornCgi* cgi = record.get();
        VornCgiSetHTTPHeader(cgi, "Content-type", "text/plain");
        VornCgiSetHTTPHeader(cgi, "Set-Cookie", "a=1");
        VornCgiSetHTTPHeader(cgi, "content-TYPE", "application/json");
        VornCgiSetHTTPHeader(cgi, "set-cookie", "b=2");
        printf("%d", VornCgiPrintHTTPHeader(cgi));
        printf("%d", VornCgiSetHTTPHeader(cgi, "X-Late", "v"));
    });
    EXPECT_EQ(run.output, "Content-type: application/json\r\nSet-Cookie: a=1\r\nset-cookie: b=2\r\n\r\n10");
}

// (The first of a name wins, no empty name and no NUL byte is kept: the
// URL parameters fuzz target's.)
TEST(ParamsTest, DecodingComponentsAndPairs)
{
    const std::pair<const char*, std::string> components[] = {
        {"a+b", "a b"}, {"%41%62", "Ab"}, {"%e2%82%ac", "\xE2\x82\xAC"},  // either case
        {"100%", "100%"}, {"%4", "%4"}, {"%G1x", "%G1x"},                 // not an escape: kept
        {"%%41", "%A"}, {"%2B", "+"}, {"%00", std::string(1, '\0')}};
    for (const auto& [encoded, decoded] : components)
        EXPECT_EQ(vorn::DecodeURLComponent(encoded), decoded) << encoded;
    struct Row { const char* description; const char* line; int kept; Map pairs; };
    const Row rows[] = {
        {"value split at the first '='", "a=x=y", 1, {{"a", "x=y"}}},
        {"encoded names", "x%3Dy=1&a%20b=2", 2, {{"x=y", "1"}, {"a b", "2"}}},
        {"pair without '='; empty pairs skipped", "&&a&&b=2", 2, {{"a", ""}, {"b", "2"}}},
        {"malformed percent kept", "a=50%&b=%zz", 2, {{"a", "50%"}, {"b", "%zz"}}},
        {"empty line", "", 0, {}},
    };
    for (const Row& row : rows) {
        vorn::ParamList params;
        EXPECT_EQ(vorn::ParseURLEncodedPairs(row.line, params), row.kept) << row.description;
        Map found;
        for (const char* name : {"a", "b", "x=y", "a b", ""}) {
            if (const char* value = params.Find(name))
                found[name] = value;
        }
        EXPECT_EQ(found, row.pairs) << row.description;
    }
}

TEST(ParamsTest, URLEncodingKeepsUnreservedAndCutsOnAWholeCharacter)
{
    const std::pair<std::string, const char*> rows[] = {{"AZaz09-._~", "AZaz09-._~"},
                                                         {"a b+c/?#&=%", "a%20b%2Bc%2F%3F%23%26%3D%25"},
                                                         {"\xE2\x82\xAC\r\n", "%E2%82%AC%0D%0A"}};
    char out[64];
    for (const auto& [text, encoded] : rows) {
        EXPECT_EQ(VornCgiURLEncode(text.c_str(), out, sizeof out - 1), static_cast<int>(strlen(encoded)));
        EXPECT_STREQ(out, encoded);
    }
    for (const auto& [room, cut] : {std::pair<int, const char*>{0, ""}, {3, "a"}, {4, "a%2F"}}) {
        EXPECT_EQ(VornCgiURLEncode("a/b/", out, room), -1) << room;
        EXPECT_STREQ(out, cut) << room << ": never half an escape";
    }
    EXPECT_EQ(VornCgiURLEncode("a/b", out, 5), 5) << "the room is exactly enough";
}

// "FIRST|SECOND|ERROR" of two calls in a CGI process, and its log lines.
arx_testing::ChildResult ParamLine(const ChildOptions& options, const std::string& config = "")
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc/vorninfo.conf", config);
    return arx_testing::RunInChild(
        [] {
            for (int i = 0; i < 2; ++i) {
                char* line = VornCgiGetParamLine();
                printf("%s|", line ? line : "(null)");
                free(line);
            }
            printf("%d", VLIBCErrGet());
        },
        options);
}

ChildOptions Post(const std::string& body, const std::string& length = "", const std::string& type = "")
{
    return arx_testing::PostRequest(body, type, length);
}

// (The query of a GET, and bodies through the web server, are tests/e2e's
// echo test's.)
TEST(RequestBodyTest, TheParameterLineOfEachKindOfRequest)
{
    struct Row { const char* description; ChildOptions options; std::string expected; };
    using arx_testing::WithEnvironment;
    ChildOptions post = WithEnvironment({{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "q=1"}, {"CONTENT_LENGTH", "7"}});
    post.input = "{\"a\":1}trailing";
    const Row rows[] = {
        {"no method at all: the query", WithEnvironment({{"QUERY_STRING", "x=y"}}), "x=y"},
        {"empty query", arx_testing::GetRequest(""), "(null)"},
        {"POST gives exactly CONTENT_LENGTH bytes of the body, not the query", post, "{\"a\":1}"},
        {"no CONTENT_LENGTH", WithEnvironment({{"REQUEST_METHOD", "POST"}}), "(null)"},
        {"zero length", Post("", "0"), "(null)"},
        {"multipart is left to the uploads", Post("--b\r\n", "5", "multipart/form-data; boundary=b"), "(null)"},
        {"exactly the limit", Post(std::string(64, 'x')), std::string(64, 'x')},
    };
    for (const Row& row : rows) {
        const auto run = ParamLine(row.options, "cgi_max_body=\"64\"\n");
        EXPECT_EQ(run.output.substr(0, run.output.rfind('|')), row.expected + "|" + row.expected)
            << row.description << ", kept for later calls";
        EXPECT_TRUE(run.logLines.empty()) << row.description;
    }
}

// (A body over a configured limit through the web server is tests/e2e's
// echo test's.)
TEST(RequestBodyTest, BadBodiesGiveNoParametersAndOneLogLine)
{
    ChildOptions closed = Post("", "5");
    closed.closeInput = true;
    struct Row { const char* description; ChildOptions options; const char* config; int error; const char* logLine; };
    const char* limit = "cgi_max_body=\"64\"\n";
    const Row rows[] = {
        {"1 MiB unless configured", Post("a=1", "1048577"), "", VLIB_ERR_BODY_TOO_LARGE,
         "request_body:# body of 1048577 bytes is larger than cgi_max_body (1048576)"},
        {"a raised limit reserves nothing for bytes that never come", Post("a=1", "1000000000000"),
         "cgi_max_body=\"1099511627776\"\n", VLIB_ERR_BODY_MALFORMED,
         "request_body:# body ended after 3 of 1000000000000 bytes"},
        {"shorter than announced", Post("a=1", "10"), limit, VLIB_ERR_BODY_MALFORMED,
         "request_body:# body ended after 3 of 10 bytes"},
        {"standard input closed", closed, limit, VLIB_ERR_BODY_MALFORMED, "request_body:# body ended after 0 of 5 bytes"},
        {"a NUL byte", Post(std::string("a=1\0b=2", 7)), limit, VLIB_ERR_BODY_MALFORMED,
         "request_body:# body holds a NUL byte"},
        {"a length that is not a number", Post("a=1", "3x"), limit, VLIB_ERR_BODY_MALFORMED,
         "request_body:# bad CONTENT_LENGTH [3x]"},
        {"a negative length", Post("a=1", "-3"), limit, VLIB_ERR_BODY_MALFORMED, "request_body:# bad CONTENT_LENGTH [-3]"},
        {"a huge length", Post("a=1", "999999999999999999999"), limit, VLIB_ERR_BODY_MALFORMED,
         "request_body:# bad CONTENT_LENGTH [999999999999999999999]"},
    };
    for (const Row& row : rows) {
        const auto run = ParamLine(row.options, row.config);
        EXPECT_EQ(run.output, "(null)|(null)|" + std::to_string(row.error)) << row.description;
        EXPECT_EQ(arx_testing::WithoutLineNumbers(run.logLines), std::vector<std::string>{row.logLine})
            << row.description;
    }
}

}  // namespace
