// Settings files under crashes and contention: a save killed at any
// instant leaves the old document or the new one, an interrupted save is
// finished by the next comer, and eight processes applying changes under
// the file's lock lose none of them.

#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webutils.h>

#include "testing/json_text.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

// Document n: large enough that a save takes a while, and checkable whole.
Json::Value Document(int n)
{
    Json::Value value;
    value["n"] = n;
    value["pad"] = std::string(20000 + n % 5000, static_cast<char>('a' + n % 26));
    return value;
}

// Document n as a save writes it.
std::string Text(int n)
{
    return arx_testing::CompactJson(Document(n)) + "\n";
}

// The n of a whole document, or -1.
int NumberOf(const Json::Value& value)
{
    if (!value.isObject() || !value["n"].isInt())
        return -1;
    const int n = value["n"].asInt();
    return value == Document(n) ? n : -1;
}

std::vector<std::string> Names(const std::string& dir)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        names.push_back(entry.path().filename());
    return names;
}

TEST(SettingsDurabilityTest, SavesKilledAtRandomInstantsLeaveTheOldOrTheNewDocument)
{
    TempRoot root;
    root.MakeDirs("/dir");
    const std::string path = root.Path("/dir/settings");
    Json::Value first = Document(0);
    ASSERT_TRUE(WebUtils::SaveJsonFile(first, path.c_str()));
    std::mt19937 random(20261122);
    int last = 0;
    for (int round = 0; round < 220; ++round) {
        int reports[2];
        ASSERT_EQ(pipe(reports), 0);
        const pid_t saver = fork();
        ASSERT_GE(saver, 0);
        if (saver == 0) {
            close(reports[0]);
            for (int n = last + 1;; ++n) {
                Json::Value next = Document(n);
                if (WebUtils::SaveJsonFile(next, path.c_str()) && write(reports[1], &n, sizeof n) != sizeof n)
                    _exit(1);
            }
        }
        close(reports[1]);
        usleep(std::uniform_int_distribution<useconds_t>(0, 30000)(random));
        kill(saver, SIGKILL);
        waitpid(saver, nullptr, 0);
        int saved = last;
        for (int n; read(reports[0], &n, sizeof n) == sizeof n;)
            saved = n;
        close(reports[0]);

        Json::Value loaded;
        ASSERT_TRUE(WebUtils::LoadJsonFile(loaded, path.c_str())) << "round " << round;
        const int n = NumberOf(loaded);
        ASSERT_TRUE(n == saved || n == saved + 1) << "round " << round << ": loaded " << n << ", saved " << saved;
        last = n;
    }
    Json::Value final = Document(last + 1);
    ASSERT_TRUE(WebUtils::SaveJsonFile(final, path.c_str()));
    EXPECT_EQ(Names(root.Path("/dir")), std::vector<std::string>{"settings"}) << "nothing left beside it";
}

// What an interrupted save leaves, and what the next comer makes of it.
TEST(SettingsDurabilityTest, TheNextComerFinishesAnInterruptedSave)
{
    struct Row {
        const char* description;
        std::string journal;    // "-": none
        bool journalIsLink;
        bool callerHoldsLock;  // LockFile(exclusive) around the load
        bool saveAfter;         // a save of document 9 instead of a load
        int expected;           // the n loaded
    };
    const std::string torn = "{\"n\":1,\"pad\":\"bbb";
    const std::string journal = Text(2);
    const Row rows[] = {
        {"the journal's document replaces a torn file", journal, false, false, false, 2},
        {"also under the caller's own exclusive lock", journal, false, true, false, 2},
        {"a journal that is a link is not read", "-", true, false, false, -1},
        {"a save over an interrupted one wins", journal, false, false, true, 9},
    };
    for (const Row& row : rows) {
        TempRoot root;
        root.WriteFile("/dir/settings", torn);
        if (row.journal != "-")
            root.WriteFile("/dir/.settings.new", row.journal);
        if (row.journalIsLink) {
            root.WriteFile("/elsewhere", journal);
            symlink(root.Path("/elsewhere").c_str(), root.Path("/dir/.settings.new").c_str());
        }
        root.WriteFile("/dir/.settings.new.tmp", "half a temporary fi");
        const std::string path = root.Path("/dir/settings");
        const int lock = row.callerHoldsLock ? WebUtils::LockFile(path.c_str(), true) : -1;
        Json::Value loaded;
        if (row.saveAfter) {
            Json::Value nine = Document(9);
            EXPECT_TRUE(WebUtils::SaveJsonFile(nine, path.c_str())) << row.description;
        }
        const bool ok = WebUtils::LoadJsonFile(loaded, path.c_str());
        WebUtils::UnlockFile(lock);
        EXPECT_EQ(ok, row.expected >= 0) << row.description;
        EXPECT_EQ(NumberOf(loaded), row.expected) << row.description;
        if (row.expected >= 0) {
            EXPECT_EQ(root.ReadFile("/dir/settings"), Text(row.expected))
                << row.description << ": the file itself is whole again";
            EXPECT_NE(access(root.Path("/dir/.settings.new").c_str(), F_OK), 0) << row.description;
        }
    }
}

// Eight processes each apply 200 changes (read, change, write under the
// file's lock) while reading it unlocked in between: no change is lost and
// no read sees a part of a document.
TEST(SettingsDurabilityTest, EightProcessesApplyingUnderTheLockLoseNothing)
{
    constexpr int kProcesses = 8;
    constexpr int kChanges = 200;
    TempRoot root;
    const std::string path = root.Path("/settings");
    Json::Value start(Json::objectValue);
    start["pad"] = std::string(8000, 'p');
    ASSERT_TRUE(WebUtils::SaveJsonFile(start, path.c_str()));
    std::vector<pid_t> children;
    for (int child = 0; child < kProcesses; ++child) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            const std::string mine = "count" + std::to_string(child);
            int failures = 0;
            for (int change = 0; change < kChanges; ++change) {
                const int lock = WebUtils::LockFile(path.c_str(), true);
                Json::Value settings;
                failures += WebUtils::LoadJsonFile(settings, path.c_str()) ? 0 : 1;
                settings[mine] = settings[mine].asInt() + 1;
                failures += WebUtils::SaveJsonFile(settings, path.c_str()) ? 0 : 1;
                WebUtils::UnlockFile(lock);
                Json::Value seen;
                failures += WebUtils::LoadJsonFile(seen, path.c_str()) && seen["pad"] == start["pad"] ? 0 : 1;
            }
            _exit(failures == 0 ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a load or save failed in " << child;
    }
    Json::Value final;
    ASSERT_TRUE(WebUtils::LoadJsonFile(final, path.c_str()));
    for (int child = 0; child < kProcesses; ++child)
        EXPECT_EQ(final["count" + std::to_string(child)].asInt(), kChanges) << "process " << child;
}

}  // namespace
