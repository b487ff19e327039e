// Stamps (which file each path names, "now" for what cannot be examined),
// ETags against digests computed elsewhere and the 304 answer, and that
// only an ETag maps libcrypto.  Each reads the CGI environment, fixed once
// per process: every case runs in a child.

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <arx/webutils.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using Environment = std::vector<std::pair<std::string, std::string>>;

// What body returns, printed by a CGI process with env after anything the
// body prints itself, and " libcrypto" when the process maps it by then.
std::string Printed(const std::function<std::string()>& body, const Environment& env)
{
    const auto result = arx_testing::RunInChild(
        [&] {
            const std::string printed = body();
            const bool crypto = arx_testing::ReadWholeFile("/proc/self/maps").find("libcrypto") != std::string::npos;
            printf("%s%s", printed.c_str(), crypto ? " libcrypto" : "");
        },
        arx_testing::WithEnvironment(env));
    EXPECT_TRUE(result.exited && result.exitStatus == 0);
    return result.output;
}

TEST(ModifyTimeTest, EachPathNamesTheFileTheWebServerWould)
{
    // Files and directories, each with a time of its own (directories after
    // what they hold), so that a stamp tells which one was examined.
    const std::pair<const char*, long long> tree[] = {
        {"/docroot/x.js", 1000001}, {"/cgi/bin/d.js", 1000003}, {"/x/webman/d.js", 1000005}, {"/cgi/bin/", 1000004},
        {"/docroot/webfm/texts/", 1000008}, {"/etc.defaults/vorninfo.conf", 1000009},
        {"/usr/vorn/vornman/a.js", 1000010}};
    enum Call { kModify, kStrings, kDefaults };
    // With DOCUMENT_ROOT and SCRIPT_FILENAME (the script in cgi/bin/) or
    // without them; the stamp of the file named, 0 for now.
    struct Row { const char* description; bool cgi; Call call; const char* argument; long long stamp; };
    const Row rows[] = {
        {"URL-absolute: below the document root", true, kModify, "/x.js", 1000001},
        {"the query cut at the last '?'", true, kModify, "/x.js?v=1?v=2", 0},
        {"relative: below the script's directory, without its query", true, kModify, "d.js?v=9", 1000003},
        {"null: the script's directory", true, kModify, nullptr, 1000004},
        {"relative into webman/: as it stands", true, kModify, "x/webman/d.js", 1000005},
        {"without the CGI variables: below the web root", false, kModify, "a.js", 1000010},
        {"a family's strings, by prefix", true, kStrings, "webfmX", 1000008},
        {"another module, or another case: now", true, kStrings, "Webman", 0},
        {"the factory defaults under the root", false, kDefaults, "", 1000009},
    };
    arx_testing::TempRoot root;
    for (const auto& [path, time] : tree) {
        const std::string name = path;
        name.back() == '/' ? root.MakeDirs(name) : root.WriteFile(name, "x");
        const timespec times[2] = {{time, 0}, {time, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, root.Path(name).c_str(), times, 0), 0) << path;
    }
    const Environment cgi = {{"DOCUMENT_ROOT", root.Path("/docroot")}, {"SCRIPT_FILENAME", root.Path("/cgi/bin/c")}};
    for (const Row& row : rows) {
        const long long before = time(nullptr);
        const std::string printed = Printed(
            [&] {
                if (chdir(root.dir().c_str()) != 0)  // where relative paths into webman/ start
                    _exit(3);
                return row.call == kModify    ? WebUtils::GetModifyTime(row.argument)
                       : row.call == kStrings ? WebUtils::GetUIStringModifyTime(row.argument)
                                              : WebUtils::GetVornDefModifyTime();
            },
            row.cgi ? cgi : Environment {});
        EXPECT_TRUE(row.stamp ? std::stoll(printed) == row.stamp : std::stoll(printed) >= before)
            << row.description << ": " << printed;
        EXPECT_EQ(printed.find("libcrypto"), std::string::npos) << row.description;
    }
}

// The ETag of the URI, and the 304 answer when If-None-Match is exactly
// that tag, as desktop.cgi asks for both; libcrypto is mapped by the first
// tag, not before.
TEST(EtagTest, UnpaddedHexOfTheUriDigestAndNotModified)
{
    // QUERY_STRING and If-None-Match ("-": unset); the tag (the MD5 of
    // SCRIPT_NAME "?" QUERY_STRING in 1024 zero bytes) and whether the 304
    // was printed.
    struct Row { const char* description; std::string query, match; const char* tag; bool answered; };
    const std::string desktop = "50f39244-5c7688f-61da91a3-12c362f";  // 50f39244 5c76880f 61da91a3 120c362f
    const Row rows[] = {
        {"no query; the exact tag is answered", "-", desktop, desktop.c_str(), true},
        {"an empty query is the same URI; a weak tag does not match", "", "W/" + desktop, desktop.c_str(), false},
        // b0015ec1 ad646723 b20c945b 21d52137
        {"a zero byte is one digit", "lang=ger&v=1", "-", "b015ec1-ad646723-b2c945b-21d52137", false},
        // 05ca0a67 121b6b4a e404517e b1445ca5
        {"a leading byte below 0x10", "v=1213", "-", "5caa67-121b6b4a-e44517e-b1445ca5", false},
        // c368d6ae 7161494e 48641028 c5a46f2f: the first 1023 bytes, the last
        // byte of the buffer zero
        {"a long URI is cut", std::string(1003, 'q') + "more", "-", "c368d6ae-7161494e-48641028-c5a46f2f", false},
    };
    const auto request = [] {
        const std::string tag = WebUtils::CreateCGIETag();
        return (WebUtils::OutputNotModifiedIfMatch(tag) ? "|1 " : "|0 ") + tag;
    };
    for (const Row& row : rows) {
        Environment env = {{"SCRIPT_NAME", "/webapi/desktop.cgi"}};
        for (const auto& [name, value] : {std::pair {"QUERY_STRING", row.query}, {"HTTP_IF_NONE_MATCH", row.match}}) {
            if (value != "-")
                env.emplace_back(name, value);
        }
        EXPECT_EQ(Printed(request, env),
                  (row.answered ? "Status: 304 Not Modified\r\nETag: " + desktop + "\r\n\r\n|1 " : "|0 ") + row.tag +
                      " libcrypto")
            << row.description;
    }
    const std::string untagged = Printed(request, {{"HTTP_IF_NONE_MATCH", ""}});
    EXPECT_TRUE(untagged == "|0 " || untagged == "|0  libcrypto") << "no SCRIPT_NAME: no tag, never a 304";
    // The 304 check alone maps no libcrypto, and never echoes a tag that
    // could split the response.
    EXPECT_EQ(Printed([] { return WebUtils::OutputNotModifiedIfMatch("a\r\nX: y") ? "|1" : "|0"; },
                      {{"HTTP_IF_NONE_MATCH", "a\r\nX: y"}}),
              "|0");
}

}  // namespace
