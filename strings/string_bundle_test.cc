// String bundles: sections of a module's strings in the user's language,
// with the product's names in place, and the section names every bundle of
// the process shares.

#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/string_bundle.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

class StringBundleTest : public ::testing::Test {
protected:
    StringBundleTest()
    {
        const std::string texts = "/usr/vorn/vornman/webman/texts/";
        root_.WriteFile(texts + "enu/strings",
                        "[common]\nready = \"%HARBOR% is ready\"\ntitle = Common title\nonly_english = English\n"
                        "quoted = Say \"hi\" <b>&</b>\n"
                        "[error]\ntitle = Error title\nerror_field_too_long = The value is too long.\n"
                        "[x]\nkey = From x\n");
        root_.WriteFile(texts + "ger/strings",
                        "[common]\nready = %HARBOR% ist bereit\ntitle = Allgemeiner Titel\n"
                        "[error]\nerror_field_too_long = Der Wert ist zu lang.\n");
        root_.WriteFile("/usr/vorn/vornman/scripts/texts/enu/strings", "[common]\ntitle = Scripts title\n");
        setenv("HTTP_ACCEPT_LANGUAGE", "en", 1);
    }
    ~StringBundleTest() override { unsetenv("HTTP_ACCEPT_LANGUAGE"); }

    arx_testing::TempRoot root_;
};

TEST_F(StringBundleTest, TextsOfSeveralSectionsInTheLanguage)
{
    struct Row {
        const char* description;
        const char* language;  // Accept-Language
        const char* key;
        const char* defaultText;
        const char* text;    // nullptr: NULL
        const char* script;  // TextJscript
    };
    const Row rows[] = {
        {"the product's name in place", "en", "ready", "", "Harbor is ready", "Harbor is ready"},
        {"German", "de", "ready", "", "Harbor ist bereit", "Harbor ist bereit"},
        {"English behind a missing German key", "de", "only_english", "", "English", "English"},
        {"a plain key: the first section loaded", "en", "title", "", "Common title", "Common title"},
        {"section:key", "en", "error:title", "", "Error title", "Error title"},
        {"a missing key: the default, names in place", "en", "missing", "_OSNAME_ on %HARBOR%", "ARX on Harbor",
         "ARX on Harbor"},
        {"a missing key without default", "en", "missing", nullptr, nullptr, nullptr},
        {"escaped for a script", "en", "quoted", "", "Say \"hi\" <b>&</b>",
         "Say \\u0022hi\\u0022 \\u003Cb\\u003E\\u0026\\u003C/b\\u003E"},
    };
    for (const Row& row : rows) {
        setenv("HTTP_ACCEPT_LANGUAGE", row.language, 1);
        StringBundle bundle("common", "error", nullptr, nullptr, nullptr, nullptr);
        // Each text lives until the bundle's next call.
        const char* text = bundle.Text(row.key, row.defaultText);
        EXPECT_STREQ(text != nullptr ? text : "(null)", row.text != nullptr ? row.text : "(null)") << row.description;
        const char* script = bundle.TextJscript(row.key, row.defaultText);
        EXPECT_STREQ(script != nullptr ? script : "(null)", row.script != nullptr ? row.script : "(null)")
            << row.description;
    }
}

TEST_F(StringBundleTest, SectionNamesAreSharedByEveryBundleOfTheProcess)
{
    StringBundle first("common", "x", nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(first.Text("key", ""), "From x");
    StringBundle second("error", nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(second.Text("x:key", ""), "From x") << "the second position keeps x";
    EXPECT_STREQ(first.Text("error:title", ""), "Error title") << "the first bundle loads error now";
    EXPECT_STREQ(StringBundle(static_cast<StringBundle::STRMODULE>(9), "common", nullptr, nullptr, nullptr, nullptr,
                              nullptr)
                     .Text("title", ""),
                 "Common title")
        << "an unknown module is the web UI";
    EXPECT_STREQ(StringBundle(StringBundle::STR_SCRIPTS, "common", nullptr, nullptr, nullptr, nullptr, nullptr)
                     .Text("title", ""),
                 "Scripts title");
}

TEST_F(StringBundleTest, NamesThatCannotBeSectionsAreRefused)
{
    const std::string tooLong(64, 's');
    for (const char* name : {"../../../etc", "", tooLong.c_str(), "tab\there"}) {
        arx_testing::LogCapture log;
        StringBundle bundle(name, nullptr, nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
                  std::vector<std::string>{
                      "string_bundle:# section name refused: empty, 64 bytes or longer, or not one name"})
            << name;
        EXPECT_EQ(bundle.LoadText(), -1) << name << ": nothing was kept";
        EXPECT_STREQ(bundle.Text("title", "default"), "default") << name;
    }
}

}  // namespace
