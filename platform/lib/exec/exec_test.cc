// Running programs: argument vectors reach the program as given, nothing of
// the parent leaks into the child, time limits end whole process groups,
// and a switched process's child cannot take root back.

#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/err.h>
#include <vorn/exec.h>

#include "testing/as_root.h"
#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

// Runs argv and gives the status and the captured output.
std::pair<int, std::string> Capture(std::vector<const char*> argv, int seconds = 0, int size = 4096)
{
    argv.push_back(nullptr);
    std::string buffer(static_cast<size_t>(size), '\xff');
    VLIBCEXECOPTIONS options {};
    options.seconds = seconds;
    options.output = buffer.data();
    options.output_size = size;
    const int status = VLIBCExecv(argv[0], argv.data(), &options);
    return {status, std::string(buffer.c_str(), static_cast<size_t>(options.output_length))};
}

TEST(Exec, RunsTheVectorAsGivenWithNothingOfTheParent)
{
    struct Case {
        const char* what;
        std::vector<const char*> argv;
        int status;
        std::string output;
    } cases[] = {
        {"arguments are not interpreted", {"/bin/echo", "a b", ";", "$(id)", "`id`", "-n"}, 0, "a b ; $(id) `id` -n\n"},
        {"the exit status passes through", {"/bin/sh", "-c", "echo out; exit 3"}, 3, "out\n"},
        {"standard input is empty", {"/bin/cat"}, 0, ""},
        {"the environment is the plain one", {"/usr/bin/env"}, 0, "PATH=/usr/bin:/bin\nLANG=C\n"},
        {"no descriptor but 0, 1, 2 is inherited", {"/bin/sh", "-c", "ls /proc/$$/fd"}, 0, "0\n1\n2\n"},
        {"standard error is not output", {"/bin/sh", "-c", "echo oops >&2"}, 0, ""},
        {"output beyond the buffer is dropped", {"/bin/echo", "0123456789"}, 0, "0123"},
    };
    for (const Case& c : cases) {
        const auto [status, output] = Capture(c.argv, 0, c.output == "0123" ? 5 : 4096);
        EXPECT_EQ(status, c.status) << c.what;
        EXPECT_EQ(output, c.output) << c.what;
    }
}

TEST(Exec, FailuresAreResultsWithTheirLines)
{
    arx_testing::LogCapture log;
    EXPECT_EQ(VLIBCExec("/nonexistent/tool", "x", nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_EXEC_FAILED);
    EXPECT_EQ(VLIBCExec("/bin/sh", "-c", "kill -9 $$", nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_EXEC_FAILED);
    EXPECT_EQ(VLIBCExec("/bin/sh", "-c", "echo first >&2; echo second >&2; exit 2", nullptr), 2);
    const char* none[] = {nullptr};
    EXPECT_EQ(VLIBCExecv("/bin/true", none, nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETERS);
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              (std::vector<std::string> {"exec:# cannot run /nonexistent/tool: No such file or directory",
                                         "spawn:# /bin/sh ended by signal 9", "spawn:# /bin/sh exited with 2: first"}));
}

TEST(Exec, TheTimeLimitEndsTheWholeProcessGroup)
{
    arx_testing::LogCapture log;
    char pidText[32] = {};
    VLIBCEXECOPTIONS options {};
    options.seconds = 1;
    options.output = pidText;
    options.output_size = sizeof pidText;
    // The background child keeps the output open: it must not keep the run alive.
    const char* argv[] = {"/bin/sh", "-c", "sleep 30 & echo $!; sleep 30", nullptr};
    EXPECT_EQ(VLIBCExecv(argv[0], argv, &options), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_EXEC_TIMEOUT);
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"spawn:# /bin/sh ran longer than 1 s and was stopped"});
    const std::string stat = "/proc/" + std::string(pidText, strcspn(pidText, "\n")) + "/stat";
    for (int i = 0; i < 100 && access(stat.c_str(), F_OK) == 0; ++i) {
        std::string state = arx_testing::ReadWholeFile(stat);
        if (state.find(") Z") != std::string::npos)
            break;
        usleep(10000);
    }
    const std::string state = access(stat.c_str(), F_OK) == 0 ? arx_testing::ReadWholeFile(stat) : ") Z";
    EXPECT_NE(state.find(") Z"), std::string::npos) << "the grandchild lives on: " << state;
}

TEST(Exec, AnUnknownEndIsAFailureNotSuccess)
{
    const arx_testing::ChildResult child = arx_testing::RunInChild([] {
        signal(SIGCHLD, SIG_IGN);
        _exit(VLIBCExec("/bin/sh", "-c", "exit 0", nullptr) == -1 ? 0 : 1);
    });
    EXPECT_EQ(child.exitStatus, 0);
    EXPECT_EQ(arx_testing::WithoutLineNumbers(child.logLines),
              std::vector<std::string> {"spawn:# cannot learn how /bin/sh ended"});
}

TEST(Exec, OutputNeverReachesTheParentsStandardOutput)
{
    const arx_testing::ChildResult child = arx_testing::RunInChild([] {
        if (VLIBCExec("/bin/echo", "into the response?", nullptr) != 0)
            _exit(1);
    });
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.exitStatus, 0);
    EXPECT_EQ(child.output, "");
}

TEST(Popen, ReadsTheOutputAsAPipeAndGivesTheStatusOnClose)
{
    const char* argv[] = {"/bin/sh", "-c", "printf 'one\\ntwo\\n'; exit 4", nullptr};
    FILE* stream = VLIBCPopen(argv[0], "r", argv, nullptr);
    ASSERT_NE(stream, nullptr);
    std::vector<std::string> lines;
    char line[64];
    while (fgets(line, sizeof line, stream) != nullptr)
        lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string> {"one\n", "two\n"}));
    EXPECT_EQ(VLIBCPclose(stream), 4);

    const char* silent[] = {"/bin/true", nullptr};
    stream = VLIBCPopen(silent[0], "r", silent, nullptr);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fgetc(stream), EOF);
    EXPECT_EQ(VLIBCPclose(stream), 0);

    EXPECT_EQ(VLIBCPopen(silent[0], "w", silent, nullptr), nullptr);
    EXPECT_EQ(VLIBCPclose(stdin), -1);
    EXPECT_EQ(VLIBCPclose(nullptr), -1);
}

class ExecAsUser : public arx_testing::AsRootTest { };

TEST_F(ExecAsUser, TheChildOfASwitchedProcessHasOnlyTheUsersIds)
{
    ASSERT_EQ(setresgid(static_cast<gid_t>(-1), nobodyGid(), static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(setresuid(static_cast<uid_t>(-1), nobodyUid(), static_cast<uid_t>(-1)), 0);
    const auto [status, output] = Capture({"/bin/sh", "-c", "grep -E '^(Uid|Gid):' /proc/$$/status"});
    uid_t r, e, s;
    getresuid(&r, &e, &s);
    gid_t rg, eg, sg;
    getresgid(&rg, &eg, &sg);
    setresuid(0, 0, 0);
    setresgid(0, 0, 0);
    EXPECT_EQ(status, 0);
    const std::string u = std::to_string(nobodyUid()), g = std::to_string(nobodyGid());
    EXPECT_EQ(output,
              "Uid:\t" + u + "\t" + u + "\t" + u + "\t" + u + "\nGid:\t" + g + "\t" + g + "\t" + g + "\t" + g + "\n");
    EXPECT_EQ(std::vector<unsigned>({r, e, s, rg, eg, sg}),
              std::vector<unsigned>({0, nobodyUid(), 0, 0, nobodyGid(), 0}))
        << "the parent's real and saved ids are back";
}

}  // namespace
