// Files a package controls, opened below the web root: links count only
// when the file they reach is inside it, decided on the file opened, so
// that a link swapped in between a check and the open cannot lead out.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "base/descriptor.h"
#include "base/file_read.h"
#include "jsconfig/web_root.h"
#include "testing/temp_root.h"

namespace {

using arx::jsconfig::SortedEntries;
using arx::jsconfig::WebDirectory;
using arx_testing::TempRoot;

constexpr char kModules[] = "/usr/vorn/vornman/webman/modules";

// What OpenFile gives: the file's content, or the errno of a refusal.
std::string Opened(const WebDirectory& dir, const std::string& relative)
{
    struct stat st;
    const int fd = dir.OpenFile(relative, st);
    if (fd < 0)
        return "errno " + std::to_string(errno);
    const base::Descriptor file(fd);
    std::string content;
    base::ReadWholeDescriptor(fd, st, content);
    return content;
}

TEST(WebRootTest, LinksCountWhereTheyLead)
{
    TempRoot root;
    root.WriteFile(std::string(kModules) + "/App/config", "inside");
    root.WriteFile(std::string(kModules) + "/Other/texts/enu/strings", "other");
    root.WriteFile("/outside/config", "outside");
    root.WriteFile("/outside/texts/enu/strings", "outside strings");
    mkfifo(root.Path(std::string(kModules) + "/App/fifo").c_str(), 0644);
    const auto link = [&](const std::string& target, const std::string& at) {
        ASSERT_EQ(symlink(root.Path(target).c_str(), root.Path(std::string(kModules) + "/" + at).c_str()), 0) << at;
    };
    link("/outside/config", "App/config.out");
    link(std::string(kModules) + "/App/config", "App/config.in");
    link("/outside", "Out");
    link(std::string(kModules) + "/Other", "In");
    link("/outside/missing", "App/dangling");
    // Out of the web root and back in: the file reached decides.
    ASSERT_EQ(symlink(root.Path(std::string(kModules) + "/Other/texts").c_str(), root.Path("/outside/back").c_str()), 0);
    link("/outside/back", "Back");

    const WebDirectory modules(root.Path(kModules));
    ASSERT_TRUE(modules.open());
    const struct {
        const char* relative;
        std::string expected;
    } rows[] = {
        {"App/config", "inside"},
        {"App/config.in", "inside"},
        {"In/texts/enu/strings", "other"},
        {"Back/enu/strings", "other"},
        {"App/config.out", "errno " + std::to_string(ELOOP)},
        {"Out/config", "errno " + std::to_string(ELOOP)},
        {"Out/texts/enu/strings", "errno " + std::to_string(ELOOP)},
        {"App/dangling", "errno " + std::to_string(ENOENT)},
        {"App/missing", "errno " + std::to_string(ENOENT)},
        {"App/fifo", "errno " + std::to_string(EINVAL)},  // not waited on
        {"App", "errno " + std::to_string(EINVAL)},
        {"App/../Other/texts/enu/strings", "other"},  // ".." that stays inside
        {"App/../../../../../../outside/config", "errno " + std::to_string(ELOOP)},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Opened(modules, row.relative), row.expected) << row.relative;

    // Reached through its parent's descriptor or by its own path.
    EXPECT_EQ(Opened(WebDirectory(modules, "Out"), "config"), "errno " + std::to_string(ELOOP));
    EXPECT_FALSE(WebDirectory(root.Path(std::string(kModules) + "/Out")).open());
    EXPECT_TRUE(WebDirectory(root.Path(std::string(kModules) + "/In")).open());
}

// Opening a device can act (a watchdog starts counting, a tape rewinds):
// what a link out of the web root leads to is refused without being
// opened, as the open events of the files show.
TEST(WebRootTest, WhatALinkOutLeadsToIsNeverOpened)
{
    TempRoot root;
    root.WriteFile(std::string(kModules) + "/App/config", "inside");
    root.WriteFile("/outside/config", "outside");
    ASSERT_EQ(mkfifo(root.Path("/outside/fifo").c_str(), 0644), 0);
    const struct {
        const char* target;
        const char* link;
    } links[] = {
        {"/outside/config", "App/config.out"},
        {"/outside/fifo", "App/fifo.out"},
        {"/outside", "Out"},
    };
    for (const auto& link : links) {
        const std::string at = root.Path(std::string(kModules) + "/" + link.link);
        ASSERT_EQ(symlink(root.Path(link.target).c_str(), at.c_str()), 0);
    }
    const base::Descriptor events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(events.get(), 0);
    for (const char* watched : {"/outside/config", "/outside/fifo", "/outside"})
        ASSERT_GE(inotify_add_watch(events.get(), root.Path(watched).c_str(), IN_OPEN), 0) << watched;

    const WebDirectory modules(root.Path(kModules));
    for (const char* relative : {"App/config.out", "App/fifo.out", "Out/config", "Out/fifo"})
        EXPECT_EQ(Opened(modules, relative), "errno " + std::to_string(ELOOP)) << relative;
    EXPECT_EQ(Opened(WebDirectory(modules, "Out"), "config"), "errno " + std::to_string(ELOOP));
    char event[4096];
    EXPECT_LT(read(events.get(), event, sizeof event), 0) << "a file out of the web root was opened";
    // The watch itself sees an open.
    const base::Descriptor outside(open(root.Path("/outside/config").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_GT(read(events.get(), event, sizeof event), 0);
}

// The entries listed are those of the directory opened, even when another
// has since taken its place.
TEST(WebRootTest, EntriesAreListedFromTheDirectoryOpened)
{
    TempRoot root;
    root.WriteFile(std::string(kModules) + "/App/config", "{}");
    const WebDirectory modules(root.Path(kModules));
    ASSERT_TRUE(modules.open());
    const std::string path = root.Path(kModules);
    ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
    root.WriteFile(std::string(kModules) + "/Planted/config", "{}");

    const auto entries = SortedEntries(modules);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].first, "App");
    EXPECT_EQ(entries[0].second, DT_DIR);
}

// A package that swaps its texts directory for a link out, again and
// again, while the files are opened: no open ever reads the outside file.
TEST(WebRootTest, ALinkSwappedInDuringTheOpenIsCaught)
{
    TempRoot root;
    const std::string texts = root.Path(std::string(kModules) + "/App/texts");
    root.WriteFile(std::string(kModules) + "/App/texts/enu/strings", "inside");
    root.WriteFile("/outside/enu/strings", "secret");
    const std::string real = texts + ".real";
    const std::string swap = texts + ".link";
    ASSERT_EQ(rename(texts.c_str(), real.c_str()), 0);
    ASSERT_EQ(symlink(real.c_str(), texts.c_str()), 0);  // inside, to begin with

    std::atomic<bool> done {false};
    std::atomic<int> swaps {0};
    std::thread swapper([&] {
        while (!done) {
            unlink(swap.c_str());
            symlink(root.Path("/outside").c_str(), swap.c_str());
            rename(swap.c_str(), texts.c_str());
            unlink(swap.c_str());
            symlink(real.c_str(), swap.c_str());
            rename(swap.c_str(), texts.c_str());
            ++swaps;
        }
    });
    // As long as it takes the swapper to swap 2,000 times, however busy the
    // machine: opens while the link changes, not before or after.
    const WebDirectory modules(root.Path(kModules));
    int leaked = 0;
    for (int i = 0; i < 4000 || swaps < 2000; ++i) {
        if (Opened(modules, "App/texts/enu/strings") == "secret")
            ++leaked;
    }
    done = true;
    swapper.join();
    EXPECT_EQ(leaked, 0);
}

}  // namespace
