#include <string.h>
#include <syslog.h>

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/localized_string_parser.h>

#include "strings/strings_file.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using VORN::PAD::LocalizedStringParser;

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::istringstream in(text);
    Json::parseFromStream(Json::CharReaderBuilder(), in, &value, nullptr);
    return value;
}

// Parses content as the strings file of a fresh directory.
Json::Value ParseFile(const TempRoot& root, const std::string& content)
{
    static int directory = 0;
    const std::string dir = "/texts" + std::to_string(++directory) + "/enu";
    root.WriteFile(dir + "/strings", content);
    return LocalizedStringParser().ParseTexts(root.Path(dir));
}

TEST(LocalizedStringParserTest, FileGrammar)
{
    struct Row {
        const char* description;
        std::string content;
        const char* expected;  // JSON
    };
    const Row rows[] = {
        {"sections and keys", "[app]\ntitle=Files\ndesc = Browse the shares\n[common]\nok=OK\n",
         R"({"app": {"title": "Files", "desc": "Browse the shares"}, "common": {"ok": "OK"}})"},
        {"blanks around key and text", "[s]\n \t key \t =  two words  \n", R"({"s": {"key": "two words"}})"},
        {"one pair of quotes removed, inner quotes kept", "[s]\na=\"say \"hi\"\"\n", R"({"s": {"a": "say \"hi\""}})"},
        {"quotes keep blanks", "[s]\na=\"  x  \"\n", R"({"s": {"a": "  x  "}})"},
        {"a lone quote is kept", "[s]\na=\"\nb=\"open\n", R"({"s": {"a": "\"", "b": "\"open"}})"},
        {"quoted key", "[s]\n\"k\" = v\n", R"({"s": {"k": "v"}})"},
        {"no escapes: a backslash is a backslash", "[s]\na=line\\none \\\"q\\\"\n",
         R"({"s": {"a": "line\\none \\\"q\\\""}})"},
        {"text holding '='", "[s]\nurl=a=b=c\n", R"({"s": {"url": "a=b=c"}})"},
        {"a line starting with '=' has an empty key", "[s]\n=orphan\n", R"({"s": {"": "orphan"}})"},
        {"empty text", "[s]\nempty=\n", R"({"s": {"empty": ""}})"},
        {"comments and blank lines", "# top\n\n[s]\n  # indented comment\n#a=1\nb=2\n", R"({"s": {"b": "2"}})"},
        {"a '#' inside a text is kept", "[s]\ncolor=#fff\n", R"({"s": {"color": "#fff"}})"},
        {"CRLF line ends", "[s]\r\na=dos\r\nb=\"q\"\r\n", R"({"s": {"a": "dos", "b": "q"}})"},
        {"no final newline", "[s]\na=1\nlast=end", R"({"s": {"a": "1", "last": "end"}})"},
        {"keys before the first section are dropped", "early=1\n[s]\na=2\n", R"({"s": {"a": "2"}})"},
        {"a later key of the same name wins", "[s]\na=first\na=second\n", R"({"s": {"a": "second"}})"},
        {"a section named again starts over", "[s]\na=1\nb=2\n[t]\nc=3\n[s]\nb=4\n",
         R"({"s": {"b": "4"}, "t": {"c": "3"}})"},
        {"section name keeps inner blanks, runs to the last ']'", "[ my [x] sec ]\na=1\n",
         R"({" my [x] sec ": {"a": "1"}})"},
        {"a '[' line without ']' is ignored", "[s]\na=1\n[broken\nb=2\n", R"({"s": {"a": "1", "b": "2"}})"},
        {"empty section name", "[]\na=1\n", R"({"": {"a": "1"}})"},
        {"a line without '=' is ignored", "[s]\njust words\na=1\n", R"({"s": {"a": "1"}})"},
        {"byte-order mark at the start", "\xEF\xBB\xBF[s]\na=1\n", R"({"s": {"a": "1"}})"},
        {"byte-order mark at the start of a later line",
         "[s]\n\xEF\xBB\xBF"
         "a=1\n",
         R"({"s": {"a": "1"}})"},
        {"UTF-8 kept", "[s]\nde=Größe\nja=ファイル\nemoji=\xF0\x9F\x93\x81\n",
         R"({"s": {"de": "Größe", "ja": "ファイル", "emoji": "📁"}})"},
        {"Latin-1 byte becomes U+FFFD",
         "[s]\nfr=Fran\xE7"
         "ais\n",
         R"({"s": {"fr": "Fran�ais"}})"},
        {"truncated sequence before the line end", "[s]\na=x\xC3\nb=y\n", R"({"s": {"a": "x�", "b": "y"}})"},
        {"overlong form and surrogate", "[s]\na=\xC0\xAF\nb=\xED\xA0\x80\n", R"({"s": {"a": "��", "b": "���"}})"},
        {"placeholders replaced", "[s]\nwelcome=Welcome to %HARBOR% on _OSNAME_\n",
         R"({"s": {"welcome": "Welcome to Harbor on ARX"}})"},
        {"empty file", "", "{}"},
    };
    TempRoot root;
    for (const Row& row : rows)
        EXPECT_EQ(ParseFile(root, row.content), ParseJson(row.expected)) << row.description;
}

TEST(LocalizedStringParserTest, FilesThatAreNoStringsFilesGiveNothing)
{
    TempRoot root;
    root.WriteFile("/binary/enu/strings", std::string("[s]\na=1\n\0\x89PNG", 12));
    root.WriteFile("/latin1/enu/strings", "[s]\na=caf\xE9\n");
    root.WriteFile("/large/enu/strings", "[s]\na=" + std::string(arx::strings::kLargestStringsFile, 'x') + "\n");
    root.MakeDirs("/directory/enu/strings");
    LogCapture log;
    LocalizedStringParser parser;
    EXPECT_EQ(parser.ParseTexts(root.Path("/binary/enu")), Json::Value(Json::objectValue));
    EXPECT_EQ(parser.ParseTexts(root.Path("/large/enu")), Json::Value(Json::objectValue));
    EXPECT_EQ(parser.ParseTexts(root.Path("/missing/enu")), Json::Value(Json::objectValue));
    EXPECT_EQ(parser.ParseTexts(root.Path("/directory/enu")), Json::Value(Json::objectValue));
    std::string text;
    EXPECT_FALSE(parser.GetSectionKeyText(root.Path("/binary/enu"), "s", "a", text));
    EXPECT_TRUE(parser.GetSectionKeyText(root.Path("/latin1/enu"), "s", "a", text));
    EXPECT_EQ(text, "caf\xEF\xBF\xBD");
    const std::string binary = root.Path("/binary/enu/strings");
    const std::string large = root.Path("/large/enu/strings");
    EXPECT_EQ(
        WithoutLineNumbers(log.texts()),
        (std::vector<std::string> {
            "LocalizedStringParser:# " + binary + " holds a NUL byte: not a strings file",
            "LocalizedStringParser:# " + large + " is larger than 4194304 bytes: not read",
            "LocalizedStringParser:# " + binary + " holds a NUL byte: not a strings file",
            "LocalizedStringParser:# " + root.Path("/latin1/enu/strings") + ": bytes that are not UTF-8 read as U+FFFD",
        }));
}

TEST(LocalizedStringParserTest, SectionKeyText)
{
    struct Row {
        const char* description;
        std::string section, key;
        bool found;
        std::string text;
        const char* reason;  // of the debug line when not found
    };
    const std::string longText(1500, 'x');
    // 1022 ASCII bytes, then a two-byte character across the 1023rd byte.
    const std::string acrossTheCut = std::string(1022, 'y') + "ü";
    const Row rows[] = {
        {"plain", "app", "title", true, "Files", nullptr},
        {"quoted, placeholders replaced", "app", "about", true, " About Harbor ", nullptr},
        {"a later key wins", "app", "twice", true, "second", nullptr},
        {"only the last header of a section counts", "again", "old", false, "", "no such key"},
        {"last header's key", "again", "new", true, "kept", nullptr},
        {"cut to 1023 bytes", "long", "text", true, longText.substr(0, 1023), nullptr},
        {"cut before a character it would split", "long", "across", true, std::string(1022, 'y'), nullptr},
        {"missing section", "nope", "title", false, "", "no such section"},
        {"missing key", "app", "nope", false, "", "no such key"},
        {"section names are case-sensitive", "APP", "title", false, "", "no such section"},
    };
    TempRoot root;
    root.WriteFile("/m/texts/enu/strings", "[app]\ntitle=Files\nabout=\" About %HARBOR% \"\ntwice=first\n"
                                           "twice=second\n[again]\nold=1\n[long]\ntext=" +
                                               longText + "\nacross=" + acrossTheCut + "\n[again]\nnew=kept\n");
    const std::string dir = root.Path("/m/texts/enu");
    for (const Row& row : rows) {
        LogCapture log;
        std::string text = "untouched";
        EXPECT_EQ(LocalizedStringParser().GetSectionKeyText(dir, row.section, row.key, text), row.found)
            << row.description;
        if (row.found) {
            EXPECT_EQ(text, row.text) << row.description;
            EXPECT_TRUE(log.lines().empty()) << row.description;
            continue;
        }
        EXPECT_EQ(text, "untouched") << row.description;
        ASSERT_EQ(log.lines().size(), 1u) << row.description;
        EXPECT_EQ(log.lines()[0].priority, LOG_DEBUG);
        EXPECT_EQ(arx_testing::WithoutLineNumber(log.lines()[0].text),
                  "LocalizedStringParser:# Failed to get section (" + row.section + "), key (" + row.key + ") from " +
                      dir + "/strings [ Reason: " + row.reason + " ]")
            << row.description;
    }
    LogCapture log;
    std::string text;
    EXPECT_FALSE(LocalizedStringParser().GetSectionKeyText(root.Path("/m/texts/fre"), "app", "title", text));
    EXPECT_TRUE(log.lines().empty()) << "a missing file is no event";
}

// The in-place forms: the results point into the line, cut there.
TEST(LocalizedStringParserTest, LinesAndTextsInPlace)
{
    struct Row {
        const char* line;
        const char *section, *key, *value;
    };
    const Row rows[] = {
        {"  [main]  ", "main", nullptr, nullptr},
        {" a = \"b c\" ", nullptr, "a", "b c"},
        {"=x", nullptr, "", "x"},
        {"# a=b", nullptr, nullptr, nullptr},
    };
    const auto same = [](const char* got, const char* expected) {
        return expected == nullptr ? got == nullptr : got != nullptr && strcmp(got, expected) == 0;
    };
    for (const Row& row : rows) {
        char line[64];
        strcpy(line, row.line);
        char *section = line, *key = line, *value = line;
        LocalizedStringParser::ParseLine(line, &section, &key, &value);
        EXPECT_TRUE(same(section, row.section) && same(key, row.key) && same(value, row.value)) << row.line;
    }
    char text[] = " \" q \" ";
    EXPECT_STREQ(LocalizedStringParser::TrimString(text), " q ");
    EXPECT_EQ(LocalizedStringParser::TrimString(nullptr), nullptr);
}

}  // namespace
