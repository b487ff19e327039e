// The header values.  Rule files
// in the form the rule store writes are read by a reader of their own,
// which renders whatever it takes as the JSON reader's value does
// (fuzz/plain_rule_fuzzer.cc).  The headers every sample program sends, a
// page's own policy, a rule generated on the first request and the referrer
// allow list through lighttpd: tests/e2e/csp_e2e_test.cc.

#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/security_options.h>

#include "security/csp_test_support.h"
#include "testing/log_capture.h"

namespace {

using VORN::ARX::SecurityOptions;

class SecurityOptionsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("HTTP_HOST");
        unsetenv("HTTP_REFERER");
    }
    arx_testing::TempRoot root_;
};

TEST_F(SecurityOptionsTest, HeaderTextFollowsTheRuleFile)
{
    struct Row {
        const char* description;
        const char* rule;
        const char* host;  // HTTP_HOST
        const char* header;
    };
    const char* hostRule = R"({"connect-src": ["wss://{HOSTNAME}:*"]})";
    const Row rows[] = {
        {"an empty directive leaves its space", R"({"font-src": [], "img-src": ["'self'"], "media-src": []})", "",
         " img-src 'self';  "},
        // Rules written by hand, which only the JSON reader takes.
        {"comments, escapes, a value that is no list, sources that are no strings",
         "// rule\n{\"img-src\": [\"a\\/b\", 5, [\"x\"], \"c\\u0044\"], \"style-src\": \"'self'\" /* end */}", "",
         "img-src a/b cD;  "},
        // {HOSTNAME}: the request's host without its port.
        {"host name with a port", R"({"connect-src": ["'self'", "wss://{HOSTNAME}:5001", "https://{HOSTNAME}"]})",
         "nas.example.com:5000", "connect-src 'self' wss://nas.example.com:5001 https://nas.example.com; "},
        {"bare IPv6 literal kept whole", hostRule, "fe80::1", "connect-src wss://fe80::1:*; "},
        {"bracketed IPv6 literal with a port keeps its brackets", hostRule, "[fe80::1]:5001",
         "connect-src wss://[fe80::1]:*; "},
        {"a host that could add sources counts as empty", hostRule, "evil.net; script-src *", "connect-src wss://:*; "},
    };
    for (const Row& row : rows) {
        root_.WriteFile("/run/csp/rule", row.rule);
        setenv("HTTP_HOST", row.host, 1);
        EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), row.header) << row.description;
    }
}

TEST_F(SecurityOptionsTest, PageWithoutAFileOfItsOwnGetsTheSystemWideRuleAndNoObjectGivesNoHeader)
{
    root_.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
    root_.WriteFile("/run/csp/standalone/Broken", R"({"img-src": [)");
    root_.WriteFile("/run/csp/elsewhere", R"({"img-src": ["evil.net"]})");
    arx_testing::LogCapture log;
    for (const char* jsid : {"", "Unknown.Page", "Broken", "../elsewhere"})
        EXPECT_EQ(SecurityOptions(jsid).GetCSPHeader(), "img-src 'self'; ") << jsid;
    EXPECT_TRUE(log.texts().empty());

    root_.WriteFile("/run/csp/rule", R"(["img-src", "'self'"])");
    EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), "");
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"security_options:# CSP rule config is not an object"});
}

TEST_F(SecurityOptionsTest, FrameOptionFollowsTheReferrerAndTheAllowList)
{
    struct Row {
        const char* description;
        const char* referrer;
        const char* allowList;
        const char* option;
    };
    const char* allowList = "https://portal.example.com,intranet.example.com:8443,https://[fd00::5]:5001";
    const Row rows[] = {
        {"no referrer", "", allowList, "SAMEORIGIN"},
        {"referrer on the list with its default port", "https://portal.example.com:443/desk", allowList, ""},
        {"a colon in the path is no port", "https://portal.example.com/a:8443", allowList, ""},
        {"entry without scheme: any scheme", "http://intranet.example.com:8443/", allowList, ""},
        {"entry with a port: other ports refused", "https://intranet.example.com/", allowList, "SAMEORIGIN"},
        {"IPv6 literal with its port", "https://[fd00::5]:5001/desk", allowList, ""},
        {"IPv6 literal on another port", "https://[fd00::5]/desk", allowList, "SAMEORIGIN"},
        {"a scheme counts in lower case only", "HTTPS://portal.example.com/", allowList, "SAMEORIGIN"},
        {"a host that only ends like one on the list", "https://portal.example.com.evil.net/", allowList, "SAMEORIGIN"},
        {"entries are not trimmed", "https://portal.example.com/", "intranet.example.com, portal.example.com",
         "SAMEORIGIN"},
    };
    for (const Row& row : rows) {
        root_.WriteFile("/etc/vorninfo.conf",
                        std::string("frame_options_built_in_allow_url=\"") + row.allowList + "\"\n");
        setenv("HTTP_REFERER", row.referrer, 1);
        EXPECT_EQ(SecurityOptions(nullptr).GetXFrameOption(), row.option) << row.description;
    }
}

TEST_F(SecurityOptionsTest, SecurityHeadersHoldTheNonEmptyValues)
{
    struct Row {
        const char* settings;  // /etc/vorninfo.conf
        const char* headers;  // JSON
    };
    const char* both = R"({"Content-Security-Policy":"img-src 'self'; ","X-Frame-Options":"SAMEORIGIN"})";
    const char* frameOnly = R"({"X-Frame-Options":"SAMEORIGIN"})";
    const Row rows[] = {
        {"", both},
        {"csp_header_option=\"\"\n", both},  // an empty value is no value
        {"csp_header_option=\"no\"\n", frameOnly},
        {"check_frame_options=\"no\"\n", R"({"Content-Security-Policy":"img-src 'self'; "})"},
        {"csp_header_option=\"no\"\ncheck_frame_options=\"no\"\n", "null"},
    };
    root_.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
    for (const Row& row : rows) {
        root_.WriteFile("/etc/vorninfo.conf", row.settings);
        EXPECT_EQ(SecurityOptions(nullptr).GetSecurityHeaders(), csp_testing::ParseJson(row.headers)) << row.settings;
    }
}

}  // namespace
