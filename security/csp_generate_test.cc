#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <vorn/err.h>
#include <vorn/fs.h>

#include "security/csp_generate.h"
#include "security/csp_test_support.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using csp_testing::CompactJson;
using csp_testing::FilesBelow;
using csp_testing::ParseJson;
using VORN::ARX::CspRule;

// The merge result: every known directive with an empty list, then the
// members of changes.
std::string Merged(const std::string& changes)
{
    Json::Value merged(Json::objectValue);
    for (const char* directive : {"base-uri", "child-src", "connect-src", "font-src", "form-action",
                                  "frame-ancestors", "frame-src", "img-src", "media-src", "object-src",
                                  "script-src", "style-src"})
        merged[directive] = Json::Value(Json::arrayValue);
    const Json::Value overrides = ParseJson(changes);
    for (const std::string& name : overrides.getMemberNames())
        merged[name] = overrides[name];
    return CompactJson(merged);
}

TEST(CspGenerateTest, MergeAppendsConfigSourcesInOrder)
{
    struct Row {
        const char* description;
        const char* target;
        const char* configs;  // a JSON array of configs
        std::string merged;
    };
    const Row rows[] = {
        {"every known directive gets a list", "{}", "[]", Merged("{}")},
        {"sources appended after the default's, config by config",
         R"({"img-src": ["'self'"]})",
         R"([{"rule": {"img-src": ["a.example.com", "b.example.com"]}}, {"rule": {"img-src": ["c.example.com"]}}])",
         Merged(R"({"img-src": ["'self'", "a.example.com", "b.example.com", "c.example.com"]})")},
        {"duplicates are kept", R"({"img-src": ["a.example.com"]})",
         R"([{"rule": {"img-src": ["a.example.com"]}}])",
         Merged(R"({"img-src": ["a.example.com", "a.example.com"]})")},
        {"child-src of a config widens frame-src; child-src keeps the default's",
         R"({"child-src": ["'self'"], "frame-src": ["'none'"]})",
         R"([{"rule": {"child-src": ["a.example.com"], "frame-src": ["b.example.com"]}}])",
         Merged(R"({"child-src": ["'self'"], "frame-src": ["'none'", "a.example.com", "b.example.com"]})")},
        {"child-src widens frame-src also when the default has none", "{}",
         R"([{"rule": {"child-src": ["a.example.com"]}}])", Merged(R"({"frame-src": ["a.example.com"]})")},
        {"configs without rule or with empty lists change nothing", R"({"img-src": ["'self'"]})",
         R"([{"rule-standalone": {"jsid": "P", "wildcard": ["img-src"]}}, {"rule": {"img-src": []}}])",
         Merged(R"({"img-src": ["'self'"]})")},
        {"a default value that is not a list is left alone", R"({"img-src": "'self'"})",
         R"([{"rule": {"img-src": ["a.example.com"]}}])", Merged(R"({"img-src": "'self'"})")},
        {"directives the configs may not name stay", R"({"default-src": ["'none'"]})", "[]",
         Merged(R"({"default-src": ["'none'"]})")},
    };
    for (const Row& row : rows) {
        Json::Value target = ParseJson(row.target);
        const Json::Value list = ParseJson(row.configs);
        const std::vector<Json::Value> configs(list.begin(), list.end());
        arx::security::Merge(configs, target);
        EXPECT_EQ(CompactJson(target), row.merged) << row.description;
    }
}

class CspGenerateFilesTest : public ::testing::Test {
protected:
    void WriteDefaultRule(const std::string& content = csp_testing::kDefaultRule)
    {
        root_.WriteFile("/usr/vorn/share/csp/rule-default", content);
    }
    std::map<std::string, std::string> Generated() const { return FilesBelow(root_.Path("/run/csp")); }

    TempRoot root_;
};

TEST_F(CspGenerateFilesTest, GeneratesExactlyTheExpectedFiles)
{
    // System and local configs: one merged from each directory, a broken
    // JSON file, an invalid config, a hidden file and a sub-directory
    // (skipped), a standalone page with its own rule and a wildcard, and a
    // page named twice (the later entry wins).
    csp_testing::CopyInto(root_, ARX_SECURITY_TESTDATA "/generate/root");
    LogCapture log;
    ASSERT_TRUE(CspRule::GenerateCSPTarget());

    const std::map<std::string, std::string> expected = FilesBelow(ARX_SECURITY_TESTDATA "/generate/expected/run/csp");
    ASSERT_EQ(expected.size(), 3u);
    EXPECT_EQ(Generated(), expected) << "byte for byte, and nothing else: no lock file, no temporary file";
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{
                  "csp_rule:# json format error " + root_.Path("/usr/vorn/etc/csp/b-broken"),
                  "csp_rule:# error url \"'unsafe-inline'\"",
                  "csp_rule:# csp rule format error " + root_.Path("/usr/vorn/etc/csp/c-keyword"),
              }));
    struct stat st;
    ASSERT_EQ(stat(root_.Path("/run/csp/rule").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
    ASSERT_EQ(stat(root_.Path("/run/csp/standalone").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0755u);
}

TEST_F(CspGenerateFilesTest, BrokenDefaultRuleLeavesThePreviousFiles)
{
    const char* brokenDefaults[] = {"{\"img-src\": [", "[\"img-src\"]", ""};
    for (const char* broken : brokenDefaults) {
        WriteDefaultRule();
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

TEST_F(CspGenerateFilesTest, MissingConfigDirectoriesContributeNothing)
{
    WriteDefaultRule(R"({"img-src": ["'self'"]})");
    LogCapture log;
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    EXPECT_TRUE(log.texts().empty());
    Json::Value rule;
    ASSERT_TRUE(VORN::JsonFromFile(rule, root_.Path("/run/csp/rule")));
    EXPECT_EQ(CompactJson(rule), Merged(R"({"img-src": ["'self'"]})"));
}

TEST_F(CspGenerateFilesTest, UnreadableConfigDirectoryIsLoggedAndTheOtherStillCounts)
{
    WriteDefaultRule(R"({"img-src": ["'self'"]})");
    root_.WriteFile("/usr/vorn/etc/csp", "a file where the directory should be");
    root_.WriteFile("/usr/local/etc/csp/addon", R"({"rule": {"img-src": ["addon.example.com"]}})");
    LogCapture log;
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"csp_rule:# enum dir " + root_.Path("/usr/vorn/etc/csp") + " failed"});
    Json::Value rule;
    ASSERT_TRUE(VORN::JsonFromFile(rule, root_.Path("/run/csp/rule")));
    EXPECT_EQ(CompactJson(rule["img-src"]), R"(["'self'","addon.example.com"])");
}

TEST_F(CspGenerateFilesTest, StandaloneFileThatCannotBeWrittenDoesNotStopTheOthers)
{
    WriteDefaultRule();
    root_.MakeDirs("/run/csp/standalone/Blocked");  // a directory where the page's file goes
    root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule": {"img-src": ["app.example.com"]},
        "rule-standalone": [{"jsid": "Blocked", "wildcard": ["img-src"]}, {"jsid": "Open", "wildcard": ["img-src"]}]})");
    LogCapture log;
    EXPECT_FALSE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{
                  "csp_rule:# save standalone file " + root_.Path("/run/csp/standalone/Blocked") + " failed",
                  "csp_rule:# standalone config save failed"}));
    Json::Value open;
    ASSERT_TRUE(VORN::JsonFromFile(open, root_.Path("/run/csp/standalone/Open")));
    EXPECT_EQ(CompactJson(open["img-src"]), R"(["'self'","data:","app.example.com","*"])");
    EXPECT_EQ(Generated().count("rule"), 1u);
}

TEST_F(CspGenerateFilesTest, LockHeldElsewhereFailsAfterTheWaitAndStaysWithItsHolder)
{
    WriteDefaultRule();
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

class CspRuleStoreTest : public CspGenerateFilesTest {
protected:
    void SetUp() override { WriteDefaultRule(); }
    std::string RuleImgSrc() const
    {
        Json::Value rule;
        return VORN::JsonFromFile(rule, root_.Path("/run/csp/rule")) ? CompactJson(rule["img-src"]) : "(none)";
    }
};

TEST_F(CspRuleStoreTest, SaveWritesTheConfigAndRegenerates)
{
    const std::string system = "photos";
    const std::string local = "addon";
    CspRule photos(system, false);
    CspRule addon(local, true);
    LogCapture log;
    ASSERT_TRUE(photos.Save(ParseJson(R"({"rule": {"img-src": ["photos.example.com"]}})")));
    ASSERT_TRUE(addon.Save(ParseJson(R"({"rule": {"img-src": ["addon.example.com"]}})")));
    EXPECT_TRUE(log.texts().empty());
    Json::Value saved;
    ASSERT_TRUE(VORN::JsonFromFile(saved, root_.Path("/usr/vorn/etc/csp/photos")));
    EXPECT_EQ(CompactJson(saved), R"({"rule":{"img-src":["photos.example.com"]}})");
    ASSERT_TRUE(VORN::JsonFromFile(saved, root_.Path("/usr/local/etc/csp/addon")));
    EXPECT_EQ(RuleImgSrc(), R"(["'self'","data:","photos.example.com","addon.example.com"])");

    ASSERT_TRUE(photos.Save(ParseJson(R"({"rule": {"img-src": ["other.example.com"]}})")));
    EXPECT_EQ(RuleImgSrc(), R"(["'self'","data:","other.example.com","addon.example.com"])") << "replaced";
    ASSERT_TRUE(photos.Delete());
    EXPECT_EQ(access(root_.Path("/usr/vorn/etc/csp/photos").c_str(), F_OK), -1);
    EXPECT_EQ(RuleImgSrc(), R"(["'self'","data:","addon.example.com"])");
}

TEST_F(CspRuleStoreTest, InvalidConfigIsRefusedAndReachesNoFile)
{
    const std::string name = "photos";
    CspRule rule(name, false);
    VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
    LogCapture log;
    EXPECT_FALSE(rule.Save(ParseJson(R"({"rule": {"img-src": ["'self'"]}})")));
    EXPECT_EQ(VLIBCErrGet(), 0x4000);
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{"csp_rule:# error url \"'self'\"", "csp_rule:# csp config photos format error"}));
    EXPECT_TRUE(FilesBelow(root_.Path("/usr/vorn/etc")).empty());
    EXPECT_TRUE(Generated().empty());
}

TEST_F(CspRuleStoreTest, DeletingAMissingConfigSucceedsWithoutRegenerating)
{
    const std::string name = "never-saved";
    LogCapture log;
    EXPECT_TRUE(CspRule(name, false).Delete());
    EXPECT_TRUE(CspRule(name, true).Delete());
    EXPECT_TRUE(log.texts().empty());
    EXPECT_EQ(access(root_.Path("/run/csp").c_str(), F_OK), -1);
}

TEST_F(CspRuleStoreTest, NamesThatAreNotPlainFileNamesAreRefused)
{
    const Json::Value config = ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})");
    root_.WriteFile("/usr/vorn/etc/victim", "keep");
    const std::vector<std::string> names = {"", ".", "..", "../victim", "a/b", ".hidden", std::string("a\0b", 3)};
    for (const std::string& name : names) {
        CspRule rule(name, false);
        LogCapture log;
        EXPECT_FALSE(rule.Save(config)) << name;
        EXPECT_FALSE(rule.Delete()) << name;
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  std::vector<std::string>(2, "csp_rule:# config name \"" + std::string(name.c_str()) + "\" refused"))
            << name;
    }
    EXPECT_EQ(root_.ReadFile("/usr/vorn/etc/victim"), "keep");
    EXPECT_TRUE(Generated().empty());
}

TEST_F(CspRuleStoreTest, ConfigThatCannotBeWrittenIsReported)
{
    root_.WriteFile("/usr/vorn/etc/csp", "a file where the directory should be");
    const std::string name = "photos";
    LogCapture log;
    EXPECT_FALSE(CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")));
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string>{"csp_rule:# config " + root_.Path("/usr/vorn/etc/csp/photos") + " save error"});
}

}  // namespace
