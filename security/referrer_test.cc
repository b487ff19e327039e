#include <string>

#include <gtest/gtest.h>

#include "security/referrer.h"

namespace {

using arx::security::FramingOrigin;
using arx::security::ParseFramingOrigin;
using arx::security::Scheme;

TEST(ReferrerTest, ParsesSchemeHostAndPort)
{
    struct Row {
        const char* text;
        Scheme scheme;
        const char* host;
        unsigned long port;
    };
    const Row rows[] = {
        {"", Scheme::kUnset, "", 0},
        {"https://Portal.Example.COM/desktop/index.html", Scheme::kHttps, "portal.example.com", 443},
        {"http://portal.example.com", Scheme::kHttp, "portal.example.com", 80},
        {"http://portal.example.com:8080/x:y", Scheme::kHttp, "portal.example.com", 8080},
        {"https://portal.example.com:/", Scheme::kHttps, "portal.example.com", 0},  // an empty port is 0
        {"portal.example.com:5001", Scheme::kUnset, "portal.example.com", 5001},
        {"portal.example.com/a/b", Scheme::kUnset, "portal.example.com", 0},
        {"https://[fd00::5]:5001/", Scheme::kHttps, "[fd00::5]", 5001},
        {"https://[fd00::5]/", Scheme::kHttps, "[fd00::5]", 443},  // the colons before ']' are no port
        {":80", Scheme::kUnset, ":80", 0},                          // a colon at the host's start is no port
        // The scheme is matched in lower case only, and counts only before "://".
        {"HTTPS://portal.example.com/", Scheme::kUnset, "https", 0},
        {"https:portal.example.com", Scheme::kUnset, "https", 0},
        {"httpx://portal.example.com", Scheme::kUnset, "httpx", 0},
        {"http", Scheme::kUnset, "http", 0},
    };
    for (const Row& row : rows) {
        const FramingOrigin origin = ParseFramingOrigin(row.text);
        EXPECT_EQ(origin.scheme, row.scheme) << row.text;
        EXPECT_EQ(origin.host, row.host) << row.text;
        EXPECT_EQ(origin.port, row.port) << row.text;
    }
}

}  // namespace
