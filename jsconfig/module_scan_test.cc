// The module scan: what each kind of entry registers, the module files it
// reads, and what it leaves out (logged) without stopping.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

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
using arx_testing::TestModule;
using arx_testing::WithoutLineNumbers;
using arx_testing::WriteModule;
using VORN::PAD::JSConfigParser;
using VORN::PAD::JSConfigParserPrivate;

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors << text;
    return value;
}

std::vector<std::string> Strings(const Json::Value& array)
{
    std::vector<std::string> strings;
    for (const Json::Value& element : array)
        strings.push_back(element.asString());
    return strings;
}

TEST(ModuleScanTest, EachEntryType)
{
    struct Row {
        const char* description;
        const char* id;
        const char* entry;  // JSON
        bool inApps;
        bool onlyStringFile;  // in the applications with "string_file" alone
        std::vector<std::string> grantedTo;
    };
    const std::vector<Row> rows = {
        {"app", "T.App", R"({"type": "app"})", true, false, {}},
        {"standalone", "T.Standalone", R"({"type": "standalone", "grantPrivilege": "local"})", true, false, {"local"}},
        {"url", "T.Url", R"({"type": "url", "grantPrivilege": "all"})", true, false, {"local", "domain"}},
        {"common_lib", "T.CommonLib", R"({"type": "common_lib", "grantPrivilege": "domain"})", true, false, {"domain"}},
        {"legacy", "T.Legacy", R"({"type": "legacy"})", true, false, {}},
        {"another type registers the script only",
         "T.Widget",
         R"({"type": "widget", "grantPrivilege": "x"})",
         false,
         false,
         {}},
        {"no type", "T.Untyped", R"({})", false, false, {}},
        {"an empty array is an empty entry", "T.EmptyArray", R"([])", false, false, {}},
        {"a type that is no text", "T.NumberType", R"({"type": 5, "grantPrivilege": ["all"]})", false, false, {}},
        {"texts without a type: the strings file alone", "T.TextsOnly", R"({"texts": "texts"})", false, true, {}},
    };
    std::string entries;
    for (const Row& row : rows)
        entries += std::string(entries.empty() ? "" : ", ") + "\"" + row.id + "\": " + row.entry;
    TempRoot root;
    WriteModule(root, {"Types", "{\"types.js\": {" + entries + "}}", {{"enu", "[a]\nb=c\n"}}, false});
    root.WriteFile(ModulePath("Types", "types.js"), "");

    LogCapture log;
    JSConfigParser parser("enu", false);
    parser.ParsePathFromVornman(nullptr);
    const Json::Value apps = parser.GetAppConfig();
    const Json::Value scripts = parser.GetJSConfigs()["webman/modules/Types/types.js"];
    const Json::Value granted = parser.GetGrantableApps();
    for (const Row& row : rows) {
        const Json::Value& script = scripts[row.id];
        EXPECT_EQ(script["jsBaseURL"], "webman/modules/Types") << row.description;
        EXPECT_EQ(script["jsID"], row.id) << row.description;
        EXPECT_EQ(apps.isMember(row.id), row.inApps || row.onlyStringFile) << row.description;
        if (row.inApps) {
            Json::Value expected = ParseJson(row.entry);
            if (expected.isArray())
                expected = Json::Value(Json::objectValue);
            expected["jsBaseURL"] = "webman/modules/Types";
            expected["jsID"] = row.id;
            EXPECT_EQ(apps[row.id], expected) << row.description;
        }
        if (row.onlyStringFile) {
            EXPECT_EQ(apps[row.id], ParseJson(R"({"string_file": "webman/modules/Types/texts/enu"})"))
                << row.description;
        }
        std::vector<std::string> grantedTo;
        for (const char* kind : {"local", "domain"}) {
            const std::vector<std::string> ids = Strings(granted[kind]);
            if (std::find(ids.begin(), ids.end(), row.id) != ids.end())
                grantedTo.push_back(kind);
        }
        EXPECT_EQ(grantedTo, row.grantedTo) << row.description;
    }
    EXPECT_EQ(parser.GetTexts(), ParseJson(R"({"T.TextsOnly": "webman/modules/Types/texts/enu"})"));
    EXPECT_TRUE(log.lines().empty()) << log.texts()[0];
}

TEST(ModuleScanTest, ModuleFiles)
{
    TempRoot root;
    // A module without config adds nothing, not even its style sheet.
    WriteModule(root, {"NoConfig", "", {}, true});
    // Entries without a file of their own.
    WriteModule(root, {"Links", R"({".url": {"L.Help": {"type": "url", "url": "https://help.example"}}})", {}, true});
    // A script file that is missing is skipped with the system's reason.
    WriteModule(
        root,
        {"Scripts", R"({"here.js": {"S.Here": {"type": "app"}}, "gone.js": {"S.Gone": {"type": "app"}}})", {}, false});
    root.WriteFile(ModulePath("Scripts", "here.js"), "");
    const timespec configTime[2] = {{1600000000, 0}, {1600000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, root.Path(ModulePath("Links", "config")).c_str(), configTime, 0), 0);

    LogCapture log;
    JSConfigParser parser("enu", false);
    parser.ParsePathFromVornman(nullptr);
    const Json::Value apps = parser.GetAppConfig();
    EXPECT_TRUE(apps.isMember("L.Help"));
    EXPECT_TRUE(apps.isMember("S.Here"));
    EXPECT_FALSE(apps.isMember("S.Gone"));
    // The config's time versions the style sheet.
    EXPECT_EQ(Strings(parser.GetCSSFiles()), std::vector<std::string> {"webman/modules/Links/style.css?v=1600000000"});
    EXPECT_EQ(
        WithoutLineNumbers(log.texts()),
        std::vector<std::string> {"JSConfigParser:# Skip webman/modules/Scripts/gone.js: No such file or directory."});
}

TEST(ModuleScanTest, DebugConfigs)
{
    struct Row {
        const char* description;
        bool debug;
        bool autoDebug, configDebug;
        const char* winner;
    };
    const Row rows[] = {
        {"debug off: config", false, true, true, "config"},
        {"auto_config.debug first", true, true, true, "auto"},
        {"then config.debug", true, false, true, "debug"},
        {"then config", true, false, false, "config"},
    };
    for (const Row& row : rows) {
        TempRoot root;
        const auto configNamed = [](const char* which) {
            return std::string(R"({".url": {"D.App": {"type": "app", "from": ")") + which + "\"}}}";
        };
        WriteModule(root, {"Debug", configNamed("config"), {}, false});
        if (row.autoDebug)
            root.WriteFile(ModulePath("Debug", "auto_config.debug"), configNamed("auto"));
        if (row.configDebug)
            root.WriteFile(ModulePath("Debug", "config.debug"), configNamed("debug"));
        JSConfigParser parser("enu", row.debug);
        parser.ParsePathFromVornman(nullptr);
        EXPECT_EQ(parser.GetAppConfig()["D.App"]["from"], row.winner) << row.description;
    }
}

TEST(ModuleScanTest, PathsAreRelativeToTheBaseOfTheParse)
{
    TempRoot root;
    WriteModule(root, AppModule("Files", {{"enu", "Files"}}));
    JSConfigParser fromWebRoot("enu", false);
    fromWebRoot.ParsePathFromVornman(nullptr);
    EXPECT_EQ(fromWebRoot.GetAppConfig()["Test.Files"]["jsBaseURL"], "webman/modules/Files");
    EXPECT_EQ(fromWebRoot.GetTexts()["Test.Files"], "webman/modules/Files/texts/enu");
    JSConfigParser fromWebman("enu", false);
    fromWebman.Parse(nullptr);
    EXPECT_EQ(fromWebman.GetAppConfig()["Test.Files"]["jsBaseURL"], "modules/Files");
    EXPECT_EQ(Strings(fromWebman.GetCSSFiles()).at(0).rfind("modules/Files/style.css?v=", 0), 0u);
}

TEST(ModuleScanTest, LaterModuleWinsAnIdInNameOrder)
{
    TempRoot root;
    for (const char* name : {"B", "A", "C"})
        WriteModule(root, {name,
                           std::string(R"({".url": {"Same.Id": {"type": "app", "from": ")") + name +
                               R"(", "grantPrivilege": "local"}}})",
                           {},
                           true});
    JSConfigParser parser("enu", false);
    parser.ParsePathFromVornman(nullptr);
    EXPECT_EQ(parser.GetAppConfig()["Same.Id"]["from"], "C");
    // The lists only grow.
    EXPECT_EQ(parser.GetGrantableApps()["local"].size(), 3u);
    EXPECT_EQ(parser.GetCSSFiles().size(), 3u);
}

TEST(ModuleScanTest, StandaloneStyleSheetsKeptApart)
{
    TempRoot root;
    WriteModule(root, {"Own", R"({".url": {"O.Page": {"type": "standalone", "loadCssInARX": false}}})", {}, true});
    WriteModule(root, {"Shared", R"({".url": {"S.Page": {"type": "standalone"}}})", {}, true});
    WriteModule(root, {"Odd", R"({".url": {"X.Page": {"type": "standalone", "loadCssInARX": "no"}}})", {}, true});
    JSConfigParserPrivate parser("enu", false, false);
    parser.ParseModuleDir("vornman");
    EXPECT_EQ(parser.standaloneCss, std::set<std::string> {"webman/modules/Own/style.css"});
    EXPECT_EQ(parser.cssFiles.size(), 3u);
}

// What a package may get wrong, or plant: each is logged and skipped, and
// the module beside it is registered all the same.
TEST(ModuleScanTest, HostileModulesAreLoggedAndSkipped)
{
    const std::string normal = R"({".url": {"B.App": {"type": "app", "texts": "texts"}}})";
    struct Row {
        const char* description;
        std::string config;  // of the module Broken ("" for none)
        const char *link, *target;  // a link planted below the modules, and where it leads
        std::string log;  // the start of the line logged; "" for none
        bool registered, texts;  // B.App, and its texts
    };
    const std::vector<Row> rows = {
        {"config that is not JSON", "{\"a\": ", nullptr, nullptr,
         "webman/modules/Broken/config: * Line 1, Column 7\n  Syntax error", false, false},
        {"config with binary content", std::string("\x89PNG\0\0\x1a", 7), nullptr, nullptr,
         "webman/modules/Broken/config: * Line 1, Column 1\n  Syntax error", false, false},
        {"very deep config", std::string(100000, '[') + std::string(100000, ']'), nullptr, nullptr,
         "webman/modules/Broken/config: nested deeper than 64 levels or more than 100000 values\n", false, false},
        {"very large config", "{\"x\": \"" + std::string(2 << 20, 'x') + "\"}", nullptr, nullptr,
         "webman/modules/Broken/config: larger than 1048576 bytes\n", false, false},
        {"config that is an array", "[1, 2]", nullptr, nullptr, "Skip webman/modules/Broken: Config is not an object.",
         false, false},
        {"file member that is no object", R"({".url": 5})", nullptr, nullptr,
         "Skip webman/modules/Broken/.url: Config is not an object.", false, false},
        {"entry that is no object", R"({".url": {"B.App": "app"}})", nullptr, nullptr,
         "Skip B.App: Config is not an object.", false, false},
        {"script name climbing out", R"({"../Good/config": {"B.App": {}}})", nullptr, nullptr,
         "Skip webman/modules/Broken/../Good/config: a path out of the module directory.", false, false},
        {"texts climbing out with ..", R"({".url": {"B.App": {"type": "app", "texts": "../../../../../etc"}}})",
         nullptr, nullptr, "Skip webman/modules/Broken/../../../../../etc/: a path out of the module directory.", true,
         false},
        {"texts that are no text", R"({".url": {"B.App": {"texts": ["t"]}}})", nullptr, nullptr,
         "Skip B.App texts: not a directory name.", false, false},
        {"module directory linked out of the web root", "", "Broken", "/outside",
         "Skip webman/modules/Broken: a link out of the web root.", false, false},
        {"dangling module link", "", "Broken", "/nowhere", "Skip webman/modules/Broken: a link out of the web root.",
         false, false},
        {"config linked out of the web root", "", "Broken/config", "/outside/config",
         "Skip webman/modules/Broken/config: a link out of the web root.", false, false},
        {"texts directory linked out of the web root", normal, "Broken/texts", "/outside/texts",
         "Skip webman/modules/Broken/texts/enu: a link out of the web root.", true, false},
        {"strings file linked out of the web root", normal, "Broken/texts/enu/strings", "/outside/texts/enu/strings",
         "Skip webman/modules/Broken/texts/enu: a link out of the web root.", true, false},
        {"module directory linked inside the web root: followed", "", "Broken", "/usr/vorn/vornman/packages/Broken", "",
         true, true},
    };
    for (const Row& row : rows) {
        TempRoot root;
        WriteModule(root, AppModule("Good", {{"enu", "Good"}}));
        for (const char* place : {"/outside", "/usr/vorn/vornman/packages/Broken"}) {
            root.WriteFile(std::string(place) + "/config", normal);
            root.WriteFile(std::string(place) + "/texts/enu/strings", "[app]\ntitle=Secret\n");
        }
        root.MakeDirs(ModulePath("Broken", "texts/enu"));
        if (!row.config.empty())
            root.WriteFile(ModulePath("Broken", "config"), row.config);
        if (row.link != nullptr) {
            const std::string link = root.Path(ModulePath(row.link, ""));
            arx_testing::RemoveTree(link.substr(0, link.size() - 1));
            ASSERT_EQ(symlink(root.Path(row.target).c_str(), link.substr(0, link.size() - 1).c_str()), 0);
        }
        LogCapture log;
        JSConfigParser parser("enu", false);
        parser.ParsePathFromVornman(nullptr);
        const Json::Value apps = parser.GetAppConfig();
        EXPECT_TRUE(apps.isMember("Test.Good")) << row.description;
        EXPECT_EQ(apps.isMember("B.App"), row.registered) << row.description;
        EXPECT_EQ(parser.GetTexts().isMember("B.App"), row.texts) << row.description;
        const std::vector<std::string> lines = WithoutLineNumbers(log.texts());
        ASSERT_EQ(lines.size(), row.log.empty() ? 0u : 1u) << row.description;
        if (!row.log.empty()) {
            EXPECT_EQ(lines[0].substr(0, 17 + row.log.size()), "JSConfigParser:# " + row.log) << row.description;
        }
        EXPECT_EQ(parser.GetModuleTexts()["Test.Good"], ParseJson(R"({"app": {"title": "Good"}})")) << row.description;
    }
}

TEST(ModuleScanTest, UrlBackToTheAppliance)
{
    struct Row {
        const char* description;
        const char* host;  // HTTP_HOST, nullptr: unset
        const char* https;  // HTTPS, nullptr: unset
        const char *protocol, *address, *port, *path;
        const char* url;
    };
    const Row rows[] = {
        {"all from the request", "nas.local:8080", nullptr, nullptr, nullptr, nullptr, "/x", "http://nas.local:8080/x"},
        {"HTTPS on", "nas.local:8443", "on", nullptr, nullptr, nullptr, nullptr, "https://nas.local:8443"},
        {"no port: the web server's HTTP port", "nas.local", nullptr, nullptr, nullptr, nullptr, "/",
         "http://nas.local:7000/"},
        {"no port: the web server's HTTPS port", "nas.local", "on", nullptr, nullptr, nullptr, "",
         "https://nas.local:7001"},
        {"arguments win", "nas.local:80", nullptr, "HTTPS", "other.example", "9000", "/app",
         "HTTPS://other.example:9000/app"},
        {"a protocol that is neither http nor https", "nas.local:80", "on", "ftp", nullptr, nullptr, nullptr,
         "https://nas.local:80"},
        {"IPv6 address with port", "[fd00::1]:5001", nullptr, nullptr, nullptr, nullptr, "/a",
         "http://[fd00::1]:5001/a"},
        {"IPv6 address with a port argument", "[::1]", nullptr, nullptr, nullptr, "81", "", "http://[::1]:81"},
        {"no HTTP_HOST", nullptr, nullptr, "http", "a", "1", "/", ""},
        {"a host that is no host name", "evil.example/x?", nullptr, nullptr, nullptr, nullptr, "/", ""},
    };
    TempRoot root;
    root.WriteFile("/etc/vorninfo.conf", "http_port=\"7000\"\nhttps_port=\"7001\"\n");
    for (const Row& row : rows) {
        row.host ? setenv("HTTP_HOST", row.host, 1) : unsetenv("HTTP_HOST");
        row.https ? setenv("HTTPS", row.https, 1) : unsetenv("HTTPS");
        EXPECT_EQ(JSConfigParserPrivate::GetURL(row.protocol, row.address, row.port, row.path), row.url)
            << row.description;
    }
    unsetenv("HTTP_HOST");
    unsetenv("HTTPS");
}

TEST(ModuleScanTest, PackageVersion)
{
    struct Row {
        const char* description;
        const char* config;
        const char* version;
    };
    const Row rows[] = {
        {"first entry with one, in name order",
         R"({"b.js": {"x": {"version": "2"}}, "a.js": {"z": {}, "y": {"version": "1.5"}}})", "1.5"},
        {"an object is no version", R"({"a.js": {"x": {"version": {}}, "y": {"version": "4"}}})", "4"},
        {"none", R"({"a.js": {"x": {}}})", ""},
        {"entries that are no objects", R"({"a.js": ["v"], "b.js": {"x": 1}})", ""},
    };
    for (const Row& row : rows) {
        Json::Value config = ParseJson(row.config);
        EXPECT_EQ(VORN::PAD::GetPackageVersion(config), row.version) << row.description;
    }
}

TEST(ModuleScanTest, ClearKeepsTextsAndGrants)
{
    TempRoot root;
    WriteModule(root, {"M",
                       R"({".url": {"M.App": {"type": "app", "texts": "texts", "grantPrivilege": "all"}}})",
                       {{"enu", "[a]\nb=c\n"}},
                       true});
    JSConfigParser parser("enu", false);
    parser.ParsePathFromVornman(nullptr);
    const Json::Value moduleTexts = parser.GetModuleTexts();
    const Json::Value granted = parser.GetGrantableApps();
    parser.Clear();
    EXPECT_TRUE(parser.GetAppConfig().empty() && parser.GetJSConfigs().empty() && parser.GetCSSFiles().empty() &&
                parser.GetTexts().empty());
    EXPECT_EQ(parser.GetGrantableApps(), granted);
    EXPECT_EQ(parser.GetModuleTexts(), moduleTexts);
}

TEST(ModuleScanTest, LanguageCodesNameDirectoriesOnly)
{
    TempRoot root;
    WriteModule(root, AppModule("Files", {{"enu", "Files"}, {"ger", "Dateien"}}));
    for (const char* lang : {"../ger", ".hidden"}) {
        LogCapture log;
        JSConfigParser parser(lang, false);
        parser.ParsePathFromVornman(nullptr);
        EXPECT_EQ(parser.GetTexts()["Test.Files"], "webman/modules/Files/texts/enu") << lang;
        EXPECT_EQ(WithoutLineNumbers(log.texts()),
                  std::vector<std::string> {"JSConfigParser:# language [" + std::string(lang) +
                                            "] is no language code, using enu"});
    }
    LogCapture log;
    JSConfigParser parser(nullptr, false);
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"JSConfigParser:# language [(null)] is no language code, using enu"});
}

}  // namespace
