// Rule configs, the sources they add, the generation of the rule files and
// the rule store's refusals.  Save and Delete as the web user, against
// failing calls and by many processes at once: csp_fault_test.cc.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/csp_rule.h>
#include <vorn/fs.h>

#include "security/csp_test_support.h"
#include "testing/log_capture.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::WithoutLineNumbers;
using csp_testing::ParseJson;
using VORN::ARX::CspRule;

TEST(CspRuleTest, OnlyHostSourcesAreValidUrls)
{
    struct Row {
        const char* description;
        std::string url;
        bool valid;
    };
    const std::string longHost = std::string(2044, 'a') + ".com";  // exactly the longest source
    const Row rows[] = {
        {"host with port and path", "https://cdn.example.com:8443/lib/x.js", true},
        {"bare scheme with its slashes", "https://", true},
        {"the longest source", longHost, true},

        {"empty", "", false},
        {"quoted keyword", "'self'", false},
        {"scheme-only source data:", "data:", false},
        {"bare scheme https: opens a directive to every https host", "https:", false},
        {"bare scheme http:", "http:", false},
        {"bare scheme wss:", "wss:", false},
        {"bare scheme ws:", "ws:", false},
        {"any host", "*", false},
        {"'*.' on a top-level label", "*.com", false},
        {"host without a dot", "localhost", false},
        {"other scheme", "ftp://files.example.com", false},
        {"scheme with one slash", "https:/example.com", false},
        {"query in the path", "https://example.com/a?b=1", false},
        {"fragment in the path", "https://example.com/a#b", false},
        {"'*' in the path", "https://example.com/*", false},
        {"control character in the host", "exa\x01mple.com", false},
        {"';' would end the directive", "a.example.com;script-src", false},
        {"',' would end the policy", "a.example.com,script-src", false},
        {"one byte over the longest source", "a" + longHost, false},
    };
    const std::string name = "any";
    CspRule rule(name, false);
    for (const Row& row : rows) {
        EXPECT_EQ(rule.IsValidUrl("img-src", row.url), row.valid) << row.description;
        EXPECT_EQ(rule.IsValidUrl("script-src", row.url), row.valid) << row.description << ": any directive";
    }
}

std::string Failed(const std::string& condition)
{
    return "csp_rule:# Failed [" + condition + "], err=Invalid argument";
}

TEST(CspRuleTest, ConfigsAreValidatedWithOneLineForTheFirstFault)
{
    struct Row {
        const char* description;
        const char* config;
        std::string line;  // empty: valid
    };
    const Row rows[] = {
        {"rule with child-src and an empty list", R"({"rule": {"img-src": [], "child-src": ["b.example.com"]}})", ""},
        {"nested standalone arrays",
         R"({"rule-standalone": [[{"jsid": "A", "wildcard": ["img-src"]}], {"jsid": "B", "wildcard": []}]})", ""},

        {"not an object", R"(["rule"])", Failed("!jsConf.isObject()")},
        {"neither key (old-style config)", R"({"img-src": ["a.example.com"]})",
         "csp_rule:# need either rule or rule-standalone in config!(old-style config?)"},
        {"unknown directive", R"({"rule": {"default-src": ["a.example.com"]}})", "csp_rule:# error key default-src"},
        {"rule not an object", R"({"rule": ["img-src"]})", Failed("!jsRule.isObject()")},
        {"sources not an array", R"({"rule": {"img-src": "a.example.com"}})", Failed("!jsURLs.isArray()")},
        {"quoted keyword", R"({"rule": {"img-src": ["a.example.com", "'self'"]}})", "csp_rule:# error url \"'self'\""},
        {"source not a string, logged as JSON", R"({"rule": {"img-src": [{"host": "a.example.com"}]}})",
         "csp_rule:# error url \"{\"host\":\"a.example.com\"}\""},
        {"jsid not a string", R"({"rule-standalone": {"jsid": 7, "wildcard": ["img-src"]}})",
         Failed("!jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString()")},
        {"jsid with '/'",
         R"({"rule-standalone": [{"jsid": "A", "wildcard": []}, {"jsid": "../rule", "wildcard": []}]})",
         Failed("string::npos != jsStandaloneRule[JSID].asString().find(\"/\")")},
        {"jsid '..'", R"({"rule-standalone": {"jsid": "..", "wildcard": ["img-src"]}})",
         Failed("!IsFileName(jsStandaloneRule[JSID].asString())")},
        {"standalone without rule or wildcard", R"({"rule-standalone": {"jsid": "P"}})",
         Failed("!jsStandaloneRule.isMember(RULE) && !jsStandaloneRule.isMember(WILDCARD)")},
        {"standalone source starting another directive",
         R"({"rule-standalone": {"jsid": "P", "rule": {"img-src": ["x;script-src"]}}})",
         "csp_rule:# error source \"x;script-src\""},
        {"wildcard not an array", R"({"rule-standalone": {"jsid": "P", "wildcard": "img-src"}})",
         Failed("!jsStandaloneRule[WILDCARD].isArray()")},
        {"wildcard element not a string", R"({"rule-standalone": {"jsid": "P", "wildcard": [1]}})",
         "csp_rule:# standalone wildcard needs to be string (ex: img-src)"},
        {"wildcard script-src", R"({"rule-standalone": {"jsid": "P", "wildcard": ["img-src", "script-src"]}})",
         "csp_rule:# error key script-src, forbidded to be wildcard!"},
    };
    for (const Row& row : rows) {
        const Json::Value config = ParseJson(row.config);
        LogCapture log;
        EXPECT_EQ(CspRule::IsValidConf(config), row.line.empty()) << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  row.line.empty() ? std::vector<std::string>{} : std::vector<std::string>{row.line})
            << row.description;
    }
}

class CspGenerateTest : public ::testing::Test {
protected:
    void SetUp() override { WriteDefaultRule(csp_testing::kDefaultRule); }
    void WriteDefaultRule(const std::string& text) const { root_.WriteFile("/usr/vorn/share/csp/rule-default", text); }
    std::map<std::string, std::string> Generated() const { return csp_testing::FilesBelow(root_.Path("/run/csp")); }

    arx_testing::TempRoot root_;
};

TEST_F(CspGenerateTest, GeneratesExactlyTheExpectedFiles)
{
    // System and local configs: one merged from each directory (child-src
    // widens frame-src, which the default rule lacks; duplicates stay), a
    // broken JSON file, an invalid config, a hidden file and a sub-directory
    // (skipped), a standalone page with its own rule and a wildcard, and a
    // page named twice (the later entry wins).
    std::filesystem::copy(ARX_SECURITY_TESTDATA "/generate/root", root_.dir(),
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
    LogCapture log;
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    const auto expected = csp_testing::FilesBelow(ARX_SECURITY_TESTDATA "/generate/expected/run/csp");
    ASSERT_EQ(expected.size(), 3u);
    EXPECT_EQ(Generated(), expected) << "byte for byte, and nothing else: no lock file, no temporary file";
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{
                  "csp_rule:# json format error " + root_.Path("/usr/vorn/etc/csp/b-broken"),
                  "csp_rule:# error url \"'unsafe-inline'\"",
                  "csp_rule:# csp rule format error " + root_.Path("/usr/vorn/etc/csp/c-keyword"),
              }));
    // Readable by the web user that sends the headers.
    const std::pair<const char*, mode_t> modes[] = {
        {"/run/csp/rule", 0644}, {"/run/csp/standalone/Help", 0644}, {"/run/csp/standalone", 0755}};
    for (const auto& [path, mode] : modes) {
        struct stat st;
        ASSERT_EQ(stat(root_.Path(path).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, mode) << path;
    }
}

TEST_F(CspGenerateTest, BrokenDefaultRuleLeavesThePreviousFiles)
{
    for (const char* broken : {"{\"img-src\": [", "[\"img-src\"]"}) {
        WriteDefaultRule(csp_testing::kDefaultRule);
        root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule-standalone": {"jsid": "Page", "wildcard": ["img-src"]}})");
        ASSERT_TRUE(CspRule::GenerateCSPTarget());
        const auto before = Generated();

        WriteDefaultRule(broken);
        root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule": {"img-src": ["new.example.com"]},
                                                    "rule-standalone": {"jsid": "Page", "wildcard": ["font-src"]}})");
        LogCapture log;
        EXPECT_FALSE(CspRule::GenerateCSPTarget()) << broken;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), std::vector<std::string>{"csp_rule:# default rule broken"});
        EXPECT_EQ(Generated(), before) << broken;
    }
}

TEST_F(CspGenerateTest, UnreadableConfigDirectoryIsLoggedAndTheOtherStillCounts)
{
    root_.WriteFile("/usr/vorn/etc/csp", "a file where the directory should be");
    root_.WriteFile("/usr/local/etc/csp/addon", R"({"rule": {"img-src": ["addon.example.com"]}})");
    LogCapture log;
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"csp_rule:# enum dir " + root_.Path("/usr/vorn/etc/csp") + " failed"});
    EXPECT_NE(root_.ReadFile("/run/csp/rule").find("addon.example.com"), std::string::npos);
}

TEST_F(CspGenerateTest, StandaloneFileThatCannotBeWrittenDoesNotStopTheOthers)
{
    root_.MakeDirs("/run/csp/standalone/Blocked");  // a directory where the page's file goes
    root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule-standalone": [{"jsid": "Blocked", "wildcard": ["img-src"]},
                                                                     {"jsid": "Open", "wildcard": ["img-src"]}]})");
    LogCapture log;
    EXPECT_FALSE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{"csp_rule:# save standalone file " +
                                             root_.Path("/run/csp/standalone/Blocked") + " failed",
                                         "csp_rule:# standalone config save failed"}));
    EXPECT_EQ(Generated().count("standalone/Open"), 1u);
    EXPECT_EQ(Generated().count("rule"), 1u);
}

TEST_F(CspGenerateTest, LockHeldElsewhereFailsAfterTheWaitAndStaysWithItsHolder)
{
    root_.MakeDirs("/run/csp/standalone");
    const std::string lockPath = root_.Path("/run/csp/csp_rule.lock");
    const int held = VLIBCFileLockTimeByFile(lockPath.c_str(), 1, 0);
    ASSERT_GE(held, 0);
    LogCapture log;
    EXPECT_FALSE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()), std::vector<std::string>{"csp_rule:# lock failed."});
    EXPECT_EQ(access(lockPath.c_str(), F_OK), 0) << "a generation that never held the lock leaves its file";
    EXPECT_EQ(Generated().count("rule"), 0u);
    VLIBCFileUnlock(held);
}

TEST_F(CspGenerateTest, RefusedSaveIsLoggedAndReachesNoFile)
{
    root_.WriteFile("/usr/vorn/etc/csp", "a file where the directory should be");
    const std::string name = "photos";
    LogCapture log;
    EXPECT_FALSE(CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["'self'"]}})")));
    EXPECT_FALSE(CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")));
    EXPECT_EQ(
        WithoutLineNumbers(log.texts()),
        (std::vector<std::string>{"csp_rule:# error url \"'self'\"", "csp_rule:# csp config photos format error",
                                   "csp_rule:# config " + root_.Path("/usr/vorn/etc/csp/photos") + " save error"}));
    EXPECT_TRUE(Generated().empty());
}

TEST_F(CspGenerateTest, NamesThatAreNotPlainFileNamesAreRefused)
{
    const Json::Value config = ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})");
    root_.WriteFile("/usr/vorn/etc/victim", "keep");
    for (const std::string& name :
         std::vector<std::string>{"", ".", "..", "../victim", "a/b", ".hidden", std::string("a\0b", 3)}) {
        CspRule rule(name, false);
        LogCapture log;
        EXPECT_FALSE(rule.Save(config)) << name;
        EXPECT_FALSE(rule.Delete()) << name;
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  std::vector<std::string>(2, "csp_rule:# config name \"" + std::string(name.c_str()) + "\" refused"));
    }
    EXPECT_EQ(root_.ReadFile("/usr/vorn/etc/victim"), "keep");
    EXPECT_TRUE(Generated().empty());
}

}  // namespace
