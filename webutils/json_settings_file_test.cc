// JSON settings files under a flock on the file itself.  How a file is
// opened (never through a link, never waiting on a FIFO) is base's
// (base/file_test.cc); here, that the settings functions open that way.

#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webutils.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    Json::Reader().parse(text, value);
    return value;
}

TEST(JsonSettingsFileTest, LoadFailuresLeaveTheValueUntouched)
{
    struct Row {
        const char* description;
        std::string content;  // "-": no file
    };
    const Row rows[] = {
        {"missing file", "-"},
        {"invalid JSON", "{\"a\": "},
        {"empty file", ""},
        {"nesting beyond the reader's limit", std::string(5000, '[')},
    };
    for (const Row& row : rows) {
        TempRoot root;
        if (row.content != "-")
            root.WriteFile("/settings", row.content);
        Json::Value value = Parse("{\"kept\":1}");
        EXPECT_FALSE(WebUtils::LoadJsonFile(value, root.Path("/settings").c_str())) << row.description;
        EXPECT_EQ(value, Parse("{\"kept\":1}")) << row.description;
    }
    Json::Value value;
    EXPECT_FALSE(WebUtils::LoadJsonFile(value, nullptr));
}

TEST(JsonSettingsFileTest, SaveRewritesTheSameFileAsOneCompactLine)
{
    TempRoot root;
    const std::string path = root.Path("/settings");
    root.WriteFile("/settings", "{\"old\": \"" + std::string(200, 'o') + "\"}", 0600);
    struct stat before, after;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    Json::Value value = Parse("{\"Desktop\":{\"wallpaper\":{\"index\":3}},\"name\":\"caf\\u00e9\",\"list\":[1,2]}");
    ASSERT_TRUE(WebUtils::SaveJsonFile(value, path.c_str()));
    EXPECT_EQ(root.ReadFile("/settings"),
              "{\"Desktop\":{\"wallpaper\":{\"index\":3}},\"list\":[1,2],\"name\":\"caf\\u00e9\"}\n")
        << "the old, longer content is gone";
    Json::Value loaded;
    ASSERT_TRUE(WebUtils::LoadJsonFile(loaded, path.c_str()));
    EXPECT_EQ(loaded, value);
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino) << "readers lock this inode";
    EXPECT_EQ(after.st_mode & 07777, 0600u);
}

// What a user may plant where a root process later reads or writes its
// settings: none of it may lead the process to another file or hold it.
TEST(JsonSettingsFileTest, PlantedLinksFifosAndSecondNamesAreRefused)
{
    struct Row {
        const char* description;
        std::function<void(const TempRoot&)> plant;  // at "/dir/settings"
    };
    const Row rows[] = {
        {"a link to a root-only file", [](const TempRoot& root) {
             symlink(root.Path("/secret").c_str(), root.Path("/dir/settings").c_str());
         }},
        {"a dangling link to where a file would be created", [](const TempRoot& root) {
             symlink(root.Path("/created").c_str(), root.Path("/dir/settings").c_str());
         }},
        {"a second name of a root-only file", [](const TempRoot& root) {
             link(root.Path("/secret").c_str(), root.Path("/dir/settings").c_str());
         }},
        {"a FIFO", [](const TempRoot& root) { mkfifo(root.Path("/dir/settings").c_str(), 0666); }},
        {"a directory", [](const TempRoot& root) { root.MakeDirs("/dir/settings"); }},
        {"no directory at all", [](const TempRoot& root) { rmdir(root.Path("/dir").c_str()); }},
    };
    for (const Row& row : rows) {
        TempRoot root;
        root.WriteFile("/secret", "{\"secret\":1}\n", 0600);
        root.MakeDirs("/dir", 0777);
        row.plant(root);
        const std::string path = root.Path("/dir/settings");
        // In a child with an alarm: an open that waits on a FIFO fails the
        // row instead of holding the suite.
        const auto run = arx_testing::RunInChild([&path] {
            alarm(10);
            Json::Value value = Json::objectValue;
            Json::Value loaded;
            const bool load = WebUtils::LoadJsonFile(loaded, path.c_str());
            const bool save = WebUtils::SaveJsonFile(value, path.c_str());
            printf("%d%d%d", load, save, WebUtils::LockFile(path.c_str(), true) >= 0);
        });
        EXPECT_EQ(run.output, "000") << row.description;
        EXPECT_EQ(root.ReadFile("/secret"), "{\"secret\":1}\n") << row.description;
        EXPECT_NE(access(root.Path("/created").c_str(), F_OK), 0) << row.description;
    }
    Json::Value value;
    EXPECT_FALSE(WebUtils::SaveJsonFile(value, nullptr));
}

TEST(JsonSettingsFileTest, NewFilesGetTheirModeWhateverTheUmask)
{
    TempRoot root;
    Json::Value value = Parse("{\"a\":1}");
    const mode_t before = umask(077);
    const bool saved = WebUtils::SaveJsonFile(value, root.Path("/settings").c_str());
    umask(before);
    ASSERT_TRUE(saved);
    struct stat st;
    ASSERT_EQ(stat(root.Path("/settings").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
}

TEST(JsonSettingsFileTest, LockFileTakesTheLockOnTheFileItself)
{
    TempRoot root;
    EXPECT_LT(WebUtils::LockFile(root.Path("/settings").c_str(), true), 0);
    EXPECT_EQ(access(root.Path("/settings").c_str(), F_OK), -1) << "never created";
    root.WriteFile("/settings", "{}");
    const int other = open(root.Path("/settings").c_str(), O_RDONLY);
    for (const bool exclusive : {true, false}) {
        const int fd = WebUtils::LockFile(root.Path("/settings").c_str(), exclusive);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(flock(other, LOCK_SH | LOCK_NB), exclusive ? -1 : 0)
            << "a reader while held, exclusive: " << exclusive;
        flock(other, LOCK_UN);
        WebUtils::UnlockFile(fd);
        EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0) << "released";
        flock(other, LOCK_UN);
    }
    close(other);
}

TEST(JsonSettingsFileTest, ContendedRewritesAreAlwaysLoadedWhole)
{
    TempRoot root;
    const std::string path = root.Path("/settings");
    Json::Value small = Parse("{\"size\":\"small\"}");
    Json::Value large;
    large["size"] = "large";
    for (int i = 0; i < 2000; ++i)
        large["items"].append("item number " + std::to_string(i));
    ASSERT_TRUE(WebUtils::SaveJsonFile(small, path.c_str()));

    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
        bool saved = true;
        for (int i = 0; i < 400; ++i)
            saved = WebUtils::SaveJsonFile(i % 2 ? small : large, path.c_str()) && saved;
        _exit(saved ? 0 : 1);
    }
    int loads = 0, failures = 0, status = 0;
    for (; waitpid(writer, &status, WNOHANG) == 0 || loads < 100; ++loads) {
        Json::Value value;
        failures += WebUtils::LoadJsonFile(value, path.c_str()) && (value == small || value == large) ? 0 : 1;
    }
    EXPECT_EQ(failures, 0) << "of " << loads << " loads";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
