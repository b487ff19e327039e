// The rule store against a failing system: this binary defines rename,
// dlopen, setresuid and setresgid, passing each call on to the C library
// unless a test asks for a fault.

#include <dlfcn.h>
#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <arx/security_options.h>

#include "security/csp_test_support.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

template <typename Fn>
Fn Real(const char* name)
{
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

bool EndsWith(const char* text, const std::string& end)
{
    const size_t length = strlen(text);
    return length >= end.size() && end.compare(0, end.size(), text + length - end.size()) == 0;
}

enum class RenameFault { kNone, kFail, kVanish, kEmpty, kHook };
RenameFault g_renameFault = RenameFault::kNone;
std::string g_renameTarget;  // the end of the target path the fault applies to
std::function<void()> g_renameHook;

bool g_noHelper = false;

std::vector<std::string> g_idCalls;
int g_failIdCall = -1;  // index of the setresuid/setresgid call to fail

bool RecordIdCall(const char* name)
{
    g_idCalls.push_back(name);
    if (static_cast<int>(g_idCalls.size()) - 1 == g_failIdCall) {
        errno = EPERM;
        return false;
    }
    return true;
}

}  // namespace

extern "C" int rename(const char* from, const char* to)
{
    if (g_renameFault != RenameFault::kNone && EndsWith(to, g_renameTarget)) {
        if (g_renameFault == RenameFault::kFail) {
            errno = EROFS;
            return -1;
        }
        if (g_renameFault == RenameFault::kVanish)  // reports success, but the file is gone
            return Real<int (*)(const char*)>("unlink")(from);
        if (g_renameFault == RenameFault::kEmpty)  // the file arrives empty
            truncate(from, 0);
        if (g_renameHook) {
            const std::function<void()> hook = std::move(g_renameHook);
            g_renameHook = nullptr;
            hook();
        }
    }
    return Real<int (*)(const char*, const char*)>("rename")(from, to);
}

extern "C" void* dlopen(const char* file, int mode)
{
    if (g_noHelper && file != nullptr && strstr(file, "libarx_pcre") != nullptr)
        return nullptr;
    return Real<void* (*)(const char*, int)>("dlopen")(file, mode);
}

extern "C" int setresuid(uid_t ruid, uid_t euid, uid_t suid)
{
    if (!RecordIdCall("setresuid"))
        return -1;
    return Real<int (*)(uid_t, uid_t, uid_t)>("setresuid")(ruid, euid, suid);
}

extern "C" int setresgid(gid_t rgid, gid_t egid, gid_t sgid)
{
    if (!RecordIdCall("setresgid"))
        return -1;
    return Real<int (*)(gid_t, gid_t, gid_t)>("setresgid")(rgid, egid, sgid);
}

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumber;
using arx_testing::WithoutLineNumbers;
using csp_testing::FilesBelow;
using csp_testing::ParseJson;
using VORN::ARX::CspRule;

class CspFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_.WriteFile("/usr/vorn/share/csp/rule-default", csp_testing::kDefaultRule);
        root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule": {"img-src": ["app.example.com"]},
            "rule-standalone": [{"jsid": "A", "wildcard": ["img-src"]}, {"jsid": "B", "wildcard": ["img-src"]}]})");
    }
    void TearDown() override
    {
        g_renameFault = RenameFault::kNone;
        g_noHelper = false;
        g_failIdCall = -1;
    }
    std::map<std::string, std::string> Generated() const { return FilesBelow(root_.Path("/run/csp")); }
    std::string RuleText() const { return root_.ReadFile("/run/csp/rule"); }

    TempRoot root_;
};

TEST_F(CspFaultTest, RuleFileThatCannotBeReplacedLeavesThePreviousFiles)
{
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    const auto before = Generated();
    root_.WriteFile("/usr/vorn/etc/csp/app", R"({"rule": {"img-src": ["changed.example.com"]}})");
    g_renameFault = RenameFault::kFail;
    g_renameTarget = "/run/csp/rule";
    LogCapture log;
    EXPECT_FALSE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()), std::vector<std::string>{"csp_rule:# config save failed"});
    EXPECT_EQ(Generated(), before) << "the previous files, and no temporary file";
}

TEST_F(CspFaultTest, StandaloneFileThatCannotBeReplacedIsReportedAndTheOthersWritten)
{
    g_renameFault = RenameFault::kFail;
    g_renameTarget = "/run/csp/standalone/A";
    LogCapture log;
    EXPECT_FALSE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{"csp_rule:# save standalone file " + root_.Path("/run/csp/standalone/A") +
                                            " failed",
                                        "csp_rule:# standalone config save failed"}));
    const auto files = Generated();
    EXPECT_EQ(files.count("standalone/A"), 0u);
    EXPECT_EQ(files.count("standalone/B"), 1u);
    EXPECT_EQ(files.count("rule"), 1u);
}

TEST_F(CspFaultTest, RuleThatCannotBeReadAfterGenerationGivesNoHeader)
{
    struct Row {
        RenameFault fault;
        std::vector<std::string> lines;
    };
    const Row rows[] = {
        {RenameFault::kVanish,
         {"csp_rule:# chmod " + root_.Path("/run/csp/rule") + " failed",
          "security_options:# Failed to GenerateCSPTarget from [" + root_.Path("/usr/vorn/share/csp/rule-default") +
              "]"}},
        {RenameFault::kEmpty,
         {"security_options:# Failed to load CSP rule [" + root_.Path("/run/csp/rule") + "]",
          "security_options:# Failed to load CSP rule"}},
    };
    for (const Row& row : rows) {
        unlink(root_.Path("/run/csp/rule").c_str());
        g_renameFault = row.fault;
        g_renameTarget = "/run/csp/rule";
        LogCapture log;
        EXPECT_EQ(VORN::ARX::SecurityOptions(nullptr).GetCSPHeader(), "");
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.lines);
    }
}

TEST_F(CspFaultTest, GenerationHoldsOffOthersBetweenReadingAndWriting)
{
    // While this process's generation has read the configs and not yet
    // written the rule, another process saves a config.  Its generation must
    // wait for this one, or this one's stale rule would be the last word.
    pid_t other = -1;
    bool otherDoneEarly = false;
    g_renameFault = RenameFault::kHook;
    g_renameTarget = "/run/csp/rule";
    g_renameHook = [&] {
        other = fork();
        if (other == 0) {
            g_renameFault = RenameFault::kNone;
            for (int fd = 3; fd < 1024; ++fd)
                close(fd);  // not the lock of the generation under way
            const std::string name = "late";
            _exit(CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["late.example.com"]}})")) ? 0 : 1);
        }
        const std::string config = root_.Path("/usr/vorn/etc/csp/late");
        for (int wait = 0; wait < 5000 && access(config.c_str(), F_OK) != 0; ++wait)
            usleep(1000);
        // Time enough for the other generation to finish, were it not held off.
        for (int wait = 0; wait < 1000 && !otherDoneEarly; ++wait) {
            int status;
            otherDoneEarly = waitpid(other, &status, WNOHANG) == other;
            usleep(1000);
        }
    };
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    ASSERT_GT(other, 0);
    EXPECT_FALSE(otherDoneEarly) << "the other generation ran while this one held the lock";
    if (!otherDoneEarly) {
        int status = 0;
        waitpid(other, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_NE(RuleText().find("late.example.com"), std::string::npos) << "the later change is in the rule";
}

// The matcher is loaded once per process: this test needs a process that
// has not loaded it yet, as CTest gives every test.
TEST_F(CspFaultTest, MissingUrlMatcherRefusesEverySourceAndSaysSoOnce)
{
    g_noHelper = true;
    const std::string name = "app";
    CspRule rule(name, false);
    LogCapture log;
    EXPECT_FALSE(rule.IsValidUrl("img-src", "https://a.example.com"));
    EXPECT_FALSE(rule.IsValidUrl("img-src", "a.example.com"));
    EXPECT_FALSE(CspRule::IsValidConf(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")));
    EXPECT_TRUE(CspRule::IsValidConf(ParseJson(R"({"rule-standalone": {"jsid": "P", "wildcard": ["img-src"]}})")))
        << "standalone sources are not matched against the pattern";
    const std::vector<std::string> lines = WithoutLineNumbers(log.texts());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("csp_rule:# cannot load libarx_pcre.so.7, every CSP source is refused: ", 0), 0u)
        << lines[0];
    EXPECT_EQ(lines[1], "csp_rule:# error url \"a.example.com\"");
}

class CspCriticalSectionFaultTest : public CspFaultTest {
protected:
    void SetUp() override
    {
        if (getuid() != 0 || geteuid() != 0)
            GTEST_SKIP() << "identity switching needs root";
        CspFaultTest::SetUp();
        root_.MakeDirs("/run/csp/standalone");
        const passwd* nobody = getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        ASSERT_EQ(setresgid(-1, nobody->pw_gid, -1), 0);
        ASSERT_EQ(setresuid(-1, nobody->pw_uid, -1), 0);
        g_idCalls.clear();
    }
    void TearDown() override
    {
        CspFaultTest::TearDown();
        Real<int (*)(uid_t, uid_t, uid_t)>("setresuid")(-1, 0, -1);
        Real<int (*)(gid_t, gid_t, gid_t)>("setresgid")(-1, 0, -1);
    }
};

TEST_F(CspCriticalSectionFaultTest, FailedEntryIsLoggedAndTheWorkGoesOn)
{
    g_failIdCall = 0;  // the group goes first
    LogCapture log;
    EXPECT_TRUE(CspRule::GenerateCSPTarget()) << "the user switch alone is enough to write";
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(WithoutLineNumber(log.lines()[0].text), "csp_rule:# ERROR: ENTERCriticalSection");
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_ERR);
    EXPECT_EQ(g_idCalls[0], "setresgid");
    EXPECT_EQ(g_idCalls[1], "setresuid");
}

TEST_F(CspCriticalSectionFaultTest, FailedLeaveIsLoggedAsCritical)
{
    g_failIdCall = 2;  // the first call of the way back
    LogCapture log;
    EXPECT_TRUE(CspRule::GenerateCSPTarget());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(WithoutLineNumber(log.lines()[0].text), "csp_rule:# ERROR: LEAVECriticalSection");
    EXPECT_EQ(log.lines()[0].priority, LOG_AUTH | LOG_CRIT);
}

}  // namespace
