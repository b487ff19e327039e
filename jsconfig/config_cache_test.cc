// The cache: read instead of the modules, built again when a file is
// missing or damaged, never written through a planted link, and untouched
// without useCache.  As root, as the cache is always read and written.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>
#include <arx/json_file.h>

#include "jsconfig/config_cache.h"
#include "testing/as_root.h"
#include "testing/log_capture.h"
#include "testing/module_tree.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::AppModule;
using arx_testing::LogCapture;
using arx_testing::ModulePath;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using arx_testing::WriteModule;
using VORN::PAD::JSConfigParser;

constexpr char kCache[] = "/var/cache/js_config_parser";
const std::string kConfigCache = std::string(kCache) + "/config/ARX.json";
const std::string kTextsCache = std::string(kCache) + "/texts/ARX_enu.json";

struct Snapshot {
    Json::Value apps, scripts, css, texts, moduleTexts, granted;

    bool operator==(const Snapshot& other) const
    {
        return apps == other.apps && scripts == other.scripts && css == other.css && texts == other.texts &&
               moduleTexts == other.moduleTexts && granted == other.granted;
    }
};

void PrintTo(const Snapshot& snapshot, std::ostream* out)
{
    Json::Value all;
    all["apps"] = snapshot.apps;
    all["scripts"] = snapshot.scripts;
    all["css"] = snapshot.css;
    all["texts"] = snapshot.texts;
    all["moduleTexts"] = snapshot.moduleTexts;
    all["granted"] = snapshot.granted;
    *out << all.toStyledString();
}

// A scan after reading the configuration from the cache adds to what was
// read: the lists hold everything twice for that request.
Snapshot ListsTwice(Snapshot snapshot)
{
    for (Json::Value* list : {&snapshot.css, &snapshot.granted["local"], &snapshot.granted["domain"]}) {
        const Json::Value once = *list;
        for (const Json::Value& element : once)
            list->append(element);
    }
    return snapshot;
}

// What a desktop request reads (as desktop.cgi does, through the
// accessors): the configuration and every text.
Snapshot Request(bool useCache, const char* lang = "enu", const char* app = nullptr)
{
    JSConfigParser parser(lang, false, useCache);
    parser.ParsePathFromVornman(app);
    return {parser.AppConfig(), parser.JSConfigs(),   parser.CSSFiles(),
            parser.GetTexts(),  parser.ModuleTexts(), parser.GrantableApps()};
}

std::vector<std::string> Names(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* listing = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        closedir(listing);
    }
    std::sort(names.begin(), names.end());
    return names;
}

struct stat StatOf(const std::string& path)
{
    struct stat st = {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0) << path;
    return st;
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
    }

    std::string Read(const std::string& systemPath) const { return root.ReadFile(systemPath); }

    TempRoot root;
};

TEST_F(ConfigCacheTest, BothFilesPresentMeanNoModuleIsRead)
{
    const Snapshot first = Request(true);
    ASSERT_NE(Read(kConfigCache), "");
    ASSERT_NE(Read(kTextsCache), "");
    EXPECT_EQ(Request(false), first) << "the cache gives what a scan gives";

    // Were any module read, these would show.
    WriteModule(root, AppModule("Later", {{"enu", "Later"}}));
    root.WriteFile(ModulePath("Files", "config"), "{ not json");
    root.WriteFile(ModulePath("Backup", "texts/enu/strings"), "[app]\ntitle = Changed\n");
    LogCapture log;
    EXPECT_EQ(Request(true), first);
    EXPECT_TRUE(log.lines().empty()) << log.texts()[0];
    // Nor are the modules needed at all.
    ASSERT_EQ(rename(root.Path("/usr/vorn/vornman").c_str(), root.Path("/moved").c_str()), 0);
    EXPECT_EQ(Request(true), first);
}

TEST_F(ConfigCacheTest, DesktopAndApplicationKeys)
{
    Request(true, "enu", nullptr);
    Request(true, "ger", "");
    Request(true, "enu", "Test.Files");
    EXPECT_EQ(Names(root.Path(std::string(kCache) + "/config")),
              (std::vector<std::string> {"ARX.json", "Test.Files.json"}));
    EXPECT_EQ(Names(root.Path(std::string(kCache) + "/texts")),
              (std::vector<std::string> {"ARX_enu.json", "ARX_ger.json", "Test.Files_enu.json"}));
}

TEST_F(ConfigCacheTest, OnlyOneFilePresent)
{
    struct Row {
        const char* description;
        std::string removed, kept;
    };
    const Row rows[] = {
        {"texts missing: written, the configuration left as it is", kTextsCache, kConfigCache},
        {"configuration missing: written, the texts left as they are", kConfigCache, kTextsCache},
    };
    for (const Row& row : rows) {
        const Snapshot full = Request(true);
        ASSERT_EQ(unlink(root.Path(row.removed).c_str()), 0);
        const struct stat keptBefore = StatOf(root.Path(row.kept));
        const std::string keptContent = Read(row.kept);
        WriteModule(root, AppModule("Later", {{"enu", "Later"}}));

        const Snapshot again = Request(true);
        EXPECT_TRUE(again.apps.isMember("Test.Later")) << row.description << ": the scan ran";
        EXPECT_NE(Read(row.removed), "") << row.description;
        const struct stat keptAfter = StatOf(root.Path(row.kept));
        EXPECT_EQ(keptAfter.st_ino, keptBefore.st_ino) << row.description;
        EXPECT_EQ(Read(row.kept), keptContent) << row.description;
        ASSERT_TRUE(JSConfigParser::ClearCache());
        arx_testing::RemoveTree(root.Path(ModulePath("Later", "")));
    }
}

TEST_F(ConfigCacheTest, DamagedFileIsBuiltAgain)
{
    struct Row {
        const char* description;
        std::function<void(const std::string&)> damage;
        const char* log;  // its end
    };
    const std::vector<Row> rows = {
        {"not JSON", [&](const std::string& path) { root.WriteFile(path, "{\"_apps\": "); },
         " is not a cache document: built again"},
        {"an array", [&](const std::string& path) { root.WriteFile(path, "[]"); },
         " is not a cache document: built again"},
        {"members of the wrong kind",
         [&](const std::string& path) { root.WriteFile(path, R"({"_apps": "x", "_texts": [1], "_css": {}})"); },
         " is not a cache document: built again"},
        {"a link to a document elsewhere",
         [&](const std::string& path) {
             root.WriteFile("/elsewhere.json", R"({"_apps": {"Evil": {}}, "_texts": {}})");
             ASSERT_EQ(symlink(root.Path("/elsewhere.json").c_str(), root.Path(path).c_str()), 0);
         },
         " is not a cache document (Too many levels of symbolic links): built again"},
    };
    const Snapshot expected = Request(false);
    for (const Row& row : rows) {
        for (const std::string& path : {kConfigCache, kTextsCache}) {
            ASSERT_TRUE(JSConfigParser::ClearCache());
            Request(true);
            ASSERT_EQ(unlink(root.Path(path).c_str()), 0);
            row.damage(path);
            LogCapture log;
            EXPECT_EQ(Request(true), path == kTextsCache ? ListsTwice(expected) : expected)
                << row.description << " " << path;
            ASSERT_EQ(log.lines().size(), 1u) << row.description << " " << path;
            EXPECT_EQ(WithoutLineNumbers(log.texts())[0], "JSConfigParser:# " + root.Path(path) + row.log);
            // Written again whole, as a file.
            Json::Value document;
            EXPECT_TRUE(VORN::JsonFromFile(document, root.Path(path))) << row.description;
            EXPECT_TRUE(S_ISREG(StatOf(root.Path(path)).st_mode)) << row.description;
            EXPECT_EQ(Request(true), expected) << row.description << " " << path << ", from the cache";
        }
    }
    EXPECT_EQ(Read("/elsewhere.json"), R"({"_apps": {"Evil": {}}, "_texts": {}})") << "the link's target untouched";
}

TEST_F(ConfigCacheTest, WithoutUseCacheNothingIsTouched)
{
    JSConfigParser parser("enu", false, false);
    parser.ParsePathFromVornman(nullptr);
    parser.GetModuleTexts();
    parser.GetBriefTexts();
    struct stat st;
    EXPECT_NE(lstat(root.Path("/var/cache").c_str(), &st), 0) << "nothing created";

    // An existing cache is neither read nor written.
    Request(true);
    root.WriteFile(kConfigCache, R"({"_apps": {"Stale.App": {}}})");
    const std::vector<std::string> before = Names(root.Path(std::string(kCache) + "/config"));
    const struct stat configBefore = StatOf(root.Path(kConfigCache));
    const struct stat textsBefore = StatOf(root.Path(kTextsCache));
    const Snapshot snapshot = Request(false);
    EXPECT_FALSE(snapshot.apps.isMember("Stale.App"));
    EXPECT_EQ(Names(root.Path(std::string(kCache) + "/config")), before);
    EXPECT_EQ(StatOf(root.Path(kConfigCache)).st_mtim.tv_nsec, configBefore.st_mtim.tv_nsec);
    EXPECT_EQ(StatOf(root.Path(kTextsCache)).st_ino, textsBefore.st_ino);
}

TEST_F(ConfigCacheTest, FilesAreRootsWithFixedModesWhateverTheUmask)
{
    const mode_t previous = umask(077);
    JSConfigParser parser("enu", false, true);
    parser.ParsePathFromVornman(nullptr);
    parser.GetBriefTexts();
    umask(previous);
    for (const char* dir : {"", "/config", "/texts", "/brieftext"}) {
        const struct stat st = StatOf(root.Path(kCache + std::string(dir)));
        EXPECT_EQ(st.st_mode & 07777, 0755u) << dir;
        EXPECT_EQ(st.st_uid, 0u) << dir;
    }
    for (const std::string& file :
         {kConfigCache, kTextsCache, std::string(kCache) + "/brieftext/Test.Files_enu.json"}) {
        const struct stat st = StatOf(root.Path(file));
        EXPECT_TRUE(S_ISREG(st.st_mode)) << file;
        EXPECT_EQ(st.st_mode & 07777, 0644u) << file;
        EXPECT_EQ(st.st_uid, 0u) << file;
    }
}

// Directories that are not the cache's own: it is neither read nor
// written, and the request is answered by a scan.
TEST_F(ConfigCacheTest, DirectoriesNotItsOwnAreNotUsed)
{
    struct Row {
        const char* description;
        std::function<void()> plant;
        std::string refused;  // the directory named
        const char* why;
    };
    const std::vector<Row> rows = {
        {"the cache directory is a link",
         [&] {
             root.MakeDirs("/var/cache");
             root.MakeDirs("/victim");
             ASSERT_EQ(symlink(root.Path("/victim").c_str(), root.Path(kCache).c_str()), 0);
         },
         kCache, "a symbolic link"},
        {"a document directory others can write",
         [&] {
             root.MakeDirs(std::string(kCache) + "/texts");
             chmod(root.Path(std::string(kCache) + "/texts").c_str(), 0777);
         },
         std::string(kCache) + "/texts", "writable by others"},
        {"a cache directory of another owner",
         [&] {
             root.MakeDirs(kCache);
             ASSERT_EQ(chown(root.Path(kCache).c_str(), nobodyUid(), nobodyGid()), 0);
         },
         kCache, "not owned by root"},
    };
    const Snapshot expected = Request(false);
    for (const Row& row : rows) {
        arx_testing::RemoveTree(root.Path("/var"));
        arx_testing::RemoveTree(root.Path("/victim"));
        row.plant();
        LogCapture log;
        EXPECT_EQ(Request(true), expected) << row.description;
        EXPECT_TRUE(Names(root.Path("/victim")).empty()) << row.description;
        const std::vector<std::string> lines = WithoutLineNumbers(log.texts());
        ASSERT_FALSE(lines.empty()) << row.description;
        EXPECT_EQ(lines[0], "JSConfigParser:# " + root.Path(row.refused) + " is not the cache's own directory (" +
                                row.why + "): the cache is not used")
            << row.description;
        EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "") << row.description;
    }
}

// Texts read once join the cache: the next request reads no strings file,
// until a clear.
TEST_F(ConfigCacheTest, TextsJoinTheCacheOnceRead)
{
    {
        JSConfigParser parser("enu", false, true);
        parser.ParsePathFromVornman(nullptr);
        Json::Value document;
        ASSERT_TRUE(VORN::JsonFromFile(document, root.Path(kTextsCache)));
        EXPECT_TRUE(document["_moduleTexts"].empty()) << "only the strings directories so far";
        parser.ModuleTexts();
        EXPECT_EQ(parser.GetBriefTexts()["Test.Files"]["app"]["title"], "Files");
        ASSERT_TRUE(VORN::JsonFromFile(document, root.Path(kTextsCache)));
        EXPECT_EQ(document["_moduleTexts"]["Test.Files"]["app"]["title"], "Files");
    }
    root.WriteFile(ModulePath("Files", "texts/enu/strings"), "[app]\ntitle = Changed\n");
    for (const char* expected : {"Files", "Changed"}) {
        JSConfigParser parser("enu", false, true);
        parser.ParsePathFromVornman(nullptr);
        EXPECT_EQ(parser.ModuleTexts()["Test.Files"]["app"]["title"], expected);
        EXPECT_EQ(parser.GetBriefTexts()["Test.Files"]["app"]["title"], expected);
        ASSERT_TRUE(JSConfigParser::ClearCache());
    }
}

TEST_F(ConfigCacheTest, ClearRemovesEveryDocumentAndChangesTheStamp)
{
    EXPECT_TRUE(JSConfigParser::ClearCache()) << "nothing to clear";
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "");
    JSConfigParser parser("enu", false, true);
    parser.ParsePathFromVornman(nullptr);
    parser.GetBriefTexts();
    const std::string stamp = JSConfigParser::GetCacheStamp(nullptr, "enu");
    EXPECT_NE(stamp, "");
    parser.GetModuleTexts();
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), stamp)
        << "the module texts joining the texts cache change nothing the cache gives";
    EXPECT_EQ(JSConfigParser::GetCacheStamp("", "enu"), stamp);
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "ger"), "");
    EXPECT_EQ(JSConfigParser::GetCacheStamp("../x", "enu"), "");
    root.WriteFile(std::string(kCache) + "/texts/.ARX_enu.json.Ab12Cd", "half");  // left by a killed writer
    root.MakeDirs(std::string(kCache) + "/texts/keep");

    EXPECT_TRUE(JSConfigParser::ClearCache());
    for (const char* dir : {"/config", "/brieftext"})
        EXPECT_TRUE(Names(root.Path(kCache + std::string(dir))).empty()) << dir;
    EXPECT_EQ(Names(root.Path(kCache + std::string("/texts"))), std::vector<std::string> {"keep"});
    EXPECT_EQ(JSConfigParser::GetCacheStamp(nullptr, "enu"), "");
    Request(true);
    const std::string rebuilt = JSConfigParser::GetCacheStamp(nullptr, "enu");
    EXPECT_NE(rebuilt, "");
    EXPECT_NE(rebuilt, stamp);
}

// A parse that looked at the cache before a clear writes nothing after it:
// what it found may predate the change the clear announced.
TEST_F(ConfigCacheTest, ParseBegunBeforeAClearWritesNothing)
{
    Request(true);
    arx::jsconfig::CacheSession session;
    Json::Value document;
    ASSERT_TRUE(session.Read(arx::jsconfig::CacheSession::Document::kConfig, root.Path(kConfigCache), document));
    ASSERT_TRUE(JSConfigParser::ClearCache());
    LogCapture log;
    arx::jsconfig::CacheSession::Writer writer(session);
    EXPECT_FALSE(writer.open());
    EXPECT_FALSE(writer.Write(root.Path(kConfigCache), document));
    EXPECT_EQ(Read(kConfigCache), "");
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"JSConfigParser:# the cache was cleared during the parse: not written"});

    arx::jsconfig::CacheSession later;
    later.Read(arx::jsconfig::CacheSession::Document::kConfig, root.Path(kConfigCache), document);
    arx::jsconfig::CacheSession::Writer laterWriter(later);
    EXPECT_TRUE(laterWriter.open()) << "a parse that began after the clear writes";
}

}  // namespace
