// The rule store as processes: against a failing system; as the web user,
// as a CGI program switched to its user is, becoming root for its writes
// and coming back; eight processes at once.  This binary defines rename,
// dlopen, setresuid and setresgid, and passes each call on unless a test's
// plan says otherwise.

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <arx/security_options.h>
#include <vorn/log.h>

#include "security/csp_test_support.h"
#include "testing/as_root.h"
#include "testing/interpose.h"
#include "testing/log_capture.h"

namespace {

using Rename = std::function<int(const char* from, const char* to)>;
Rename g_nextRuleRename;  // takes the place of the next rename onto "/run/csp/rule"
bool g_noUrlMatcher = false;
arx_testing::FaultPlan g_idPlan;  // counts setresuid and setresgid together

}  // namespace

extern "C" int rename(const char* from, const char* to)
{
    const size_t length = strlen(to);
    if (g_nextRuleRename && length >= 13 && strcmp(to + length - 13, "/run/csp/rule") == 0) {
        const Rename replacement = std::move(g_nextRuleRename);
        g_nextRuleRename = nullptr;
        return replacement(from, to);
    }
    return ARX_NEXT(rename)(from, to);
}

extern "C" void* dlopen(const char* file, int mode)
{
    if (g_noUrlMatcher && file != nullptr && strstr(file, "libarx_pcre") != nullptr)
        return nullptr;
    return ARX_NEXT(dlopen)(file, mode);
}

extern "C" int setresuid(uid_t ruid, uid_t euid, uid_t suid)
{
    return g_idPlan.Fails() ? -1 : ARX_NEXT(setresuid)(ruid, euid, suid);
}

extern "C" int setresgid(gid_t rgid, gid_t egid, gid_t sgid)
{
    return g_idPlan.Fails() ? -1 : ARX_NEXT(setresgid)(rgid, egid, sgid);
}

namespace {

using arx_testing::LogCapture;
using arx_testing::WithoutLineNumber;
using arx_testing::WithoutLineNumbers;
using csp_testing::FilesBelow;
using csp_testing::ParseJson;
using VORN::ARX::CspRule;

class CspFaultTest : public ::testing::Test {
protected:
    void SetUp() override { root_.WriteFile("/usr/vorn/share/csp/rule-default", csp_testing::kDefaultRule); }
    void TearDown() override
    {
        g_nextRuleRename = nullptr;
        g_noUrlMatcher = false;
    }

    arx_testing::TempRoot root_;
};

// A request that finds no rule generates it and reads it again.
TEST_F(CspFaultTest, RuleThatCannotBeWrittenOrReadGivesNoHeader)
{
    struct Row {
        const char* description;
        Rename rename;
        std::vector<std::string> lines;
        size_t files;  // under /run/csp afterwards: no temporary file is left
    };
    const std::string generationFailed =
        "security_options:# Failed to GenerateCSPTarget from [" + root_.Path("/usr/vorn/share/csp/rule-default") + "]";
    const Row rows[] = {
        {"the rule cannot be replaced",
         [](const char*, const char*) { return errno = EROFS, -1; },
         {"csp_rule:# config save failed", generationFailed},
         0},
        {"the rule is gone after its rename",
         [](const char* from, const char*) { return unlink(from); },
         {"csp_rule:# chmod " + root_.Path("/run/csp/rule") + " failed", generationFailed},
         0},
        {"the rule arrives empty",
         [](const char* from, const char* to) { return truncate(from, 0) == 0 ? ARX_NEXT(rename)(from, to) : -1; },
         {"security_options:# Failed to load CSP rule [" + root_.Path("/run/csp/rule") + "]",
          "security_options:# Failed to load CSP rule"},
         1},
    };
    for (const Row& row : rows) {
        unlink(root_.Path("/run/csp/rule").c_str());
        g_nextRuleRename = row.rename;
        LogCapture log;
        EXPECT_EQ(VORN::ARX::SecurityOptions(nullptr).GetCSPHeader(), "") << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.lines) << row.description;
        EXPECT_EQ(FilesBelow(root_.Path("/run/csp")).size(), row.files) << row.description;
    }
}

TEST_F(CspFaultTest, GenerationHoldsOffOthersBetweenReadingAndWriting)
{
    // While this process's generation has read the configs and not yet
    // written the rule, another process saves a config.  Its generation must
    // wait for this one, or this one's stale rule would be the last word.
    pid_t other = -1;
    bool otherDoneEarly = false;
    g_nextRuleRename = [&](const char* from, const char* to) {
        if ((other = fork()) == 0) {
            for (int fd = 3; fd < 1024; ++fd)
                close(fd);  // not the lock of the generation under way
            const std::string name = "late";
            _exit(CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["late.example.com"]}})")) ? 0 : 1);
        }
        // Time enough for the other save and generation, were they not held off.
        for (int wait = 0; wait < 2000 && !otherDoneEarly; ++wait) {
            otherDoneEarly = waitpid(other, nullptr, WNOHANG) == other;
            usleep(1000);
        }
        return ARX_NEXT(rename)(from, to);
    };
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    ASSERT_GT(other, 0);
    EXPECT_FALSE(otherDoneEarly) << "the other generation ran while this one held the lock";
    int status = 0;
    if (!otherDoneEarly)
        waitpid(other, &status, 0);
    EXPECT_EQ(status, 0) << "the other save waited for the lock, and succeeded";
    EXPECT_NE(root_.ReadFile("/run/csp/rule").find("late.example.com"), std::string::npos);
}

// The tests run as the web user; root stays in the real and saved ids,
// so the way back is open.
class CspAsWebUserTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        root_.WriteFile("/usr/vorn/share/csp/rule-default", csp_testing::kDefaultRule);
    }
    void TearDown() override
    {
        g_idPlan.Clear();
        setresuid(-1, 0, -1);
        setresgid(-1, 0, -1);
        AsRootTest::TearDown();
    }
    void BecomeWebUser() const
    {
        ASSERT_EQ(setresuid(-1, 0, -1), 0);
        ASSERT_EQ(setresgid(-1, nobodyGid(), -1), 0);
        ASSERT_EQ(setresuid(-1, nobodyUid(), -1), 0);
    }
    bool IsWebUser() const { return geteuid() == nobodyUid() && getegid() == nobodyGid(); }
    uid_t Owner(const std::string& systemPath) const
    {
        struct stat st;
        return stat(root_.Path(systemPath).c_str(), &st) == 0 ? st.st_uid : static_cast<uid_t>(-1);
    }

    arx_testing::TempRoot root_;
};

TEST_F(CspAsWebUserTest, SaveAndDeleteWriteAsRootAndComeBack)
{
    BecomeWebUser();
    const std::string name = "photos";
    CspRule rule(name, false);
    LogCapture log;
    ASSERT_TRUE(rule.Save(ParseJson(R"({"rule": {"img-src": ["photos.example.com"]}})")));
    EXPECT_TRUE(IsWebUser());
    for (const char* path : {"/usr/vorn/etc/csp/photos", "/run/csp/rule", "/run/csp/standalone"})
        EXPECT_EQ(Owner(path), 0u) << path;
    EXPECT_NE(root_.ReadFile("/run/csp/rule").find("photos.example.com"), std::string::npos);

    ASSERT_TRUE(rule.Delete());
    EXPECT_TRUE(IsWebUser());
    EXPECT_EQ(access(root_.Path("/usr/vorn/etc/csp/photos").c_str(), F_OK), -1);
    EXPECT_EQ(root_.ReadFile("/run/csp/rule").find("photos.example.com"), std::string::npos);
    EXPECT_TRUE(log.texts().empty());
}

TEST_F(CspAsWebUserTest, FailedSwitchesAreLoggedAndWhatCanGoOnGoesOn)
{
    struct Row {
        const char* description;
        std::function<bool()> operation;
        int failingCall;  // of setresgid and setresuid together
        bool result;
        const char* line;  // the last one logged
        int priority;
    };
    const std::string name = "photos";
    const Row rows[] = {
        {"Save: root is refused, and the config not written",
         [&] { return CspRule(name, false).Save(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")); }, 1, false,
         "csp_rule:# cannot enter critical section(uid!=0?)", LOG_ERR},
        // Were the user switched first, its failure would leave nobody to write.
        {"generation: the group goes first, and the user switch alone is enough to write", CspRule::GenerateCSPTarget,
         1, true, "csp_rule:# ERROR: ENTERCriticalSection", LOG_AUTH | LOG_ERR},
        {"generation: the way back fails", CspRule::GenerateCSPTarget, 3, true,
         "csp_rule:# ERROR: LEAVECriticalSection", LOG_AUTH | LOG_CRIT},
    };
    root_.MakeDirs("/run/csp/standalone");
    for (const Row& row : rows) {
        BecomeWebUser();
        g_idPlan.FailCall(row.failingCall);
        LogCapture log;
        EXPECT_EQ(row.operation(), row.result) << row.description;
        g_idPlan.Clear();
        ASSERT_FALSE(log.lines().empty()) << row.description;
        EXPECT_EQ(WithoutLineNumber(log.lines().back().text), row.line) << row.description;
        EXPECT_EQ(log.lines().back().priority, row.priority) << row.description;
    }
    EXPECT_EQ(access(root_.Path("/usr/vorn/etc/csp/photos").c_str(), F_OK), -1);
}

// Each round saves, deletes or regenerates one of four applications'
// configs.  Few enough rounds that no worker waits out the store's 5 s
// lock on a loaded two-core machine.  Exit status: the number of failed operations; their log lines
// go to standard error.
[[noreturn]] void Work(int worker)
{
    VLIBCLogSetSink([](int, const char* line, void*) { fprintf(stderr, "%s\n", line); }, nullptr);
    int failures = 0;
    for (int round = 0; round < 12; ++round) {
        const std::string name = "app-" + std::to_string((worker + round) % 4);
        CspRule rule(name, worker % 2 == 1);
        Json::Value config;
        config["rule"]["img-src"].append("w" + std::to_string(worker) + "-r" + std::to_string(round) + ".example.com");
        config["rule-standalone"]["jsid"] = "Page-" + name;
        config["rule-standalone"]["wildcard"].append("img-src");
        const int operation = (worker * 7 + round) % 3;
        const bool ok = operation == 0   ? rule.Save(config)
                        : operation == 1 ? rule.Delete()
                                         : CspRule::GenerateCSPTarget();
        failures += ok ? 0 : 1;
    }
    _exit(failures);
}

TEST_F(CspFaultTest, EightProcessesSavingDeletingAndGeneratingAtOnce)
{
    // Installed applications that nobody touches make every generation read
    // and write long enough for generations to overlap, were they not locked.
    Json::Value installed;
    for (int source = 0; source < 50; ++source)
        installed["rule"]["connect-src"].append("s" + std::to_string(source) + ".installed.example.com");
    root_.MakeDirs("/usr/vorn/etc/csp");
    for (int app = 0; app < 10; ++app)
        ASSERT_TRUE(VORN::JsonToFile(installed, root_.Path("/usr/vorn/etc/csp/installed-" + std::to_string(app))));
    std::vector<pid_t> workers;
    for (int worker = 0; worker < 8; ++worker) {
        workers.push_back(fork());
        if (workers.back() == 0)
            Work(worker);
    }
    for (const pid_t worker : workers) {
        int status = 0;
        EXPECT_EQ(waitpid(worker, &status, 0), worker);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "failed operations: " << WEXITSTATUS(status);
    }
    const auto final = FilesBelow(root_.Path("/run/csp"));
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(FilesBelow(root_.Path("/run/csp")), final) << "the last generation saw every change and left no lock";
    for (const char* dir : {"/run/csp", "/usr/vorn/etc/csp", "/usr/local/etc/csp"}) {
        for (const auto& file : FilesBelow(root_.Path(dir)))
            EXPECT_EQ(("/" + file.first).find("/."), std::string::npos) << "a temporary file is left: " << file.first;
    }
}

// The matcher is loaded once per process: this test needs a process that
// has not loaded it yet, as CTest gives every test.
TEST_F(CspFaultTest, MissingUrlMatcherRefusesEverySourceAndSaysSoOnce)
{
    g_noUrlMatcher = true;
    const std::string name = "app";
    LogCapture log;
    EXPECT_FALSE(CspRule(name, false).IsValidUrl("img-src", "https://a.example.com"));
    EXPECT_FALSE(CspRule::IsValidConf(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")));
    EXPECT_TRUE(CspRule::IsValidConf(ParseJson(R"({"rule-standalone": {"jsid": "P", "wildcard": ["img-src"]}})")))
        << "standalone sources are not matched against the pattern";
    ASSERT_EQ(log.texts().size(), 2u) << "the refused config says why";
    EXPECT_EQ(WithoutLineNumber(log.texts()[0])
                  .rfind("csp_rule:# cannot load libarx_pcre.so.7, every CSP source is refused: ", 0),
              0u)
        << log.texts()[0];
}

}  // namespace
