// The module scan and the applications' texts: what each kind of entry
// registers, what a module gets wrong or plants (logged and left out, the
// scan going on), and the texts in the parser's language with English
// behind.

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>

#include "jsconfig/js_config_parser_private.h"
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
using VORN::PAD::JSConfigParserPrivate;
using Lines = std::vector<std::string>;

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::istringstream in(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &value, nullptr)) << text;
    return value;
}

// The desktop's scan, as a request without the cache makes it.
JSConfigParser Scan(const char* lang = "enu", bool debug = false)
{
    JSConfigParser parser(lang, debug);
    parser.ParsePathFromVornman(nullptr);
    return parser;
}

// The lines logged above debug level, each cut to the length of the one
// expected: "JSConfigParser:# " and start, or none when start is "".
void ExpectLogged(const LogCapture& log, const std::string& start, const char* description)
{
    const Lines expected = start.empty() ? Lines {} : Lines {"JSConfigParser:# " + start};
    Lines lines;
    for (const arx_testing::LogLine& line : log.lines()) {
        const std::string text = arx_testing::WithoutLineNumber(line.text);
        if (LOG_PRI(line.priority) != LOG_DEBUG)
            lines.push_back(expected.empty() ? text : text.substr(0, expected[0].size()));
    }
    EXPECT_EQ(lines, expected) << description;
}

// A config of one entry without a file of its own: {".url": {ID: ENTRY}}.
std::string UrlConfig(const std::string& id, const std::string& entry)
{
    return R"({".url": {")" + id + "\": " + entry + "}}";
}

TEST(ModuleScanTest, WhatEachEntryRegisters)
{
    // app: JSON of its application entry; "": the entry itself; nullptr: none.
    struct Row { const char* description; const char* id; const char* entry; const char* app; };
    const Row rows[] = {
        {"app", "T.App", R"({"type": "app"})", ""},
        {"standalone", "T.Standalone", R"({"type": "standalone", "grantPrivilege": "local"})", ""},
        {"url", "T.Url", R"({"type": "url", "grantPrivilege": "all"})", ""},
        {"common_lib", "T.CommonLib", R"({"type": "common_lib", "grantPrivilege": "domain"})", ""},
        {"legacy", "T.Legacy", R"({"type": "legacy"})", ""},
        {"another type registers the script only", "T.Widget", R"({"type": "widget", "grantPrivilege": "x"})", nullptr},
        {"no type", "T.Untyped", "{}", nullptr},
        {"an empty array is an empty entry", "T.EmptyArray", "[]", nullptr},
        {"a type that is no text", "T.NumberType", R"({"type": 5, "grantPrivilege": ["all"]})", nullptr},
        {"texts without a type: the strings file alone", "T.TextsOnly", R"({"texts": "texts"})",
         R"({"string_file": "webman/modules/Types/texts/enu"})"},
    };
    std::string entries;
    for (const Row& row : rows)
        entries += std::string(entries.empty() ? "" : ", ") + "\"" + row.id + "\": " + row.entry;
    TempRoot root;
    // Beside them: an entry whose script is missing, and a module without
    // config (which adds nothing, not even its style sheet).
    WriteModule(root, {"Types", R"({"gone.js": {"T.Gone": {"type": "app"}}, "types.js": {)" + entries + "}}",
                       {{"enu", "[a]\nb=c\n"}}, true});
    WriteModule(root, {"NoConfig", "", {}, true});
    root.WriteFile(ModulePath("Types", "types.js"), "");
    const timespec configTime[2] = {{1600000000, 0}, {1600000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, root.Path(ModulePath("Types", "config")).c_str(), configTime, 0), 0);

    LogCapture log;
    JSConfigParser parser = Scan();
    const Json::Value apps = parser.GetAppConfig();
    const Json::Value scripts = parser.GetJSConfigs()["webman/modules/Types/types.js"];
    for (const Row& row : rows) {
        Json::Value entry = ParseJson(row.entry);
        if (entry.isArray())
            entry = Json::Value(Json::objectValue);
        entry["jsBaseURL"] = "webman/modules/Types";
        entry["jsID"] = row.id;
        EXPECT_EQ(scripts[row.id], entry) << row.description;
        // Applications record their style sheets (the style sheet tests' subject).
        Json::Value app = apps[row.id];
        if (app.isMember("css_file")) {
            EXPECT_EQ(app["css_file"], app["standalone_css_file"]) << row.description;
            app.removeMember("css_file");
            app.removeMember("standalone_css_file");
        }
        EXPECT_EQ(app, row.app == nullptr ? Json::Value() : *row.app ? ParseJson(row.app) : entry) << row.description;
    }
    EXPECT_FALSE(apps.isMember("T.Gone"));
    EXPECT_EQ(parser.GetGrantableApps(),
              ParseJson(R"({"local": ["T.Standalone", "T.Url"], "domain": ["T.CommonLib", "T.Url"]})"));
    EXPECT_EQ(parser.GetTexts(), ParseJson(R"({"T.TextsOnly": "webman/modules/Types/texts/enu"})"));
    // The config's time versions the style sheet.
    EXPECT_EQ(parser.GetCSSFiles(), ParseJson(R"(["webman/modules/Types/style.css?v=1600000000"])"));
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              Lines {"JSConfigParser:# Skip webman/modules/Types/gone.js: No such file or directory."});
}

// The debug configs beside "config", and the one a parser with or without
// debug reads.
TEST(ModuleScanTest, DebugConfigs)
{
    struct Row { const char* description; bool debug; std::vector<std::string> present; const char* read; };
    const Row rows[] = {
        {"without debug: config", false, {"auto_config.debug", "config.debug"}, "config"},
        {"auto_config.debug first", true, {"auto_config.debug", "config.debug"}, "auto_config.debug"},
        {"then config.debug", true, {"config.debug"}, "config.debug"},
        {"then config", true, {}, "config"},
    };
    for (const Row& row : rows) {
        TempRoot root;
        root.WriteFile(ModulePath("Debug", "config"), UrlConfig("D.App", R"({"from": "config"})"));
        for (const std::string& name : row.present)
            root.WriteFile(ModulePath("Debug", name), UrlConfig("D.App", "{\"from\": \"" + name + "\"}"));
        EXPECT_EQ(Scan("enu", row.debug).GetJSConfigs()["webman/modules/Debug/.url"]["D.App"]["from"], row.read)
            << row.description;
    }
}

// Modules are taken in name order, the later winning an id two declare;
// paths are relative to the base of the parse.
TEST(ModuleScanTest, NameOrderAndBase)
{
    TempRoot root;
    for (const char* name : {"B", "A", "C"}) {
        const std::string entry = R"({"type": "app", "texts": "texts", "grantPrivilege": "local", "from": ")";
        WriteModule(root, {name, UrlConfig("Same.Id", entry + name + "\"}"), {{"enu", "[a]\nb=c\n"}}, true});
    }
    JSConfigParser parser = Scan();
    EXPECT_EQ(parser.GetAppConfig()["Same.Id"]["from"], "C");
    EXPECT_EQ(parser.GetTexts()["Same.Id"], "webman/modules/C/texts/enu");
    EXPECT_EQ(parser.GetGrantableApps()["local"].size(), 3u) << "the lists only grow";
    EXPECT_EQ(parser.GetCSSFiles().size(), 3u);
    JSConfigParser fromWebman("enu", false);
    fromWebman.Parse(nullptr);
    EXPECT_EQ(fromWebman.GetAppConfig()["Same.Id"]["jsBaseURL"], "modules/C");
    EXPECT_EQ(fromWebman.GetTexts()["Same.Id"], "modules/C/texts/enu");
    EXPECT_EQ(fromWebman.GetCSSFiles()[0].asString().rfind("modules/A/style.css?v=", 0), 0u);
}

// What a package may get wrong, or plant: each is logged and skipped, and
// the module beside it is registered all the same.
TEST(ModuleScanTest, HostileModulesAreLoggedAndSkipped)
{
    const std::string normal = UrlConfig("B.App", R"({"type": "app", "texts": "texts"})");
    // The config of the module Broken ("" for none); the start of the line
    // logged after "JSConfigParser:# " by the scan and the reading of the
    // texts ("" for none); whether B.App, its strings directory and its
    // texts are registered; a link planted below the modules and its target.
    struct Row {
        const char* description;
        std::string config, log;
        bool registered = false, texts = false;
        const char *link = nullptr, *target = nullptr;
        bool read = false;
    };
    const std::string m = "webman/modules/Broken", syntax = m + "/config: * Line 1, Column ";
    const Row rows[] = {
        {"config that is not JSON", "{\"a\": ", syntax + "7\n  Syntax error"},
        {"config with binary content", std::string("\x89PNG\0\0\x1a", 7), syntax + "1\n  Syntax error"},
        {"very deep config", std::string(100000, '[') + std::string(100000, ']'),
         m + "/config: nested deeper than 64 levels or more than 100000 values\n"},
        {"very large config", '"' + std::string(2 << 20, 'x') + '"', m + "/config: larger than 1048576 bytes\n"},
        {"config that is an array", "[1, 2]", "Skip " + m + ": Config is not an object."},
        {"script name climbing out", R"({"../Good/config": {"B.App": {}}})",
         "Skip " + m + "/../Good/config: a path out of the module directory."},
        {"texts climbing out with ..", UrlConfig("B.App", R"({"type": "app", "texts": "../../../../../etc"})"),
         "Skip " + m + "/../../../../../etc/: a path out of the module directory.", true},
        {"texts that are no name", UrlConfig("B.App", R"({"texts": 1})"), "Skip B.App texts: not a directory name."},
        {"module directory linked out of the web root", "", "Skip " + m + ": a link out of the web root.", false, false,
         "Broken", "/outside"},
        {"config linked out of the web root", "", "Skip " + m + "/config: a link out of the web root.", false, false,
         "Broken/config", "/outside/config"},
        {"strings file linked out of the web root", normal, "Skip " + m + "/texts/enu: a link out of the web root.",
         true, true, "Broken/texts/enu/strings", "/outside/texts/enu/strings"},
        {"strings directory linked out of the web root", normal,
         "Skip " + m + "/texts/enu: a link out of the web root.", true, true, "Broken/texts", "/outside/texts"},
        {"module directory linked inside the web root: followed", "", "", true, true, "Broken",
         "/usr/vorn/vornman/packages/Broken", true},
    };
    for (const Row& row : rows) {
        TempRoot root;
        WriteModule(root, AppModule("Good", {{"enu", "Good"}}));
        for (const std::string place : {"/outside", "/usr/vorn/vornman/packages/Broken"}) {
            root.WriteFile(place + "/config", normal);
            root.WriteFile(place + "/texts/enu/strings", "[app]\ntitle=Secret\n");
        }
        root.MakeDirs(ModulePath("Broken", "texts/enu"));
        if (!row.config.empty())
            root.WriteFile(ModulePath("Broken", "config"), row.config);
        if (row.link != nullptr) {
            const std::string link = root.Path(arx_testing::kModulesDir + std::string("/") + row.link);
            arx_testing::RemoveTree(link);
            ASSERT_EQ(symlink(root.Path(row.target).c_str(), link.c_str()), 0);
        }
        LogCapture log;
        JSConfigParser parser = Scan();
        const Json::Value apps = parser.GetAppConfig();
        EXPECT_TRUE(apps.isMember("Test.Good")) << row.description;
        EXPECT_EQ(apps.isMember("B.App"), row.registered) << row.description;
        EXPECT_EQ(parser.GetTexts().isMember("B.App"), row.texts) << row.description;
        const Json::Value texts = parser.GetModuleTexts();
        ExpectLogged(log, row.log, row.description);
        EXPECT_EQ(texts["Test.Good"], ParseJson(R"({"app": {"title": "Good"}})")) << row.description;
        EXPECT_EQ(texts.isMember("B.App"), row.read) << row.description;
        EXPECT_EQ(parser.GetBriefTexts().isMember("B.App"), row.read) << row.description;
    }
}

// The fallback is per module and whole, never per key; a code that names
// no directory is logged and English taken.
TEST(ModuleTextsTest, LanguageFallback)
{
    // The strings directory recorded, the [app] title read (nullptr: none),
    // and the start of the line logged.
    struct Row {
        const char* description;
        const char *lang, *module, *directory, *title;
        std::string log;
    };
    const Row rows[] = {
        {"the language's own", "ger", "All", "texts/ger", "Dateien", ""},
        {"a language nobody has: English", "jpn", "All", "texts/enu", "Files", ""},
        {"neither: English, which is missing too", "ger", "FrenchOnly", "texts/enu", nullptr, ""},
        {"a directory without the key: no text, no English one", "ger", "Partial", "texts/ger", nullptr, ""},
        {"a path", "../ger", "All", "texts/enu", "Files", "language [../ger] is no language code, using enu"},
        {"a hidden name", ".ger", "All", "texts/enu", "Files", "language [.ger] is no language code, using enu"},
        {"none", nullptr, "All", "texts/enu", "Files", "language [(null)] is no language code, using enu"},
    };
    TempRoot root;
    WriteModule(root, AppModule("All", {{"enu", "Files"}, {"ger", "Dateien"}}));
    WriteModule(root, AppModule("FrenchOnly", {{"fre", "Fichiers"}}));
    WriteModule(root, AppModule("Partial", {{"enu", "Notes"}}));
    root.WriteFile(ModulePath("Partial", "texts/ger/strings"), "[app]\nother = Notizen\n");
    for (const Row& row : rows) {
        const std::string id = std::string("Test.") + row.module;
        const std::string dir = std::string("webman/modules/") + row.module + "/" + row.directory;
        LogCapture log;
        JSConfigParser parser = Scan(row.lang);
        ExpectLogged(log, row.log, row.description);
        EXPECT_EQ(parser.GetTexts()[id], dir) << row.description;
        EXPECT_EQ(parser.GetAppConfig()[id]["string_file"], dir) << row.description;
        const Json::Value texts = parser.GetModuleTexts()[id];
        EXPECT_EQ(texts["app"]["title"], row.title ? Json::Value(row.title) : Json::Value()) << row.description;
        // One entry alone: the same directory, the same texts.
        EXPECT_EQ(parser.GetModuleTexts(parser.GetAppConfig()[id]), texts) << row.description;
    }
}

// GetModuleTexts(entry) applies the scan's rules to an entry from anywhere.
TEST(ModuleTextsTest, OneEntryWhosePathsLeadOut)
{
    TempRoot root;
    root.WriteFile("/usr/vorn/secret/texts/enu/strings", "[k]\npassword=hunter2\n");
    WriteModule(root, AppModule("Files", {{"enu", "Files"}}));
    ASSERT_EQ(symlink(root.Path("/usr/vorn/secret/texts").c_str(), root.Path(ModulePath("Files", "out")).c_str()), 0);
    const std::pair<const char*, const char*> rows[] = {
        {R"({"jsID": "X", "jsBaseURL": "../secret", "texts": "texts"})", "Skip X: a path out of the web root."},
        {R"({"jsID": "X", "jsBaseURL": "webman/modules/Files", "texts": "../../../../secret/texts"})",
         "Skip X: a path out of the web root."},
        {R"({"jsBaseURL": "webman/modules/Files", "texts": {"a": 1}})", "Skip texts: a path out of the web root."},
        {R"({"jsBaseURL": "webman/modules/Files", "texts": "out"})",
         "Skip webman/modules/Files/out/enu: a link out of the web root."},
    };
    JSConfigParser parser("enu", false);
    for (const auto& [entry, line] : rows) {
        LogCapture log;
        EXPECT_EQ(parser.GetModuleTexts(ParseJson(entry)), Json::Value(Json::objectValue)) << entry;
        ExpectLogged(log, line, entry);
    }
}

// Per application its title texts, the texts it preloads and those of its
// menu items, with the feasibility checks' texts.
TEST(ModuleTextsTest, BriefTexts)
{
    TempRoot root;
    WriteModule(root, {"Brief", R"({".url": {
        "B.Full": {"type": "app", "texts": "texts", "title": "app:title", "formatedTitle": "app:long",
                   "preloadTexts": ["common:ok", "app:title", "nocolon", 7],
                   "fb_extern": [{"text": "menu:open", "items": [{"text": "menu:new"}, {"items": [{"text": "x:y"}]}]},
                                 {"items": [{"text": "menu:save"}], "text": ""}, "not an item"]},
        "B.NoColon": {"type": "url", "texts": "texts", "title": "justtext"},
        "B.Missing": {"type": "app", "texts": "texts", "preloadTexts": "common:ok"},
        "B.NotAnApp": {"type": "widget", "texts": "texts", "title": "app:title"}}})",
                       {{"enu", "[app]\ntitle=Full\nlong=The full title\n[common]\nok=OK\ncancel=Cancel\n[x]\ny=Deep\n"
                                "[menu]\nopen=Open\nnew=New\nsave=Save\n[check]\ndisk=Disk full\nnet=No network\n"},
                        {"ger", "[check]\ndisk=Platte voll\n"}},
                       false});
    const std::string list = "/usr/local/share/feasibilitycheck/fshktext";
    root.WriteFile(list, "[]");
    // An entry of another type stands in the applications with its strings
    // directory alone.
    EXPECT_EQ(Scan().GetBriefTexts(), ParseJson(R"({"B.NoColon": {}, "B.Missing": {}, "B.NotAnApp": {},
        "B.Full": {"app": {"title": "Full", "long": "The full title"}, "common": {"ok": "OK"}, "x": {"y": "Deep"},
                   "menu": {"new": "New", "open": "Open", "save": "Save"}}})"));

    // The list ("-": no file); B.Full's "check" texts; the start of the line
    // logged after "JSConfigParser:# " ("" for none).
    struct Row { const char* description; std::string list; const char* lang; const char* checks; std::string log; };
    const std::vector<Row> rows = {
        {"an array; bad references skipped", R"(["B.Full:check:disk", "X:check:disk", "B.Full:check", ":a:b", 5])",
         "enu", R"({"disk": "Disk full"})", ""},
        {"an object's values", R"({"a": "B.Full:check:net"})", "enu", R"({"net": "No network"})", ""},
        {"the language's texts, as the scan found them", R"(["B.Full:check:disk", "B.Full:check:net"])", "ger",
         R"({"disk": "Platte voll"})", ""},
        {"English where the module has no language", R"(["B.Full:check:net"])", "jpn", R"({"net": "No network"})", ""},
        {"no list", "-", "enu", "null", "Read PATH feasibility check texts file failed, Reason: [ No such file or"},
        {"a list nested too deep", std::string(1000, '['), "enu", "null",
         "PATH: nested deeper than 64 levels or more than 100000 values\n"},
        {"a list larger than a list may be", "[" + std::string(1 << 20, ' ') + "]", "enu", "null",
         "PATH: larger than the texts list may be\n"},
    };
    for (const Row& row : rows) {
        row.list == "-" ? (void)unlink(root.Path(list).c_str()) : root.WriteFile(list, row.list);
        JSConfigParser parser = Scan(row.lang);
        LogCapture log;
        EXPECT_EQ(parser.GetBriefTexts()["B.Full"]["check"], ParseJson(row.checks)) << row.description;
        std::string line = row.log;
        if (!line.empty())
            line.replace(line.find("PATH"), 4, root.Path(list));
        ExpectLogged(log, line, row.description);
    }
}

}  // namespace
