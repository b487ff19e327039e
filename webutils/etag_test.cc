// ETags against digests computed elsewhere, and the 304 answer.  Both read
// the CGI environment, so each case runs in a child.

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <arx/webutils.h>

#include "testing/child_process.h"

namespace {

using arx_testing::ChildResult;
using arx_testing::RunInChild;
using arx_testing::WithEnvironment;

std::string TagOf(std::vector<std::pair<std::string, std::string>> env)
{
    const ChildResult result =
        RunInChild([] { printf("%s", WebUtils::CreateCGIETag().c_str()); }, WithEnvironment(std::move(env)));
    EXPECT_TRUE(result.exited && result.exitStatus == 0);
    return result.output;
}

TEST(EtagTest, UnpaddedHexOfTheUriDigest)
{
    struct Row {
        const char* description;
        std::string script;
        std::string query;  // "-": unset
        const char* tag;
    };
    const Row rows[] = {
        // md5 of "/webapi/desktop.cgi?" and 1004 zero bytes: 50f39244 5c76880f 61da91a3 120c362f
        {"no query", "/webapi/desktop.cgi", "-", "50f39244-5c7688f-61da91a3-12c362f"},
        {"an empty query is the same URI", "/webapi/desktop.cgi", "", "50f39244-5c7688f-61da91a3-12c362f"},
        // b0015ec1 ad646723 b20c945b 21d52137
        {"a zero byte is one digit", "/webapi/desktop.cgi", "lang=ger&v=1", "b015ec1-ad646723-b2c945b-21d52137"},
        // 05ca0a67 121b6b4a e404517e b1445ca5
        {"a leading byte below 0x10", "/webapi/desktop.cgi", "v=1213", "5caa67-121b6b4a-e44517e-b1445ca5"},
        // the URI cut to 1023 bytes, the last buffer byte zero
        {"a long URI is cut", "/w.cgi", std::string(1016, 'q'), "4687b862-928c9abc-2051b2fa-42446ac7"},
        {"beyond the cut nothing counts", "/w.cgi", std::string(1016, 'q') + "more",
         "4687b862-928c9abc-2051b2fa-42446ac7"},
    };
    for (const Row& row : rows) {
        std::vector<std::pair<std::string, std::string>> env = {{"SCRIPT_NAME", row.script}};
        if (row.query != "-")
            env.emplace_back("QUERY_STRING", row.query);
        EXPECT_EQ(TagOf(env), row.tag) << row.description;
    }
    EXPECT_EQ(TagOf({{"QUERY_STRING", "a=1"}}), "") << "without SCRIPT_NAME there is no tag";
}

// libcrypto is mapped by the first ETag, not by loading libarx.
TEST(EtagTest, LibcryptoIsMappedOnlyOnceATagIsAskedFor)
{
    const ChildResult result = RunInChild(
        [] {
            const auto mapsCrypto = [] {
                std::ifstream maps("/proc/self/maps");
                std::stringstream text;
                text << maps.rdbuf();
                return text.str().find("libcrypto") != std::string::npos;
            };
            printf("%d", mapsCrypto());
            WebUtils::GetModifyTime("/x.js");
            WebUtils::OutputNotModifiedIfMatch("");
            printf("%d", mapsCrypto());
            printf(" %s ", WebUtils::CreateCGIETag().c_str());
            printf("%d", mapsCrypto());
        },
        WithEnvironment({{"SCRIPT_NAME", "/webapi/desktop.cgi"}}));
    ASSERT_TRUE(result.exited && result.exitStatus == 0);
    EXPECT_EQ(result.output, "00 50f39244-5c7688f-61da91a3-12c362f 1");
}

TEST(EtagTest, NotModifiedOnlyForTheExactTag)
{
    const std::string tag = "50f39244-5c7688f-61da91a3-12c362f";
    struct Row {
        const char* description;
        std::string etag;
        std::string ifNoneMatch;  // "-": unset
        bool answered;
    };
    const Row rows[] = {
        {"exact match", tag, tag, true},
        {"no If-None-Match", tag, "-", false},
        {"empty tag never matches", "", "", false},
        {"quoted tag does not match", tag, "\"" + tag + "\"", false},
        {"weak tag does not match", tag, "W/" + tag, false},
        {"a list does not match", tag, tag + ", abc", false},
        {"case matters", tag, "50F39244-5C7688F-61DA91A3-12C362F", false},
        {"a tag that could split the response is never echoed", "a\r\nX: y", "a\r\nX: y", false},
    };
    for (const Row& row : rows) {
        std::vector<std::pair<std::string, std::string>> env;
        if (row.ifNoneMatch != "-")
            env.emplace_back("HTTP_IF_NONE_MATCH", row.ifNoneMatch);
        const ChildResult result =
            RunInChild([&] { printf("%s", WebUtils::OutputNotModifiedIfMatch(row.etag) ? "|true" : "|false"); },
                       WithEnvironment(env));
        ASSERT_TRUE(result.exited && result.exitStatus == 0);
        const std::string expected =
            row.answered ? "Status: 304 Not Modified\r\nETag: " + row.etag + "\r\n\r\n|true" : "|false";
        EXPECT_EQ(result.output, expected) << row.description;
    }
}

}  // namespace
