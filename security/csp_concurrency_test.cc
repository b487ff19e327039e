// Eight processes saving, deleting and generating at once, while another
// reads the generated rule the whole time.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <vorn/log.h>

#include "security/csp_test_support.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;
using csp_testing::FilesBelow;
using VORN::ARX::CspRule;

constexpr int kWorkers = 8;
constexpr int kRounds = 30;
constexpr int kApps = 4;
constexpr int kInstalledApps = 20;
constexpr int kSourcesPerApp = 50;

int ExitStatus(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void LogToFile(int, const char* line, void* context)
{
    const std::string text = std::string(line) + "\n";
    if (write(*static_cast<int*>(context), text.data(), text.size()) < 0)
        _exit(120);
}

// One worker: each round saves, deletes or regenerates one of a few
// applications' configs.  Exit status: the number of failed operations.
[[noreturn]] void Work(int worker, const std::string& logPath)
{
    int logFile = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    VLIBCLogSetSink(&LogToFile, &logFile);
    int failures = 0;
    for (int round = 0; round < kRounds; ++round) {
        const std::string name = "app-" + std::to_string((worker + round) % kApps);
        CspRule rule(name, worker % 2 == 1);
        bool ok = true;
        switch ((worker * 7 + round) % 3) {
        case 0: {
            Json::Value config;
            config["rule"]["img-src"].append("w" + std::to_string(worker) + "-r" + std::to_string(round) +
                                             ".example.com");
            config["rule"]["child-src"].append(name + ".example.com");
            config["rule-standalone"]["jsid"] = "Page-" + name;
            config["rule-standalone"]["wildcard"].append("img-src");
            ok = rule.Save(config);
            break;
        }
        case 1:
            ok = rule.Delete();
            break;
        default:
            ok = CspRule::GenerateCSPTarget();
            break;
        }
        failures += ok ? 0 : 1;
    }
    _exit(failures);
}

// The reader: the generated rule is always there and always whole JSON.
// Exit status 0 when every read of it parsed, 1 when one did not, 2 when
// it never got to read.
[[noreturn]] void Read(const std::string& rulePath, const std::string& stopPath)
{
    int reads = 0;
    while (access(stopPath.c_str(), F_OK) != 0) {
        Json::Value rule;
        if (!VORN::JsonFromFile(rule, rulePath) || !rule.isObject())
            _exit(1);
        ++reads;
    }
    _exit(reads > 0 ? 0 : 2);
}

TEST(CspConcurrencyTest, EightProcessesSavingDeletingAndGeneratingAtOnce)
{
    TempRoot root;
    root.WriteFile("/usr/vorn/share/csp/rule-default", csp_testing::kDefaultRule);
    // Installed applications that nobody touches make every generation read
    // and write long enough for generations to overlap, were they not locked.
    root.MakeDirs("/usr/vorn/etc/csp");
    for (int app = 0; app < kInstalledApps; ++app) {
        Json::Value config;
        for (int source = 0; source < kSourcesPerApp; ++source)
            config["rule"]["connect-src"].append("s" + std::to_string(source) + ".installed" + std::to_string(app) +
                                                 ".example.com");
        ASSERT_TRUE(VORN::JsonToFile(config, root.Path("/usr/vorn/etc/csp/installed-" + std::to_string(app))));
    }
    ASSERT_TRUE(CspRule::GenerateCSPTarget());

    const std::string stopPath = root.Path("/stop");
    const pid_t reader = fork();
    if (reader == 0)
        Read(root.Path("/run/csp/rule"), stopPath);
    std::vector<pid_t> workers;
    for (int worker = 0; worker < kWorkers; ++worker) {
        const pid_t pid = fork();
        if (pid == 0)
            Work(worker, root.Path("/worker-" + std::to_string(worker) + ".log"));
        workers.push_back(pid);
    }
    for (size_t worker = 0; worker < workers.size(); ++worker) {
        EXPECT_EQ(ExitStatus(workers[worker]), 0)
            << "failed operations of worker " << worker << ", its log:\n"
            << root.ReadFile("/worker-" + std::to_string(worker) + ".log");
    }
    root.WriteFile("/stop", "");
    EXPECT_EQ(ExitStatus(reader), 0) << "1: a read found no whole JSON";

    EXPECT_EQ(access(root.Path("/run/csp/csp_rule.lock").c_str(), F_OK), -1) << "no lock file is left";
    for (const char* dir : {"/run/csp", "/usr/vorn/etc/csp", "/usr/local/etc/csp"}) {
        for (const auto& [path, content] : FilesBelow(root.Path(dir)))
            EXPECT_NE(std::filesystem::path(path).filename().string()[0], '.') << "a temporary file is left: " << path;
    }
    const auto final = FilesBelow(root.Path("/run/csp"));
    ASSERT_TRUE(CspRule::GenerateCSPTarget());
    EXPECT_EQ(FilesBelow(root.Path("/run/csp")), final) << "the last generation saw every change";
    EXPECT_GT(final.size(), 1u) << "standalone pages were generated";
}

}  // namespace
