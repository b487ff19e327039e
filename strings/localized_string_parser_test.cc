// The strings files of the modules: the grammar, files that are no strings
// files, one text by section and key, and the in-place line forms.  That
// the whole-file parse and the lookup of one text agree is the strings-file
// fuzz target's.

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
using arx_testing::WithoutLineNumbers;
using VORN::PAD::LocalizedStringParser;
using Lines = std::vector<std::string>;

TEST(LocalizedStringParserTest, FileGrammar)
{
    struct Row { const char* description; std::string content; const char* expected; };
    const Row rows[] = {
        {"sections, keys, blanks trimmed", "[a]\nt=Files\n \t d = Browse it  \n[c]\nok=OK\n",
         R"({"a": {"t": "Files", "d": "Browse it"}, "c": {"ok": "OK"}})"},
        {"one pair of quotes off; inner quotes, blanks, lone quote kept", "[s]\na=\"say \"hi\"\"\nb=\" x \"\nc=\"\n",
         R"({"s": {"a": "say \"hi\"", "b": " x ", "c": "\""}})"},
        {"quoted key, '=', empty key and text", "[s]\n\"k\"=a=b\n=v\ne=\n", R"({"s": {"k": "a=b", "": "v", "e": ""}})"},
        {"no escapes: a backslash is a backslash", "[s]\na=x\\ny \\\"q\\\"\n", R"({"s": {"a": "x\\ny \\\"q\\\""}})"},
        {"comments, blank lines; '#' in a text", "# top\n\n[s]\n  # in\n#a=1\nb=#fff\n", R"({"s": {"b": "#fff"}})"},
        {"CRLF, no final newline", "[s]\r\na=dos\r\nb=\"q\"\r\nc=end", R"({"s": {"a": "dos", "b": "q", "c": "end"}})"},
        {"keys before a section dropped; a later key wins; a section named again starts over",
         "early=1\n[s]\na=1\nb=2\n[t]\nc=3\nc=4\n[s]\nb=5\n", R"({"s": {"b": "5"}, "t": {"c": "4"}})"},
        {"a name runs to the last ']'; '[' alone, no '=': ignored", "[ a [x] ]\na=1\n[bad\nwords\nb=2\n[]\nc=3\n",
         R"({" a [x] ": {"a": "1", "b": "2"}, "": {"c": "3"}})"},
        {"byte-order marks at line starts", "\xEF\xBB\xBF[s]\n\xEF\xBB\xBF" "a=1\n", R"({"s": {"a": "1"}})"},
        {"UTF-8 kept", "[s]\nde=Größe\ne=\xF0\x9F\x93\x81\n", R"({"s": {"de": "Größe", "e": "📁"}})"},
        {"Latin-1, cut, overlong, surrogate: U+FFFD", "[s]\na=\xE7" "a\nb=x\xC3\nc=\xC0\xAF\nd=\xED\xA0\x80\n",
         R"({"s": {"a": "�a", "b": "x�", "c": "��", "d": "���"}})"},
        {"placeholders replaced", "[s]\nw=%HARBOR% on _OSNAME_\n", R"({"s": {"w": "Harbor on ARX"}})"},
        {"empty file", "", "{}"},
    };
    arx_testing::TempRoot root;
    for (const Row& row : rows) {
        root.WriteFile("/m/enu/strings", row.content);
        Json::Value expected;
        std::istringstream in(row.expected);
        ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &expected, nullptr)) << row.description;
        EXPECT_EQ(LocalizedStringParser().ParseTexts(root.Path("/m/enu")), expected) << row.description;
    }
}

// Binary, too large or missing: no texts.  The lookup of one
// text reads a file as the parse does.
TEST(LocalizedStringParserTest, FilesThatAreNoStringsFiles)
{
    arx_testing::TempRoot root;
    root.WriteFile("/binary/enu/strings", std::string("[s]\na=1\n\0\x89PNG", 12));
    root.WriteFile("/latin1/enu/strings", "[s]\na=caf\xE9\n");
    root.WriteFile("/large/enu/strings", "[s]\na=" + std::string(arx::strings::kLargestStringsFile, 'x') + "\n");
    LogCapture log;
    LocalizedStringParser parser;
    for (const char* dir : {"/binary/enu", "/large/enu", "/missing/enu"})
        EXPECT_EQ(parser.ParseTexts(root.Path(dir)), Json::Value(Json::objectValue)) << dir;
    std::string text;
    EXPECT_FALSE(parser.GetSectionKeyText(root.Path("/binary/enu"), "s", "a", text));
    EXPECT_TRUE(parser.GetSectionKeyText(root.Path("/latin1/enu"), "s", "a", text) && text == "caf\xEF\xBF\xBD");
    const std::string at = "LocalizedStringParser:# " + root.dir();
    const std::string binary = at + "/binary/enu/strings holds a NUL byte: not a strings file";
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              (Lines {binary, at + "/large/enu/strings is larger than 4194304 bytes: not read", binary,
                      at + "/latin1/enu/strings: bytes that are not UTF-8 read as U+FFFD"}));
}

TEST(LocalizedStringParserTest, SectionKeyText)
{
    // The text found, or why not (logged at debug level; "" when found).
    struct Row { const char* description; std::string section, key, text, reason; };
    const Row rows[] = {
        {"only the last header of a section counts", "again", "old", "", "no such key"},
        {"section names are case-sensitive", "APP", "about", "", "no such section"},
        {"cut to 1023 bytes", "long", "text", std::string(1023, 'x'), ""},
        {"cut before a character it would split", "long", "across", std::string(1022, 'y'), ""},
    };
    arx_testing::TempRoot root;
    root.WriteFile("/m/texts/enu/strings", "[again]\nold=1\n[long]\ntext=" + std::string(1500, 'x') + "\nacross=" +
                                               std::string(1022, 'y') + "ü\n[again]\nnew=2\n");
    const std::string dir = root.Path("/m/texts/enu");
    for (const Row& row : rows) {
        LogCapture log;
        std::string text = "untouched";
        EXPECT_EQ(LocalizedStringParser().GetSectionKeyText(dir, row.section, row.key, text), row.reason.empty())
            << row.description;
        EXPECT_EQ(text, row.reason.empty() ? row.text : "untouched") << row.description;
        const std::string line = "LocalizedStringParser:# Failed to get section (" + row.section + "), key (" +
                                 row.key + ") from " + dir + "/strings [ Reason: " + row.reason + " ]";
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.reason.empty() ? Lines {} : Lines {line}) << row.description;
        EXPECT_TRUE(log.lines().empty() || log.lines()[0].priority == LOG_DEBUG) << row.description;
    }
}

// The in-place form: the results point into the line, cut there.
TEST(LocalizedStringParserTest, LineInPlace)
{
    char line[] = " a = \"b c\" ";
    char *section = line, *key = nullptr, *value = nullptr;
    LocalizedStringParser::ParseLine(line, &section, &key, &value);
    EXPECT_EQ(section, nullptr);
    EXPECT_STREQ(key, "a");
    EXPECT_STREQ(value, "b c");
}

}  // namespace
