// Eight processes building the cache at once, while another reads it the
// whole time and a clear comes between the rounds.

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>
#include <arx/json_file.h>

#include "testing/as_root.h"
#include "testing/module_tree.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::AppModule;
using arx_testing::TempRoot;
using VORN::PAD::JSConfigParser;

constexpr int kBuilders = 8;
constexpr int kRounds = 6;
constexpr int kModules = 60;
constexpr char kCache[] = "/var/cache/js_config_parser";

int ExitStatus(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Json::Value Everything(JSConfigParser& parser)
{
    Json::Value all;
    all["texts"] = parser.GetModuleTexts();
    all["apps"] = parser.GetAppConfig();
    all["brief"] = parser.GetBriefTexts();
    return all;
}

// One builder: a desktop request through the cache.  Exit status 0 when it
// saw what a scan without the cache sees.
[[noreturn]] void Build(const Json::Value& expected)
{
    JSConfigParser parser("ger", false, true);
    parser.ParsePathFromVornman(nullptr);
    _exit(Everything(parser) == expected ? 0 : 1);
}

std::vector<std::string> CacheFiles(const TempRoot& root)
{
    std::vector<std::string> files;
    for (const char* dir : {"/config", "/texts", "/brieftext"}) {
        const std::string path = root.Path(std::string(kCache) + dir);
        if (DIR* listing = opendir(path.c_str())) {
            while (const dirent* entry = readdir(listing)) {
                if (entry->d_name[0] != '.' || (entry->d_name[1] != '\0' && entry->d_name[1] != '.'))
                    files.push_back(path + "/" + entry->d_name);
            }
            closedir(listing);
        }
    }
    return files;
}

// The reader: every cache file it finds is whole JSON.  Exit status 0, or
// 1 for a file that was not.
[[noreturn]] void Read(const TempRoot& root, const std::string& stopPath)
{
    while (access(stopPath.c_str(), F_OK) != 0) {
        for (const std::string& file : CacheFiles(root)) {
            if (file.find("/.") != std::string::npos)
                continue;  // a writer's temporary file
            Json::Value document;
            if (!VORN::JsonFromFile(document, file) && access(file.c_str(), F_OK) == 0)
                _exit(1);
        }
    }
    _exit(0);
}

class CacheConcurrencyTest : public arx_testing::AsRootTest { };

TEST_F(CacheConcurrencyTest, EightProcessesBuildingAtOnce)
{
    if (IsSkipped())
        return;
    TempRoot root;
    for (int i = 0; i < kModules; ++i) {
        const std::string name = "Module" + std::to_string(i);
        WriteModule(root, AppModule(name, {{"enu", name}, {"ger", name + " (de)"}}));
    }
    JSConfigParser uncached("ger", false, false);
    uncached.ParsePathFromVornman(nullptr);
    const Json::Value expected = Everything(uncached);
    ASSERT_EQ(expected["apps"].size(), static_cast<unsigned>(kModules));

    const std::string stopPath = root.Path("/stop");
    const pid_t reader = fork();
    if (reader == 0)
        Read(root, stopPath);
    for (int round = 0; round < kRounds; ++round) {
        std::vector<pid_t> builders;
        for (int i = 0; i < kBuilders; ++i) {
            const pid_t pid = fork();
            if (pid == 0)
                Build(expected);
            builders.push_back(pid);
        }
        for (const pid_t pid : builders)
            EXPECT_EQ(ExitStatus(pid), 0) << "round " << round;
        // Every document there, whole, and no temporary file left.
        const std::vector<std::string> files = CacheFiles(root);
        EXPECT_EQ(files.size(), 2u + kModules) << "round " << round;
        for (const std::string& file : files) {
            EXPECT_EQ(file.find("/."), std::string::npos) << "left behind: " << file;
            Json::Value document;
            EXPECT_TRUE(VORN::JsonFromFile(document, file)) << file;
        }
        JSConfigParser cached("ger", false, true);
        cached.ParsePathFromVornman(nullptr);
        EXPECT_EQ(Everything(cached), expected) << "round " << round;
        if (round % 2 == 0) {
            ASSERT_TRUE(JSConfigParser::ClearCache());
        }
    }
    root.WriteFile("/stop", "");
    EXPECT_EQ(ExitStatus(reader), 0) << "a reader saw part of a file";
}

}  // namespace
