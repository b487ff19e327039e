// The client's browser from its user-agent text.

#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "webman/browser_info.h"

namespace {

using arx_testing::WithoutLineNumbers;

const std::string kDigits32 = "12345678901234567890123456789012";

TEST(BrowserInfoTest, UserAgents)
{
    struct Row {
        const char* description;
        std::string userAgent;
        const char* failure;  // the log line's reason when no version can be read
        int type;
        std::string version;
    };
    const Row rows[] = {
        {"Edge (Chromium) names Chrome and Safari before its marker",
         "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/120.0.0.0 "
         "Safari/537.36 Edg/120.0.1",
         nullptr, VORN_BROWSER_EDGE, "120.0.1"},
        {"Edge below 12 falls through to Chrome",
         "Mozilla/5.0 AppleWebKit/537.36 Chrome/46.0.2486.0 Safari/537.36 Edge/11.0", nullptr, VORN_BROWSER_CHROME,
         "46.0.2486.0"},
        {"Edge's version is the whole rest, cut to 31 characters", "Edg/120.0 (" + kDigits32 + ")", 0,
         VORN_BROWSER_EDGE, ("120.0 (" + kDigits32).substr(0, 31)},
        {"Safari: the number after Version/",
         "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.1 "
         "Safari/605.1.15",
         nullptr, VORN_BROWSER_SAFARI, "17.1"},
        {"Safari without Version/: the number after Safari",
         "Mozilla/5.0 (iPhone; CPU iPhone OS 17_2 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) "
         "Mobile/15E148 Safari/604.1",
         nullptr, VORN_BROWSER_SAFARI, "604.1"},
        {"Firefox", "Mozilla/5.0 (X11; Linux x86_64; rv:121.0) Gecko/20100101 Firefox/121.0", 0,
         VORN_BROWSER_FIREFOX, "121.0"},
        {"Internet Explorer 6", "Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)", nullptr, VORN_BROWSER_IE, "6.0"},
        {"Internet Explorer 11", "Mozilla/5.0 (Windows NT 10.0; Trident/7.0; rv:11.0) like Gecko", 0,
         VORN_BROWSER_IE, "11"},
        {"the link-preview crawler", "facebookexternalhit/1.1 (+http://www.facebook.com/externalhit_uatext.php)", 0,
         VORN_BROWSER_FACEBOOK, "1.1"},
        {"anything else", "curl/8.4.0", nullptr, VORN_BROWSER_OTHER, ""},
        {"empty", "", nullptr, VORN_BROWSER_OTHER, ""},
        {"Firefox with no number after it", "Mozilla/5.0 Firefox", "not supported browser type", VORN_BROWSER_FIREFOX, ""},
        {"31 digits fit", "Firefox/" + kDigits32.substr(0, 31), nullptr, VORN_BROWSER_FIREFOX, kDigits32.substr(0, 31)},
        {"32 digits do not", "Firefox/" + kDigits32 + "5", "version size not enough",
         VORN_BROWSER_FIREFOX, kDigits32.substr(0, 31)},
        {"a marker beyond the first 4095 characters is not seen", std::string(4095, 'x') + "Firefox/1", 0,
         VORN_BROWSER_OTHER, ""},
    };
    for (const Row& row : rows) {
        _tag_vorn_browser_info_ info = {0, "old"};
        arx_testing::LogCapture log;
        EXPECT_EQ(arx::webman::DescribeBrowser(row.userAgent.c_str(), &info), row.failure ? -1 : 0) << row.description;
        EXPECT_EQ(info.type, row.type) << row.description;
        EXPECT_EQ(info.szVersion, row.version) << row.description;
        const std::vector<std::string> logged =
            row.failure ? std::vector<std::string>{"webman(#): " + std::string(row.failure) + ", USER_AGENT: " +
                                                   row.userAgent}
                        : std::vector<std::string>{};
        EXPECT_EQ(WithoutLineNumbers(log.texts()), logged) << row.description;
    }
}

TEST(BrowserInfoTest, TheRequestsUserAgent)
{
    const auto describe = [](const char* userAgent) {
        return arx_testing::RunInChild(
                   [] {
                       WebMan web(false);
                       _tag_vorn_browser_info_ info = {0, "kept"};
                       const int result = web.GetBrowserInfo(&info);
                       printf("%d %d %s|%s", result, info.type, info.szVersion, web.GetIEPNGFixStyle().c_str());
                       printf("|%d", web.GetBrowserInfo(nullptr));
                   },
                   userAgent != nullptr ? arx_testing::WithEnvironment({{"HTTP_USER_AGENT", userAgent}})
                                        : arx_testing::ChildOptions())
            .output;
    };
    const std::string style = "img, .fixpng {behavior: url(\"/scripts/iepngfix.htc\");}";
    EXPECT_EQ(describe(nullptr), "0 8 kept||-1") << "no user agent: the version is left as it was";
    EXPECT_EQ(describe("Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)"), "0 1 6.0|" + style + "|-1");
    EXPECT_EQ(describe("Mozilla/4.0 (compatible; MSIE 5.5; Windows 98)"), "0 1 5.5|" + style + "|-1");
    EXPECT_EQ(describe("Mozilla/4.0 (compatible; MSIE 7.0; Windows NT 6.0)"), "0 1 7.0||-1");
}

}  // namespace
