// Stamps: which file each path names, and "now" for what cannot be
// examined.  The directories are fixed once per process, so every case
// runs in a child with its own environment.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webutils.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildResult;
using arx_testing::RunInChild;
using arx_testing::TempRoot;

constexpr const char* kNow = "now";

// Files and directories of the root, each with a modification time of its
// own, so that a stamp tells which one was examined.
struct Stamped {
    const char* path;
    bool directory;
    long long time;
};

const Stamped kTree[] = {
    {"/docroot/x.js", false, 1000001},          {"/docroot/sub/y.css", false, 1000002},
    {"/cgi/bin/d.js", false, 1000003},          {"/work/x/webman/d.js", false, 1000005},
    {"/docroot/webman/texts", true, 1000006},   {"/docroot/scripts/texts", true, 1000007},
    {"/docroot/webfm/texts", true, 1000008},    {"/etc.defaults/vorninfo.conf", false, 1000009},
    {"/usr/vorn/vornman/a.js", false, 1000010}, {"/cgi/bin", true, 1000004},  // after the files it holds
    {"/usr/vorn/vornman", true, 1000011},
};

void MakeTree(const TempRoot& root)
{
    for (const Stamped& entry : kTree) {
        if (entry.directory)
            root.MakeDirs(entry.path);
        else
            root.WriteFile(entry.path, "x");
    }
    for (const Stamped& entry : kTree) {
        const timespec times[2] = {{entry.time, 0}, {entry.time, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, root.Path(entry.path).c_str(), times, 0), 0) << entry.path;
    }
}

struct Row {
    const char* description;
    const char* path;  // nullptr: a null pointer
    const char* stamp;  // a number, or kNow
};

// Runs GetModifyTime for every row in one child with the environment.
void ExpectStamps(const TempRoot& root, std::vector<std::pair<std::string, std::string>> env,
                  const std::vector<Row>& rows)
{
    const std::string workDir = root.Path("/work");
    const long long before = time(nullptr);
    const ChildResult result = RunInChild([&] {
        unsetenv("SCRIPT_FILENAME");
        for (const auto& [name, value] : env)
            setenv(name.c_str(), value.c_str(), 1);
        if (chdir(workDir.c_str()) != 0)
            _exit(3);
        for (const Row& row : rows)
            printf("%s\n", WebUtils::GetModifyTime(row.path).c_str());
    });
    const long long after = time(nullptr);
    ASSERT_TRUE(result.exited && result.exitStatus == 0);
    std::istringstream lines(result.output);
    for (const Row& row : rows) {
        std::string stamp;
        std::getline(lines, stamp);
        if (row.stamp != kNow) {
            EXPECT_EQ(stamp, row.stamp) << row.description;
            continue;
        }
        const long long now = std::stoll(stamp);
        EXPECT_TRUE(now >= before && now <= after) << row.description << ": " << stamp;
    }
}

TEST(ModifyTimeTest, PathsResolveAsTheWebServerWould)
{
    TempRoot root;
    MakeTree(root);
    ExpectStamps(root, {{"DOCUMENT_ROOT", root.Path("/docroot")}, {"SCRIPT_FILENAME", root.Path("/cgi/bin/c.cgi")}},
                 {
                     {"URL-absolute: below the document root", "/x.js", "1000001"},
                     {"the query is ignored", "/x.js?v=1", "1000001"},
                     {"cut at the last '?'", "/sub/y.css?x?v=2", kNow},
                     {"a doubled slash is harmless", "//sub/y.css", "1000002"},
                     {"relative: below the script's directory", "d.js", "1000003"},
                     {"relative with a query", "d.js?v=9", "1000003"},
                     {"empty: the script's directory", "", "1000004"},
                     {"null: the script's directory", nullptr, "1000004"},
                     {"only a query: the script's directory", "?v=1", "1000004"},
                     {"relative into webman/: as it stands", "x/webman/d.js", "1000005"},
                     {"missing file: now", "/nothing.js", kNow},
                     {"missing relative file: now", "nothing.js", kNow},
                 });
}

TEST(ModifyTimeTest, WithoutTheCgiVariablesTheWebRootServes)
{
    TempRoot root;
    MakeTree(root);
    ExpectStamps(root, {},
                 {
                     {"URL-absolute below the web root", "/a.js", "1000010"},
                     {"relative below the web root", "a.js", "1000010"},
                     {"the web root itself", "", "1000011"},
                 });
}

TEST(ModifyTimeTest, ScriptDirectoryGivenWithItsSlash)
{
    TempRoot root;
    MakeTree(root);
    ExpectStamps(root, {{"SCRIPT_FILENAME", root.Path("/cgi/bin/")}},
                 {
                     {"kept as it is", "", "1000004"},
                     {"files below it", "d.js", "1000003"},
                 });
}

TEST(ModifyTimeTest, StringsDirectoriesAndDefaults)
{
    struct StringsRow {
        const char* description;
        const char* module;
        const char* stamp;
    };
    const std::vector<StringsRow> rows = {
        {"webman family", "webman/modules", "1000006"},
        {"scripts family", "scripts", "1000007"},
        {"webfm family, by prefix", "webfmX", "1000008"},
        {"prefixes are case-sensitive", "Webman", kNow},
        {"any other module", "foo", kNow},
        {"the family name elsewhere in the name", "my-webman", kNow},
    };
    TempRoot root;
    MakeTree(root);
    const std::string docroot = root.Path("/docroot");
    const long long before = time(nullptr);
    const ChildResult result = RunInChild([&] {
        setenv("DOCUMENT_ROOT", docroot.c_str(), 1);
        for (const StringsRow& row : rows)
            printf("%s\n", WebUtils::GetUIStringModifyTime(row.module).c_str());
        printf("%s\n", WebUtils::GetVornDefModifyTime().c_str());
    });
    const long long after = time(nullptr);
    ASSERT_TRUE(result.exited && result.exitStatus == 0);
    std::istringstream lines(result.output);
    for (const StringsRow& row : rows) {
        std::string stamp;
        std::getline(lines, stamp);
        if (row.stamp == kNow) {
            const long long now = std::stoll(stamp);
            EXPECT_TRUE(now >= before && now <= after) << row.description << ": " << stamp;
        } else {
            EXPECT_EQ(stamp, row.stamp) << row.description;
        }
    }
    std::string defaults;
    std::getline(lines, defaults);
    EXPECT_EQ(defaults, "1000009") << "the factory defaults under the root";
}

}  // namespace
