#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/security_options.h>

#include "security/csp_test_support.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using VORN::ARX::SecurityOptions;

// The request's environment for one test.
class SecurityOptionsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("HTTP_HOST");
        unsetenv("HTTP_REFERER");
    }
    void SetHost(const char* host)
    {
        if (host != nullptr)
            setenv("HTTP_HOST", host, 1);
        else
            unsetenv("HTTP_HOST");
    }
    void Configure(const std::string& lines) { root_.WriteFile("/etc/vorninfo.conf", lines); }

    TempRoot root_;
};

TEST_F(SecurityOptionsTest, HeaderTextFollowsTheRuleFile)
{
    struct Row {
        const char* description;
        const char* rule;
        const char* host;  // HTTP_HOST, NULL for unset
        const char* header;
    };
    const Row rows[] = {
        {"one directive", R"({"img-src": ["'self'", "data:"]})", nullptr, "img-src 'self' data:; "},
        {"several directives in byte order of their names",
         R"({"script-src": ["'self'"], "img-src": ["'self'"], "base-uri": ["'none'"]})", nullptr,
         "base-uri 'none'; img-src 'self'; script-src 'self'; "},
        {"an empty directive leaves its space", R"({"font-src": [], "img-src": ["'self'"], "media-src": []})",
         nullptr, " img-src 'self';  "},
        {"only empty directives", R"({"font-src": []})", nullptr, " "},
        {"empty rule", "{}", nullptr, ""},
        {"a value that is not a list counts as empty", R"({"img-src": "'self'", "style-src": ["'self'"]})", nullptr,
         " style-src 'self'; "},
        {"escapes in sources", R"({"img-src": ["a\/b", "c\u0044"]})", nullptr, "img-src a/b cD; "},
        {"comments", "// rule\n{\"img-src\": [\"'self'\"] /* end */}", nullptr, "img-src 'self'; "},
        {"a repeated directive counts once, the last", R"({"img-src": ["a"], "img-src": ["b"]})", nullptr,
         "img-src b; "},
        {"sources that are not strings are left out", R"({"img-src": ["'self'", 5, ["x"], "data:"]})", nullptr,
         "img-src 'self' data:; "},
        {"host name with a port", R"({"connect-src": ["'self'", "wss://{HOSTNAME}:5001", "https://{HOSTNAME}"]})",
         "nas.example.com:5000", "connect-src 'self' wss://nas.example.com:5001 https://nas.example.com; "},
        {"host name alone", R"({"connect-src": ["wss://{HOSTNAME}:*"]})", "nas", "connect-src wss://nas:*; "},
        {"IPv4 address with a port", R"({"connect-src": ["wss://{HOSTNAME}:*"]})", "192.168.1.5:5000",
         "connect-src wss://192.168.1.5:*; "},
        {"bare IPv6 literal kept whole", R"({"connect-src": ["wss://{HOSTNAME}:*"]})", "fe80::1",
         "connect-src wss://fe80::1:*; "},
        {"bracketed IPv6 literal with a port keeps its brackets", R"({"connect-src": ["wss://{HOSTNAME}:*"]})",
         "[fe80::1]:5001", "connect-src wss://[fe80::1]:*; "},
        {"bracketed IPv6 literal without a port", R"({"connect-src": ["wss://{HOSTNAME}:*"]})", "[::1]",
         "connect-src wss://[::1]:*; "},
        {"every placeholder, in every directive",
         R"({"connect-src": ["{HOSTNAME}{HOSTNAME}"], "img-src": ["https://{HOSTNAME}/{HOSTNAME}"]})", "h:1",
         "connect-src hh; img-src https://h/h; "},
        {"no HTTP_HOST", R"({"connect-src": ["wss://{HOSTNAME}:*"]})", nullptr, "connect-src wss://:*; "},
        {"a host that could add sources counts as empty", R"({"connect-src": ["wss://{HOSTNAME}:*"]})",
         "evil.net; script-src *", "connect-src wss://:*; "},
    };
    for (const Row& row : rows) {
        root_.WriteFile("/run/csp/rule", row.rule);
        SetHost(row.host);
        EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), row.header) << row.description;
    }
}

TEST_F(SecurityOptionsTest, StandalonePageGetsItsOwnPolicy)
{
    struct Row {
        const char* description;
        const char* jsid;
        const char* header;
    };
    root_.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
    root_.WriteFile("/run/csp/standalone/Media.Player", R"({"img-src": ["'self'", "*"]})");
    root_.WriteFile("/run/csp/standalone/Broken", R"({"img-src": [)");
    root_.WriteFile("/run/csp/elsewhere", R"({"img-src": ["evil.net"]})");
    const Row rows[] = {
        {"no page", nullptr, "img-src 'self'; "},
        {"empty page name", "", "img-src 'self'; "},
        {"page with its own file", "Media.Player", "img-src 'self' *; "},
        {"page without a file: the system-wide rule", "Unknown.Page", "img-src 'self'; "},
        {"page whose file is broken: the system-wide rule", "Broken", "img-src 'self'; "},
        {"a name with '/' never leaves the directory", "../elsewhere", "img-src 'self'; "},
    };
    for (const Row& row : rows) {
        LogCapture log;
        EXPECT_EQ(SecurityOptions(row.jsid).GetCSPHeader(), row.header) << row.description;
        EXPECT_TRUE(log.texts().empty()) << row.description;
    }
}

TEST_F(SecurityOptionsTest, MissingRuleIsGeneratedFromTheDefaultAndTheConfigs)
{
    root_.WriteFile("/usr/vorn/share/csp/rule-default", R"({"img-src": ["'self'"], "object-src": ["'none'"]})");
    root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule": {"img-src": ["app.example.com"]},
                                                "rule-standalone": {"jsid": "Page", "wildcard": ["img-src"]}})");
    LogCapture log;
    EXPECT_EQ(SecurityOptions("Page").GetCSPHeader(), "       img-src 'self' app.example.com *;  object-src 'none';   ");
    EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(),
              "       img-src 'self' app.example.com;  object-src 'none';   ");
    EXPECT_TRUE(log.texts().empty());
}

TEST_F(SecurityOptionsTest, NoRuleNoHeaderAndALogLine)
{
    {
        root_.WriteFile("/usr/vorn/share/csp/rule-default", "not JSON");
        LogCapture log;
        EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), "");
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  (std::vector<std::string>{"csp_rule:# default rule broken",
                                            "security_options:# Failed to GenerateCSPTarget from [" +
                                                root_.Path("/usr/vorn/share/csp/rule-default") + "]"}));
    }
    {
        root_.WriteFile("/run/csp/rule", R"(["img-src", "'self'"])");
        LogCapture log;
        EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), "");
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  std::vector<std::string>{"security_options:# CSP rule config is not an object"});
    }
}

TEST_F(SecurityOptionsTest, CspHeaderOptionTurnsTheHeaderOff)
{
    struct Row {
        const char* setting;  // the line of /etc/vorninfo.conf
        bool on;
    };
    const Row rows[] = {
        {"", true},
        {"csp_header_option=\"yes\"\n", true},
        {"csp_header_option=\"YES\"\n", true},
        {"csp_header_option=\"\"\n", true},  // an empty value is no value
        {"csp_header_option=\"no\"\n", false},
        {"csp_header_option=\"off\"\n", false},
        {"csp_header_option=\"yes please\"\n", false},
    };
    root_.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
    for (const Row& row : rows) {
        Configure(row.setting);
        EXPECT_EQ(SecurityOptions(nullptr).GetCSPHeader(), row.on ? "img-src 'self'; " : "") << row.setting;
    }
}

TEST_F(SecurityOptionsTest, FrameOptionFollowsTheReferrerAndTheAllowList)
{
    struct Row {
        const char* description;
        const char* referrer;  // NULL: no referrer
        const char* settings;
        const char* option;
    };
    const char* allowList = "frame_options_built_in_allow_url=\"https://portal.example.com,intranet.example.com:8443\"\n";
    const Row rows[] = {
        {"no referrer", nullptr, allowList, "SAMEORIGIN"},
        {"empty referrer", "", allowList, "SAMEORIGIN"},
        {"referrer on the list", "https://portal.example.com/desk", allowList, ""},
        {"referrer on the list, host in upper case", "https://PORTAL.EXAMPLE.COM/desk", allowList, ""},
        {"referrer on the list with its default port", "https://portal.example.com:443/desk", allowList, ""},
        {"other scheme", "http://portal.example.com/desk", allowList, "SAMEORIGIN"},
        {"other port", "https://portal.example.com:8443/desk", allowList, "SAMEORIGIN"},
        {"entry without scheme: any scheme", "http://intranet.example.com:8443/", allowList, ""},
        {"entry with a port: other ports refused", "https://intranet.example.com/", allowList, "SAMEORIGIN"},
        {"not on the list", "https://evil.net/", allowList, "SAMEORIGIN"},
        {"a host that only ends like one on the list", "https://portal.example.com.evil.net/", allowList,
         "SAMEORIGIN"},
        {"the listed host in the path only", "https://evil.net/portal.example.com", allowList, "SAMEORIGIN"},
        {"entries are not trimmed", "https://portal.example.com/",
         "frame_options_built_in_allow_url=\"intranet.example.com, portal.example.com\"\n", "SAMEORIGIN"},
        {"no allow list", "https://portal.example.com/", "", "SAMEORIGIN"},
        {"check off", "https://evil.net/", "check_frame_options=\"no\"\n", ""},
        {"check on in any case", "https://evil.net/", "check_frame_options=\"Yes\"\n", "SAMEORIGIN"},
    };
    for (const Row& row : rows) {
        Configure(row.settings);
        if (row.referrer != nullptr)
            setenv("HTTP_REFERER", row.referrer, 1);
        else
            unsetenv("HTTP_REFERER");
        EXPECT_EQ(SecurityOptions(nullptr).GetXFrameOption(), row.option) << row.description;
    }
}

TEST_F(SecurityOptionsTest, SecurityHeadersHoldTheNonEmptyValues)
{
    struct Row {
        const char* settings;
        const char* headers;  // compact JSON
    };
    const Row rows[] = {
        {"", R"({"Content-Security-Policy":"img-src 'self'; ","X-Frame-Options":"SAMEORIGIN"})"},
        {"csp_header_option=\"no\"\n", R"({"X-Frame-Options":"SAMEORIGIN"})"},
        {"check_frame_options=\"no\"\n", R"({"Content-Security-Policy":"img-src 'self'; "})"},
        {"csp_header_option=\"no\"\ncheck_frame_options=\"no\"\n", "null"},
    };
    root_.WriteFile("/run/csp/rule", R"({"img-src": ["'self'"]})");
    for (const Row& row : rows) {
        Configure(row.settings);
        EXPECT_EQ(csp_testing::CompactJson(SecurityOptions(nullptr).GetSecurityHeaders()), row.headers)
            << row.settings;
    }
}

}  // namespace
