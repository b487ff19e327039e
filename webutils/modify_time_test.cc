// Stamps: which file each path names, and "now" for what cannot be
// examined.  The directories are fixed once per process: each row runs in
// a child with its own environment.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <arx/webutils.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

// Files and directories, each with a time of its own, so that a stamp
// tells which one was examined (directories after what they hold).
const std::pair<const char*, long long> kTree[] = {
    {"/docroot/x.js", 1000001},          {"/docroot/sub/y.css", 1000002},
    {"/cgi/bin/d.js", 1000003},          {"/work/x/webman/d.js", 1000005},
    {"/docroot/webman/texts/", 1000006}, {"/docroot/scripts/texts/", 1000007},
    {"/docroot/webfm/texts/", 1000008},  {"/etc.defaults/vorninfo.conf", 1000009},
    {"/usr/vorn/vornman/a.js", 1000010}, {"/cgi/bin/", 1000004},
    {"/usr/vorn/vornman/", 1000011},
};

TEST(ModifyTimeTest, EachPathNamesTheFileTheWebServerWould)
{
    enum Call { kModify, kStrings, kDefaults };
    struct Row {
        const char* description;
        bool cgi;  // DOCUMENT_ROOT and SCRIPT_FILENAME set (the script in cgi/bin/)
        Call call;
        const char* argument;  // nullptr: a null path
        long long stamp;  // 0: now
    };
    const Row rows[] = {
        {"URL-absolute: below the document root", true, kModify, "/x.js", 1000001},
        {"the query is ignored", true, kModify, "/x.js?v=1", 1000001},
        {"cut at the last '?'", true, kModify, "/sub/y.css?x?v=2", 0},
        {"a doubled slash is harmless", true, kModify, "//sub/y.css", 1000002},
        {"relative: below the script's directory", true, kModify, "d.js?v=9", 1000003},
        {"empty: the script's directory", true, kModify, "", 1000004},
        {"null: the script's directory", true, kModify, nullptr, 1000004},
        {"relative into webman/: as it stands", true, kModify, "x/webman/d.js", 1000005},
        {"a missing file: now", true, kModify, "/nothing.js", 0},
        {"without the CGI variables: below the web root", false, kModify, "/a.js", 1000010},
        {"without them, relative: the web root too", false, kModify, "a.js", 1000010},
        {"without them, empty: the web root", false, kModify, "", 1000011},
        {"webman strings", true, kStrings, "webman/modules", 1000006},
        {"scripts strings", true, kStrings, "scripts", 1000007},
        {"webfm strings, by prefix", true, kStrings, "webfmX", 1000008},
        {"family names are case-sensitive", true, kStrings, "Webman", 0},
        {"another module: now", true, kStrings, "my-webman", 0},
        {"the factory defaults under the root", true, kDefaults, "", 1000009},
    };
    TempRoot root;
    for (const auto& [path, time] : kTree) {
        std::string name = path;
        if (name.back() == '/')
            root.MakeDirs(name);
        else
            root.WriteFile(name, "x");
        const timespec times[2] = {{time, 0}, {time, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, root.Path(name).c_str(), times, 0), 0) << path;
    }
    for (const Row& row : rows) {
        const long long before = time(nullptr);
        const arx_testing::ChildResult result = arx_testing::RunInChild([&] {
            unsetenv("SCRIPT_FILENAME");
            if (row.cgi) {
                setenv("DOCUMENT_ROOT", root.Path("/docroot").c_str(), 1);
                setenv("SCRIPT_FILENAME", root.Path("/cgi/bin/c.cgi").c_str(), 1);
            }
            if (chdir(root.Path("/work").c_str()) != 0)
                _exit(3);
            const std::string stamp = row.call == kModify    ? WebUtils::GetModifyTime(row.argument)
                                      : row.call == kStrings ? WebUtils::GetUIStringModifyTime(row.argument)
                                                             : WebUtils::GetVornDefModifyTime();
            printf("%s", stamp.c_str());
        });
        ASSERT_TRUE(result.exited && result.exitStatus == 0) << row.description;
        const long long stamp = std::stoll(result.output);
        if (row.stamp != 0) {
            EXPECT_EQ(stamp, row.stamp) << row.description;
        } else {
            EXPECT_TRUE(stamp >= before && stamp <= time(nullptr)) << row.description << ": " << stamp;
        }
    }
}

}  // namespace
