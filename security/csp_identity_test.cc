// The rule store run by a process whose effective identity is not root, as
// a CGI program switched to its web user is: Save, Delete and the
// generation really become root for their writes and come back.  These
// tests run as root and switch to "nobody" first.

#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/csp_rule.h>

#include "security/csp_test_support.h"
#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::RunInChild;
using arx_testing::WithoutLineNumbers;
using csp_testing::ParseJson;
using VORN::ARX::CspRule;

class CspIdentityTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (getuid() != 0 || geteuid() != 0)
            GTEST_SKIP() << "identity switching needs root";
        const passwd* nobody = getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        uid_ = nobody->pw_uid;
        gid_ = nobody->pw_gid;
        root_.WriteFile("/usr/vorn/share/csp/rule-default", csp_testing::kDefaultRule);
    }

    // The effective ids of the web user; root stays in the real and saved
    // ids, so the way back is open.
    void BecomeWebUser() const
    {
        if (setresgid(-1, gid_, -1) != 0 || setresuid(-1, uid_, -1) != 0)
            _exit(2);
    }
    // A permanent drop: no root anywhere.
    void DropRoot() const
    {
        setgroups(0, nullptr);
        if (setresgid(gid_, gid_, gid_) != 0 || setresuid(uid_, uid_, uid_) != 0)
            _exit(2);
    }
    uid_t Owner(const std::string& systemPath) const
    {
        struct stat st;
        return stat(root_.Path(systemPath).c_str(), &st) == 0 ? st.st_uid : static_cast<uid_t>(-1);
    }
    std::string Ids() const { return std::to_string(uid_) + "/" + std::to_string(gid_); }

    arx_testing::TempRoot root_;
    uid_t uid_ = 0;
    gid_t gid_ = 0;
};

std::string EffectiveIds()
{
    return std::to_string(geteuid()) + "/" + std::to_string(getegid());
}

TEST_F(CspIdentityTest, SaveAndDeleteWriteAsRootAndComeBack)
{
    const auto run = RunInChild([this] {
        BecomeWebUser();
        const std::string name = "photos";
        CspRule rule(name, false);
        const bool saved = rule.Save(ParseJson(R"({"rule": {"img-src": ["photos.example.com"]}})"));
        printf("save %d %s, ", saved, EffectiveIds().c_str());
        printf("config owner %d, rule owner %d, ", static_cast<int>(Owner("/usr/vorn/etc/csp/photos")),
               static_cast<int>(Owner("/run/csp/rule")));
        const bool deleted = rule.Delete();
        printf("delete %d %s, config %s", deleted, EffectiveIds().c_str(),
               access(root_.Path("/usr/vorn/etc/csp/photos").c_str(), F_OK) == 0 ? "left" : "gone");
    });
    EXPECT_EQ(run.output, "save 1 " + Ids() + ", config owner 0, rule owner 0, delete 1 " + Ids() + ", config gone");
    EXPECT_TRUE(run.logLines.empty());
}

TEST_F(CspIdentityTest, GenerationAsTheWebUserWritesAsRoot)
{
    const auto run = RunInChild([this] {
        BecomeWebUser();
        const bool generated = CspRule::GenerateCSPTarget();
        printf("%d %s %d", generated, EffectiveIds().c_str(), static_cast<int>(Owner("/run/csp/standalone")));
    });
    EXPECT_EQ(run.output, "1 " + Ids() + " 0");
    EXPECT_TRUE(run.logLines.empty());
}

TEST_F(CspIdentityTest, FailedSwitchIsLoggedAndNothingIsWritten)
{
    root_.WriteFile("/usr/vorn/etc/csp/existing", R"({"rule": {"img-src": ["a.example.com"]}})");
    root_.MakeDirs("/run/csp/standalone");
    const auto run = RunInChild([this] {
        DropRoot();
        const std::string newName = "photos";
        const std::string existingName = "existing";
        printf("save %d, ", CspRule(newName, false).Save(ParseJson(R"({"rule": {"img-src": ["a.example.com"]}})")));
        printf("delete %d, ", CspRule(existingName, false).Delete());
        printf("generate %d", CspRule::GenerateCSPTarget());
    });
    EXPECT_EQ(run.output, "save 0, delete 0, generate 0");
    EXPECT_EQ(WithoutLineNumbers(run.logLines), (std::vector<std::string>{
                                                    "security/csp_rule.cc:# ERROR: IF_RUN_AS(0, 0)",
                                                    "csp_rule:# cannot enter critical section(uid!=0?)",
                                                    "security/csp_rule.cc:# ERROR: IF_RUN_AS(0, 0)",
                                                    "csp_rule:# cannot enter critical section(uid!=0?)",
                                                    "csp_rule:# ERROR: ENTERCriticalSection",
                                                    "csp_rule:# lock failed.",
                                                }));
    EXPECT_EQ(access(root_.Path("/usr/vorn/etc/csp/photos").c_str(), F_OK), -1);
    EXPECT_EQ(access(root_.Path("/usr/vorn/etc/csp/existing").c_str(), F_OK), 0);
    EXPECT_TRUE(csp_testing::FilesBelow(root_.Path("/run/csp")).empty());
}

}  // namespace
