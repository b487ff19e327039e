// The cache: read instead of the modules, built again when a file is
// missing or damaged, never written through a planted link, untouched
// without useCache, and whole while eight processes build it at once.  As
// root, as the cache is always read and written.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <utility>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>
#include <arx/json_file.h>

#include "base/directories.h"
#include "jsconfig/config_cache.h"
#include "testing/as_root.h"
#include "testing/log_capture.h"
#include "testing/module_tree.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::AppModule;
using arx_testing::LogCapture;
using arx_testing::ModulePath;
using arx_testing::WithoutLineNumbers;
using arx_testing::WriteModule;
using VORN::PAD::JSConfigParser;
using Names = std::vector<std::string>;

const std::string kCache = "/var/cache/js_config_parser";
const std::string kConfigCache = kCache + "/config/ARX.json";
const std::string kTextsCache = kCache + "/texts/ARX_enu.json";

// What a desktop request reads (as desktop.cgi does, through the
// accessors): the configuration and every text, and the brief texts.
Json::Value Request(bool useCache, const char* lang = "enu", const char* app = nullptr, bool brief = true)
{
    JSConfigParser parser(lang, false, useCache);
    parser.ParsePathFromVornman(app);
    Json::Value all;
    all["apps"] = parser.AppConfig();
    all["scripts"] = parser.JSConfigs();
    all["css"] = parser.CSSFiles();
    all["texts"] = parser.GetTexts();
    all["moduleTexts"] = parser.ModuleTexts();
    all["granted"] = parser.GrantableApps();
    if (brief)
        all["brief"] = parser.GetBriefTexts();
    return all;
}

// Without the lists that a scan adds to a configuration read from the cache
// (when the texts file was missing): they hold every entry twice.
Json::Value WithoutLists(Json::Value all)
{
    all.removeMember("css");
    all.removeMember("granted");
    return all;
}

Names NamesIn(const std::string& dir)
{
    Names names;
    base::ListDirectory(dir, names);
    std::sort(names.begin(), names.end());
    return names;
}

struct stat StatOf(const std::string& path)
{
    struct stat st = {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0) << path;
    return st;
}

int ExitStatus(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class ConfigCacheTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        WriteModule(root, AppModule("Files", {{"enu", "Files"}, {"ger", "Dateien"}}));
        WriteModule(root, AppModule("Backup", {{"enu", "Backup"}}));
        WriteModule(root, {"Help", R"({".url": {"Help.Link": {"type": "url", "grantPrivilege": "all"}}})", {}, true});
        root.WriteFile("/usr/local/share/feasibilitycheck/fshktext", "[]");
    }

    // Every file of the document directories, hidden ones too.
    Names CacheFiles() const
    {
        Names files;
        for (const char* dir : {"/config/", "/texts/", "/brieftext/"}) {
            for (const std::string& name : NamesIn(root.Path(kCache + dir)))
                files.push_back(root.Path(kCache + dir + name));
        }
        return files;
    }

    arx_testing::TempRoot root;
};

TEST_F(ConfigCacheTest, BothFilesPresentMeanNoModuleIsRead)
{
    const mode_t previous = umask(077);
    const Json::Value first = Request(true);
    umask(previous);
    EXPECT_EQ(Request(false), first) << "the cache gives what a scan gives";
    // Root's, and readable by all whatever the umask.
    for (const char* dir : {"", "/config", "/texts", "/brieftext"}) {
        const struct stat st = StatOf(root.Path(kCache + dir));
        EXPECT_TRUE(st.st_mode % 010000 == 0755 && st.st_uid == 0) << dir;
    }
    for (const std::string& file : {kConfigCache, kTextsCache, kCache + "/brieftext/Test.Files_enu.json"}) {
        const struct stat st = StatOf(root.Path(file));
        EXPECT_TRUE(S_ISREG(st.st_mode) && st.st_mode % 010000 == 0644 && st.st_uid == 0) << file;
    }

    // Were any module or strings file read, these would show.
    WriteModule(root, AppModule("Later", {{"enu", "Later"}}));
    root.WriteFile(ModulePath("Files", "config"), "{ not json");
    root.WriteFile(ModulePath("Backup", "texts/enu/strings"), "[app]\ntitle = Changed\n");
    LogCapture log;
    EXPECT_EQ(Request(true), first);
    EXPECT_TRUE(log.lines().empty()) << log.texts()[0];
}

// One file missing or damaged: built again by a scan, which adds to the
// configuration when that was read; the other file is left as it is.
TEST_F(ConfigCacheTest, MissingOrDamagedFileIsBuiltAgain)
{
    // What takes the file's place (nullptr: nothing), beside it or at the end
    // of a link planted there, and the end of the line logged.
    struct Row {
        const char* description;
        const char* content;
        bool link;
        const char* log;
    };
    const char* rebuilt = " is not a cache document: built again";
    const Row rows[] = {
        {"missing", nullptr, false, nullptr},
        {"not JSON", "{\"_apps\": ", false, rebuilt},
        {"members of the wrong kind", R"({"_apps": "x", "_texts": [1], "_css": {}})", false, rebuilt},
        {"a link to a document elsewhere", R"({"_apps": {"Evil": {}}, "_texts": {}})", true,
         " is not a cache document (Too many levels of symbolic links): built again"},
    };
    const Json::Value expected = Request(false);
    for (const Row& row : rows) {
        for (const auto& [path, kept] : {std::pair {kConfigCache, kTextsCache}, {kTextsCache, kConfigCache}}) {
            const std::string what = row.description + (": " + path);
            ASSERT_TRUE(JSConfigParser::ClearCache());
            Request(true);
            ASSERT_EQ(unlink(root.Path(path).c_str()), 0);
            if (row.content != nullptr)
                root.WriteFile(row.link ? "/elsewhere.json" : path, row.content);
            if (row.link) {
                ASSERT_EQ(symlink(root.Path("/elsewhere.json").c_str(), root.Path(path).c_str()), 0);
            }
            const ino_t keptInode = StatOf(root.Path(kept)).st_ino;
            const std::string keptContent = root.ReadFile(kept);
            LogCapture log;
            EXPECT_EQ(WithoutLists(Request(true)), WithoutLists(expected)) << what;
            EXPECT_EQ(WithoutLineNumbers(log.texts()),
                      row.log ? Names {"JSConfigParser:# " + root.Path(path) + row.log} : Names {})
                << what;
            EXPECT_TRUE(StatOf(root.Path(kept)).st_ino == keptInode && root.ReadFile(kept) == keptContent) << what;
            Json::Value document;
            EXPECT_TRUE(VORN::JsonFromFile(document, root.Path(path)) && S_ISREG(StatOf(root.Path(path)).st_mode))
                << what << ": written again whole, as a file";
            EXPECT_EQ(Request(true), expected) << what << ", from the cache";
        }
    }
    EXPECT_EQ(root.ReadFile("/elsewhere.json"), rows[3].content) << "the link's target untouched";
}

// The texts file is taken at the parse and read only when texts are asked
// for: a page that asks for its configuration alone never reads it, and
// one that asks later gets the file it found, whatever replaced it since.
TEST_F(ConfigCacheTest, TextsAreReadWhenAskedForAsFoundAtTheParse)
{
    const Json::Value expected = Request(true);
    const std::string texts = root.ReadFile(kTextsCache);
    auto replaceTexts = [&](const std::string& content) {
        root.WriteFile("/var/cache/js_config_parser/texts/.next", content);
        ASSERT_EQ(rename(root.Path(kCache + "/texts/.next").c_str(), root.Path(kTextsCache).c_str()), 0);
    };
    LogCapture log;
    JSConfigParser earlier("enu", false, true);
    earlier.ParsePathFromVornman(nullptr);
    replaceTexts("{ not json");
    JSConfigParser configOnly("enu", false, true);
    configOnly.ParsePathFromVornman(nullptr);
    EXPECT_EQ(configOnly.AppConfig(), expected["apps"]);
    EXPECT_EQ(earlier.ModuleTexts(), expected["moduleTexts"]) << "the file found at the parse";
    EXPECT_EQ(earlier.GetTexts(), expected["texts"]);
    EXPECT_TRUE(log.lines().empty()) << log.texts()[0];
    EXPECT_EQ(root.ReadFile(kTextsCache), "{ not json") << "neither read nor written";

    replaceTexts(texts);
    JSConfigParser forked("enu", false, true);
    forked.ParsePathFromVornman(nullptr);
    const pid_t child = fork();
    if (child == 0)
        _exit(forked.ModuleTexts() == expected["moduleTexts"] ? 0 : 1);
    EXPECT_EQ(ExitStatus(child), 0) << "a child reads the file the parent opened";
    LogCapture forkLog;
    EXPECT_EQ(forked.ModuleTexts(), expected["moduleTexts"]) << "and so does the parent, after it";
    EXPECT_TRUE(forkLog.lines().empty()) << "not taken for a damaged file: " << forkLog.texts()[0];

    JSConfigParser cleared("enu", false, true);
    cleared.ParsePathFromVornman(nullptr);
    cleared.Clear();
    EXPECT_EQ(cleared.ModuleTexts(), expected["moduleTexts"]) << "Clear keeps the module texts";
    EXPECT_EQ(cleared.GetTexts(), Json::Value(Json::objectValue));
}

TEST_F(ConfigCacheTest, WithoutUseCacheNothingIsTouched)
{
    Request(false);
    struct stat st;
    EXPECT_NE(lstat(root.Path("/var/cache").c_str(), &st), 0) << "nothing created";

    // An existing cache is neither read nor written.
    Request(true);
    root.WriteFile(kConfigCache, R"({"_apps": {"Stale.App": {}}})");
    const Names before = CacheFiles();
    const struct stat config = StatOf(root.Path(kConfigCache)), texts = StatOf(root.Path(kTextsCache));
    EXPECT_FALSE(Request(false)["apps"].isMember("Stale.App"));
    EXPECT_EQ(CacheFiles(), before);
    EXPECT_EQ(StatOf(root.Path(kConfigCache)).st_mtim.tv_nsec, config.st_mtim.tv_nsec);
    EXPECT_EQ(StatOf(root.Path(kTextsCache)).st_ino, texts.st_ino);
}

// Directories that are not the cache's own: it is neither read nor
// written, and the request is answered by a scan.
TEST_F(ConfigCacheTest, DirectoriesNotItsOwnAreNotUsed)
{
    // The directory refused and why, and what makes it so: a link to
    // "/victim" in its place, or the directory with a mode or owner.
    struct Row {
        const char* description;
        std::string refused;
        const char* why;
        bool link;
        mode_t mode;
        uid_t owner;
    };
    const Row rows[] = {
        {"the cache directory is a link", kCache, "a symbolic link", true, 0, 0},
        {"a document directory others can write", kCache + "/texts", "writable by others", false, 0777, 0},
        {"a cache directory of another owner", kCache, "not owned by root", false, 0755, nobodyUid()},
    };
    const Json::Value expected = Request(false, "enu", nullptr, false);
    for (const Row& row : rows) {
        arx_testing::RemoveTree(root.Path("/var"));
        arx_testing::RemoveTree(root.Path("/victim"));
        root.MakeDirs(row.link ? "/victim" : row.refused);
        root.MakeDirs("/var/cache");
        const std::string dir = root.Path(row.refused);
        ASSERT_EQ(row.link ? symlink(root.Path("/victim").c_str(), dir.c_str())
                           : chmod(dir.c_str(), row.mode) + chown(dir.c_str(), row.owner, 0),
                  0)
            << row.description;
        LogCapture log;
        EXPECT_EQ(Request(true, "enu", nullptr, false), expected) << row.description;
        EXPECT_TRUE(NamesIn(root.Path("/victim")).empty()) << row.description;
        const Names lines = WithoutLineNumbers(log.texts());
        ASSERT_FALSE(lines.empty()) << row.description;
        EXPECT_EQ(lines[0], "JSConfigParser:# " + root.Path(row.refused) + " is not the cache's own directory (" +
                                row.why + "): the cache is not used");
        EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "") << row.description;
    }
}

// One file per page and language; a clear removes them all, and the stamp
// changes only when the cache is built again.
TEST_F(ConfigCacheTest, KeysClearAndStamp)
{
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "");
    JSConfigParser parser("enu", false, true);
    parser.ParsePathFromVornman(nullptr);
    const std::string stamp = JSConfigParser::GetCacheStamp(nullptr, "enu");
    EXPECT_NE(stamp, "");
    parser.GetModuleTexts();
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), stamp) << "the module texts joining the texts file";
    EXPECT_EQ(JSConfigParser::GetCacheStamp("", "enu"), stamp);
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "ger"), "");
    EXPECT_EQ(JSConfigParser::GetCacheStamp("../x", "enu"), "");
    Request(true, "ger", "");
    Request(true, "enu", "Test.Files");
    EXPECT_EQ(NamesIn(root.Path(kCache + "/config")), (Names {"ARX.json", "Test.Files.json"}));
    EXPECT_EQ(NamesIn(root.Path(kCache + "/texts")), (Names {"ARX_enu.json", "ARX_ger.json", "Test.Files_enu.json"}));
    root.WriteFile(kCache + "/texts/.ARX_enu.json.Ab12Cd", "half");  // left by a killed writer

    EXPECT_TRUE(JSConfigParser::ClearCache());
    EXPECT_EQ(CacheFiles(), Names {});
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "");
    Request(true);
    const std::string rebuilt = JSConfigParser::GetCacheStamp(nullptr, "enu");
    EXPECT_TRUE(!rebuilt.empty() && rebuilt != stamp) << rebuilt;
}

// A parse that looked at the cache before a clear writes nothing after it:
// what it found may predate the change the clear announced.
TEST_F(ConfigCacheTest, ParseBegunBeforeAClearWritesNothing)
{
    using arx::jsconfig::CacheSession;
    Request(true);
    CacheSession session;
    Json::Value document;
    ASSERT_TRUE(session.Read(CacheSession::Document::kConfig, root.Path(kConfigCache), document));
    ASSERT_TRUE(JSConfigParser::ClearCache());
    LogCapture log;
    CacheSession::Writer writer(session);
    EXPECT_FALSE(writer.open());
    EXPECT_FALSE(writer.Write(root.Path(kConfigCache), document));
    EXPECT_EQ(root.ReadFile(kConfigCache), "");
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              Names {"JSConfigParser:# the cache was cleared during the parse: not written"});
    CacheSession later;
    later.Read(CacheSession::Document::kConfig, root.Path(kConfigCache), document);
    EXPECT_TRUE(CacheSession::Writer(later).open()) << "a parse that began after the clear writes";
}

// Eight processes building the cache at once, a clear between rounds:
// each reads the files the others write without a lock and sees whole
// documents (it logs nothing) and what a scan sees; every file is whole
// JSON, and no temporary file is left behind.
TEST_F(ConfigCacheTest, EightProcessesBuildingAtOnce)
{
    for (int i = 0; i < 60; ++i)
        WriteModule(root, AppModule("M" + std::to_string(i), {{"enu", "x"}, {"ger", "M" + std::to_string(i)}}));
    const Json::Value expected = WithoutLists(Request(false, "ger"));
    for (int round = 0; round < 6; ++round) {
        std::vector<pid_t> builders;
        for (int i = 0; i < 8; ++i) {
            builders.push_back(fork());
            if (builders.back() == 0) {
                LogCapture log;
                _exit(WithoutLists(Request(true, "ger")) == expected && log.lines().empty() ? 0 : 1);
            }
        }
        for (const pid_t pid : builders)
            EXPECT_EQ(ExitStatus(pid), 0) << "round " << round;
        const Names files = CacheFiles();
        EXPECT_EQ(files.size(), 2u + 62) << "round " << round << ": the two documents and 62 brief texts";
        for (const std::string& file : files) {
            Json::Value document;
            EXPECT_TRUE(file.find("/.") == std::string::npos && VORN::JsonFromFile(document, file)) << file;
        }
        if (round % 2 == 0) {
            EXPECT_TRUE(JSConfigParser::ClearCache());
        }
    }
}

}  // namespace
