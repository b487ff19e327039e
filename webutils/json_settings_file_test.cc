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
        const char* content;  // nullptr: no file
    };
    const Row rows[] = {
        {"missing file", nullptr},
        {"invalid JSON", "{\"a\": "},
        {"empty file", ""},
        {"nesting beyond the reader's limit", nullptr},
    };
    TempRoot root;
    for (const Row& row : rows) {
        unlink(root.Path("/settings").c_str());
        if (row.content != nullptr)
            root.WriteFile("/settings", row.content);
        else if (std::string(row.description).find("nesting") != std::string::npos)
            root.WriteFile("/settings", std::string(5000, '['));
        Json::Value value = Parse("{\"kept\":1}");
        EXPECT_FALSE(WebUtils::LoadJsonFile(value, root.Path("/settings").c_str())) << row.description;
        EXPECT_EQ(value, Parse("{\"kept\":1}")) << row.description;
    }
    Json::Value value;
    EXPECT_FALSE(WebUtils::LoadJsonFile(value, nullptr));
}

TEST(JsonSettingsFileTest, SaveWritesOneCompactLineThatLoadsBack)
{
    TempRoot root;
    const std::string path = root.Path("/usersettings");
    Json::Value value = Parse("{\"Desktop\":{\"wallpaper\":{\"index\":3}},\"name\":\"caf\\u00e9\",\"list\":[1,2]}");
    ASSERT_TRUE(WebUtils::SaveJsonFile(value, path.c_str())) << "a missing file is created";
    EXPECT_EQ(root.ReadFile("/usersettings"),
              "{\"Desktop\":{\"wallpaper\":{\"index\":3}},\"list\":[1,2],\"name\":\"caf\\u00e9\"}\n");
    Json::Value loaded;
    ASSERT_TRUE(WebUtils::LoadJsonFile(loaded, path.c_str()));
    EXPECT_EQ(loaded, value);

    Json::Value shorter = Parse("{}");
    ASSERT_TRUE(WebUtils::SaveJsonFile(shorter, path.c_str()));
    EXPECT_EQ(root.ReadFile("/usersettings"), "{}\n") << "the old, longer content is gone";
}

TEST(JsonSettingsFileTest, SaveRewritesTheSameFileInPlace)
{
    TempRoot root;
    root.WriteFile("/settings", "{}", 0600);
    struct stat before, after;
    ASSERT_EQ(stat(root.Path("/settings").c_str(), &before), 0);
    Json::Value value = Parse("{\"a\":1}");
    ASSERT_TRUE(WebUtils::SaveJsonFile(value, root.Path("/settings").c_str()));
    ASSERT_EQ(stat(root.Path("/settings").c_str(), &after), 0);
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
    EXPECT_LT(WebUtils::LockFile(root.Path("/missing").c_str(), true), 0);
    EXPECT_EQ(access(root.Path("/missing").c_str(), F_OK), -1) << "never created";
    WebUtils::UnlockFile(-1);  // a no-op

    root.WriteFile("/settings", "{}");
    const int fd = WebUtils::LockFile(root.Path("/settings").c_str(), true);
    ASSERT_GE(fd, 0);
    const int other = open(root.Path("/settings").c_str(), O_RDONLY);
    EXPECT_EQ(flock(other, LOCK_SH | LOCK_NB), -1) << "held exclusively";
    WebUtils::UnlockFile(fd);
    EXPECT_EQ(flock(other, LOCK_SH | LOCK_NB), 0) << "released";
    close(other);

    const int shared1 = WebUtils::LockFile(root.Path("/settings").c_str(), false);
    const int shared2 = WebUtils::LockFile(root.Path("/settings").c_str(), false);
    EXPECT_GE(shared1, 0);
    EXPECT_GE(shared2, 0) << "shared locks coexist";
    WebUtils::UnlockFile(shared1);
    WebUtils::UnlockFile(shared2);
}

TEST(JsonSettingsFileTest, AReaderWaitingOnAWriterSeesTheWholeNewContent)
{
    TempRoot root;
    const std::string path = root.Path("/settings");
    root.WriteFile("/settings", "{\"v\":\"old\"}\n");
    const int writerLock = WebUtils::LockFile(path.c_str(), true);
    ASSERT_GE(writerLock, 0);

    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t reader = fork();
    ASSERT_GE(reader, 0);
    if (reader == 0) {
        close(ready[0]);
        if (write(ready[1], "x", 1) != 1)
            _exit(3);
        Json::Value value;
        const bool loaded = WebUtils::LoadJsonFile(value, path.c_str());  // blocks on the writer's lock
        _exit(loaded && value["v"] == std::string(4000, 'n') ? 0 : 1);
    }
    close(ready[1]);
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    usleep(50 * 1000);  // let the reader reach the lock; the result does not depend on it

    // Rewrite in place while holding the exclusive lock, in two steps, as a
    // slow writer would.
    FILE* file = fopen(path.c_str(), "w");
    const std::string content = "{\"v\":\"" + std::string(4000, 'n') + "\"}\n";
    fwrite(content.data(), 1, content.size() / 2, file);
    fflush(file);
    fwrite(content.data() + content.size() / 2, 1, content.size() - content.size() / 2, file);
    fclose(file);
    WebUtils::UnlockFile(writerLock);

    int status = 0;
    waitpid(reader, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
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
        for (int i = 0; i < 400; ++i) {
            if (!WebUtils::SaveJsonFile(i % 2 ? small : large, path.c_str()))
                _exit(1);
        }
        _exit(0);
    }
    int loads = 0;
    int failures = 0;
    int status = 0;
    while (waitpid(writer, &status, WNOHANG) == 0 || loads < 100) {
        Json::Value value;
        const bool ok = WebUtils::LoadJsonFile(value, path.c_str());
        if (!ok || !(value == small || value == large))
            ++failures;
        ++loads;
    }
    EXPECT_EQ(failures, 0) << "of " << loads << " loads";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(JsonSettingsFileTest, GetServiceEnabledLeavesItsArgumentAlone)
{
    Json::Value value = Parse("{\"a\":[1,{\"b\":null}]}");
    const Json::Value copy = value;
    WebUtils::GetServiceEnabled(value);
    EXPECT_EQ(value, copy);
}

}  // namespace
