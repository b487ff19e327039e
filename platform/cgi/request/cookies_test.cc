#include <stdlib.h>

#include <map>
#include <string>

#include <gtest/gtest.h>
#include <vorn/cgi.h>

#include "testing/cgi_record.h"
#include "testing/child_process.h"

namespace {

using arx_testing::CgiRecord;

TEST(CookiesTest, ParsesTheCookieHeader)
{
    using Map = std::map<std::string, std::string>;
    struct Row {
        const char* description;
        const char* header;
        int count;
        Map expected;
    };
    const Row rows[] = {
        {"one cookie", "id=abc", 1, {{"id", "abc"}}},
        {"blanks trimmed", "  id = abc ;\tlang=enu  ", 2, {{"id", "abc"}, {"lang", "enu"}}},
        {"first occurrence wins", "id=first; id=second", 1, {{"id", "first"}}},
        {"value split at the first '='", "id=a=b", 1, {{"id", "a=b"}}},
        {"no decoding", "id=a%20b+c", 1, {{"id", "a%20b+c"}}},
        {"quotes kept", "id=\"q\"", 1, {{"id", "\"q\""}}},
        {"pieces without '=' skipped", "junk; id=1; ;", 1, {{"id", "1"}}},
        {"empty name skipped", "=x; lang=enu", 1, {{"lang", "enu"}}},
        {"empty value kept", "id=", 1, {{"id", ""}}},
        {"empty header", "", 0, {}},
    };
    for (const Row& row : rows) {
        setenv("HTTP_COOKIE", row.header, 1);
        CgiRecord cgi;
        EXPECT_EQ(VornCgiLoadInCookies(cgi.get()), row.count) << row.description;
        Map found;
        for (const char* name : {"id", "lang"}) {
            if (const char* value = VornCgiGetInCookies(cgi.get(), name, nullptr))
                found[name] = value;
        }
        EXPECT_EQ(found, row.expected) << row.description;
    }
    unsetenv("HTTP_COOKIE");
}

TEST(CookiesTest, LoadingAgainRereadsTheVariable)
{
    setenv("HTTP_COOKIE", "id=old; lang=enu", 1);
    CgiRecord cgi;
    VornCgiLoadInCookies(cgi.get());
    setenv("HTTP_COOKIE", "id=new", 1);
    VornCgiLoadInCookies(cgi.get());
    EXPECT_STREQ(VornCgiGetInCookies(cgi.get(), "id", "none"), "new");
    EXPECT_STREQ(VornCgiGetInCookies(cgi.get(), "lang", "none"), "none");
    unsetenv("HTTP_COOKIE");
    VornCgiLoadInCookies(cgi.get());
    EXPECT_STREQ(VornCgiGetInCookies(cgi.get(), "id", "none"), "none");
}

// The Set-Cookie line a response carries after VornCgiSetCookies.
// scheme: "NAME=value" of the variable that tells the request's scheme, or null.
std::string SetCookieLine(const char* scheme, const char* name, const char* value, long maxAge, const char* path,
                          const char* domain, int* result)
{
    arx_testing::ChildOptions options;
    if (scheme != nullptr) {
        const std::string variable = scheme;
        const size_t equals = variable.find('=');
        options.env.push_back({variable.substr(0, equals), variable.substr(equals + 1)});
    }
    const auto run = arx_testing::RunInChild(
        [&] {
            CgiRecord cgi;
            printf("%d\n", VornCgiSetCookies(cgi.get(), name, value, maxAge, path, domain, 0));
            VornCgiPrintHTTPHeader(cgi.get());
        },
        options);
    *result = atoi(run.output.c_str());
    const size_t start = run.output.find("Set-Cookie: ");
    if (start == std::string::npos)
        return "";
    return run.output.substr(start + 12, run.output.find("\r\n", start) - start - 12);
}

TEST(CookiesTest, SetCookieCarriesTheProtectiveAttributes)
{
    struct Row {
        const char* description;
        const char* scheme;
        const char* name;
        const char* value;
        long maxAge;
        const char* path;
        const char* domain;
        int result;
        const char* line;
    };
    const Row rows[] = {
        {"session cookie", nullptr, "id", "abc", 0, nullptr, nullptr, 1, "id=abc; Path=/; HttpOnly; SameSite=Lax"},
        {"over HTTPS", "HTTPS=on", "id", "abc", 0, "", nullptr, 1, "id=abc; Path=/; HttpOnly; SameSite=Lax; Secure"},
        {"HTTPS in capitals", "HTTPS=ON", "id", "a", 0, "/", nullptr, 1, "id=a; Path=/; HttpOnly; SameSite=Lax; Secure"},
        {"HTTPS off", "HTTPS=off", "id", "a", 0, "/", nullptr, 1, "id=a; Path=/; HttpOnly; SameSite=Lax"},
        {"behind a proxy that ends TLS", "HTTP_X_FORWARDED_PROTO=HTTPS", "id", "a", 0, "/", nullptr, 1,
         "id=a; Path=/; HttpOnly; SameSite=Lax; Secure"},
        {"behind a proxy, plain HTTP", "HTTP_X_FORWARDED_PROTO=http", "id", "a", 0, "/", nullptr, 1,
         "id=a; Path=/; HttpOnly; SameSite=Lax"},
        {"path, domain, lifetime", nullptr, "lang", "enu", 3600, "/webman", "nas.local", 1,
         "lang=enu; Path=/webman; Domain=nas.local; Max-Age=3600; HttpOnly; SameSite=Lax"},
        {"removal", nullptr, "id", "", -1, nullptr, nullptr, 1, "id=; Path=/; Max-Age=0; HttpOnly; SameSite=Lax"},
        {"value with ';' refused", nullptr, "id", "a; Domain=evil", 0, nullptr, nullptr, 0, ""},
        {"value with CRLF refused", nullptr, "id", "a\r\nX: y", 0, nullptr, nullptr, 0, ""},
        {"value with a blank refused", nullptr, "id", "a b", 0, nullptr, nullptr, 0, ""},
        {"name with '=' refused", nullptr, "i=d", "a", 0, nullptr, nullptr, 0, ""},
        {"empty name refused", nullptr, "", "a", 0, nullptr, nullptr, 0, ""},
        {"path with ';' refused", nullptr, "id", "a", 0, "/; Secure", nullptr, 0, ""},
        {"domain with LF refused", nullptr, "id", "a", 0, nullptr, "x\ny", 0, ""},
    };
    for (const Row& row : rows) {
        int result = -1;
        EXPECT_EQ(SetCookieLine(row.scheme, row.name, row.value, row.maxAge, row.path, row.domain, &result), row.line)
            << row.description;
        EXPECT_EQ(result, row.result) << row.description;
    }
}

}  // namespace
