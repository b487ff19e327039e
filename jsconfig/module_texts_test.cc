// The applications' texts in the parser's language, with English where a
// module has no directory for it, and the brief and feasibility texts.

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>

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

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors << text;
    return value;
}

// Modules with the languages they have: the fallback is per module and
// whole, never per key.
void WriteLanguageModules(const TempRoot& root)
{
    WriteModule(root, AppModule("All", {{"enu", "Files"}, {"ger", "Dateien"}, {"fre", "Fichiers"}}));
    WriteModule(root, AppModule("EnglishOnly", {{"enu", "Backup"}}));
    WriteModule(root, AppModule("GermanOnly", {{"ger", "Nur Deutsch"}}));
    WriteModule(root, AppModule("None", {}));
    TestModule partial = AppModule("Partial", {{"enu", "Notes"}});
    partial.strings["enu"] += "extra = Only in English\n";
    partial.strings["ger"] = "[app]\ntitle = Notizen\n";
    WriteModule(root, partial);
}

TEST(ModuleTextsTest, LanguageFallback)
{
    struct Row {
        const char* description;
        const char* lang;
        const char* module;
        const char* directory;  // the strings directory recorded
        const char* texts;  // JSON of the module's texts
    };
    const Row rows[] = {
        {"the language's own", "ger", "All", "texts/ger", R"({"app": {"title": "Dateien"}})"},
        {"another language's own", "fre", "All", "texts/fre", R"({"app": {"title": "Fichiers"}})"},
        {"English", "enu", "All", "texts/enu", R"({"app": {"title": "Files"}})"},
        {"no directory for the language: English", "ger", "EnglishOnly", "texts/enu",
         R"({"app": {"title": "Backup"}})"},
        {"a language nobody has: English", "jpn", "All", "texts/enu", R"({"app": {"title": "Files"}})"},
        {"neither: English, which is missing too", "fre", "GermanOnly", "texts/enu", "{}"},
        {"no strings at all", "ger", "None", "texts/enu", "{}"},
        {"a directory without a key: no text, no English one", "ger", "Partial", "texts/ger",
         R"({"app": {"title": "Notizen"}})"},
    };
    TempRoot root;
    WriteLanguageModules(root);
    for (const Row& row : rows) {
        const std::string id = std::string("Test.") + row.module;
        const std::string dir = std::string("webman/modules/") + row.module + "/" + row.directory;
        JSConfigParser parser(row.lang, false);
        parser.ParsePathFromVornman(nullptr);
        EXPECT_EQ(parser.GetTexts()[id], dir) << row.description;
        EXPECT_EQ(parser.GetAppConfig()[id]["string_file"], dir) << row.description;
        EXPECT_EQ(parser.GetModuleTexts()[id], ParseJson(row.texts)) << row.description;
        // One entry alone: the same directory, the same texts.
        EXPECT_EQ(parser.GetModuleTexts(parser.GetAppConfig()[id]), ParseJson(row.texts)) << row.description;
    }
}

TEST(ModuleTextsTest, OneEntryWhosePathsLeadOut)
{
    TempRoot root;
    root.WriteFile("/usr/vorn/secret/texts/enu/strings", "[k]\npassword=hunter2\n");
    WriteModule(root, AppModule("Files", {{"enu", "Files"}}));
    root.MakeDirs("/usr/vorn/vornman/webman/modules/Files/texts");
    ASSERT_EQ(symlink(root.Path("/usr/vorn/secret/texts").c_str(),
                      root.Path("/usr/vorn/vornman/webman/modules/Files/out").c_str()),
              0);
    struct Row {
        const char* description;
        const char* entry;
        const char* log;
    };
    const Row rows[] = {
        {"jsBaseURL climbing out", R"({"jsID": "X", "jsBaseURL": "../secret", "texts": "texts"})",
         "JSConfigParser:# Skip X: a path out of the web root."},
        {"texts climbing out",
         R"({"jsID": "X", "jsBaseURL": "webman/modules/Files", "texts": "../../../../secret/texts"})",
         "JSConfigParser:# Skip X: a path out of the web root."},
        {"texts that are no text", R"({"jsBaseURL": "webman/modules/Files", "texts": {"a": 1}})",
         "JSConfigParser:# Skip texts: a path out of the web root."},
        {"a link out of the web root", R"({"jsBaseURL": "webman/modules/Files", "texts": "out"})",
         "JSConfigParser:# Skip webman/modules/Files/out/enu: a link out of the web root."},
    };
    JSConfigParser parser("enu", false);
    for (const Row& row : rows) {
        LogCapture log;
        EXPECT_EQ(parser.GetModuleTexts(ParseJson(row.entry)), Json::Value(Json::objectValue)) << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), std::vector<std::string> {row.log}) << row.description;
    }
    EXPECT_EQ(parser.GetModuleTexts(ParseJson(R"({"jsBaseURL": "webman/modules/Files", "texts": "texts"})")),
              ParseJson(R"({"app": {"title": "Files"}})"));
}

TEST(ModuleTextsTest, BriefTexts)
{
    TempRoot root;
    WriteModule(root, {"Brief",
                       R"({".url": {
                           "B.Full": {"type": "app", "texts": "texts", "title": "app:title",
                                      "formatedTitle": "app:long",
                                      "preloadTexts": ["common:ok", "common:cancel", "app:title", "nocolon", 7],
                                      "fb_extern": [{"text": "menu:open", "items": [{"text": "menu:new"},
                                                     {"items": [{"text": "menu:deep"}]}]},
                                                    {"items": [{"text": "menu:save"}], "text": ""},
                                                    "not an item"]},
                           "B.NoColon": {"type": "url", "texts": "texts", "title": "justtext"},
                           "B.Missing": {"type": "app", "texts": "texts", "title": "app:nope",
                                         "preloadTexts": "common:ok"},
                           "B.NotAnApp": {"type": "widget", "texts": "texts", "title": "app:title"}
                       }})",
                       {{"enu", "[app]\ntitle=Full\nlong=The full title\n[common]\nok=OK\ncancel=Cancel\n"
                                "[menu]\nopen=Open\nnew=New\ndeep=Deep\nsave=Save\n"},
                        {"ger", "[app]\ntitle=Voll\n[common]\nok=OK\n[menu]\nopen=Öffnen\n"}},
                       false});
    root.WriteFile("/usr/local/share/feasibilitycheck/fshktext", "[]");
    JSConfigParser english("enu", false);
    english.ParsePathFromVornman(nullptr);
    EXPECT_EQ(english.GetBriefTexts(), ParseJson(R"({
        "B.Full": {"app": {"title": "Full", "long": "The full title"},
                   "common": {"ok": "OK", "cancel": "Cancel"},
                   "menu": {"new": "New", "deep": "Deep", "open": "Open", "save": "Save"}},
        "B.NoColon": {},
        "B.Missing": {},
        "B.NotAnApp": {}
    })"))
        << "an entry of another type stands in the applications with its strings directory alone";
    // The language's directory as the scan recorded it: missing texts stay
    // missing.
    JSConfigParser german("ger", false);
    german.ParsePathFromVornman(nullptr);
    EXPECT_EQ(german.GetBriefTexts()["B.Full"],
              ParseJson(R"({"app": {"title": "Voll"}, "common": {"ok": "OK"}, "menu": {"open": "Öffnen"}})"));
}

TEST(ModuleTextsTest, FeasibilityCheckTexts)
{
    struct Row {
        const char* description;
        std::string list;  // "-": no file
        const char* lang;
        const char* result;  // JSON of the brief texts
        std::string log;  // "" for none; its start otherwise
    };
    const std::string path = "/usr/local/share/feasibilitycheck/fshktext";
    const std::vector<Row> rows = {
        {"an array of references", R"(["F.App:check:disk", "F.App:check:net", "Unknown.App:check:disk"])", "enu",
         R"({"F.App": {"check": {"disk": "Disk full", "net": "No network"}}})", ""},
        {"an object's values", R"({"a": "F.App:check:disk", "b": 5})", "enu",
         R"({"F.App": {"check": {"disk": "Disk full"}}})", ""},
        {"the language's texts", R"(["F.App:check:disk"])", "ger", R"({"F.App": {"check": {"disk": "Platte voll"}}})",
         ""},
        {"English where the module has no language", R"(["F.App:check:net"])", "jpn",
         R"({"F.App": {"check": {"net": "No network"}}})", ""},
        {"references without both separators", R"(["F.App", "F.App:check", ":check:disk"])", "enu", "{}", ""},
        {"no list", "-", "enu", "{}",
         "JSConfigParser:# Read PATH feasibility check texts file failed, Reason: [ No such file or directory ]"},
        {"a list that is no JSON", "[\"F.App:check:disk\"", "enu", "{}", "JSConfigParser:# PATH: * Line 1"},
        {"a list nested too deep", std::string(1000, '['), "enu", "{}",
         "JSConfigParser:# PATH: larger than the texts list may be\n"},
    };
    for (const Row& row : rows) {
        TempRoot root;
        WriteModule(root,
                    {"Checks",
                     R"({".url": {"F.App": {"type": "app", "texts": "texts"}}})",
                     {{"enu", "[check]\ndisk=Disk full\nnet=No network\n"}, {"ger", "[check]\ndisk=Platte voll\n"}},
                     false});
        if (row.list != "-")
            root.WriteFile(path, row.list);
        JSConfigParser parser(row.lang, false);
        parser.ParsePathFromVornman(nullptr);
        LogCapture log;
        // Every application with texts has its brief texts, empty here.
        Json::Value expected = ParseJson(row.result);
        if (!expected.isMember("F.App"))
            expected["F.App"] = Json::Value(Json::objectValue);
        EXPECT_EQ(parser.GetBriefTexts(), expected) << row.description;
        const std::vector<std::string> lines = WithoutLineNumbers(log.texts());
        if (row.log.empty()) {
            EXPECT_TRUE(lines.empty()) << row.description << ": " << lines[0];
            continue;
        }
        std::string line = row.log;
        line.replace(line.find("PATH"), 4, root.Path(path));
        ASSERT_EQ(lines.size(), 1u) << row.description;
        EXPECT_EQ(lines[0].substr(0, line.size()), line) << row.description;
    }
}

}  // namespace
