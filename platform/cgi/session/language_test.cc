// The UI language of a request, and the UI texts in it.

#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/language.h"
#include "cgi/session/session_test_support.h"

namespace {

using vorn_testing::LogIn;

using arx_testing::CgiRecord;

TEST(LanguageTest, AcceptLanguage)
{
    const std::pair<const char*, const char*> rows[] = {
        {"de-DE,de;q=0.9,en;q=0.8", "ger"}, {"en-US", "enu"}, {"zh-TW,zh;q=0.9", "cht"}, {"zh-Hant-HK", "cht"},
        {"zh", "chs"}, {"zh_CN", "chs"}, {"pt-BR", "ptb"}, {"pt-PT", "ptg"}, {"nb", "nor"}, {"", ""},
        {"xx, fr;q=0.5", "fre"},                                  // the first one the appliance has
        {"fr;q=0.5, ja;q=0.8", "jpn"},                            // by q-value before order
        {"de;q=0, it", "ita"}, {"en;q=abc, ko", "krn"},           // q=0, or malformed: not wanted
        {" *;q=0.5 , es ", "spn"}, {"deu", ""},                   // a prefix must end at a '-'
    };
    for (const auto& [header, code] : rows)
        EXPECT_EQ(vorn::LanguageFromAcceptLanguage(header), code) << header;
}

class RequestLanguageTest : public vorn_testing::SessionTest {};

// (The browser's language for a session without one is WebMan's session
// test's.)
TEST_F(RequestLanguageTest, SessionThenBrowserThenConfiguration)
{
    const std::string german = "id=" + LogIn("alice", arx_testing::kAlice.password, "127.0.0.1", nullptr, "ger").id;
    const std::string none = "id=" + LogIn("alice", arx_testing::kAlice.password).id;
    const std::string bogus = "id=" + LogIn("alice", arx_testing::kAlice.password, "127.0.0.1", nullptr, "../etc").id;
    struct Row { std::string cookie; const char* accept; const char* config; const char* expected; };
    const Row rows[] = {
        {german, "fr", "", "ger"},
        {bogus, "fr", "", "fre"},  // an unknown code is not kept: the browser's, as for a session without one
        {none, "", "language=\"jpn\"\n", "jpn"},
        {"", "xx", "language=\"../x\"\n", "enu"},
    };
    for (const Row& row : rows) {
        Configure(row.config);
        setenv("HTTP_COOKIE", row.cookie.c_str(), 1);
        setenv("HTTP_ACCEPT_LANGUAGE", row.accept, 1);
        CgiRecord cgi;
        VornCgiLoadInCookies(cgi.get());
        EXPECT_STREQ(VornCgiGetLang(cgi.get()), row.expected) << row.cookie << " " << row.config;
    }
}

TEST_F(RequestLanguageTest, TextsInTheLanguageWithEnglishBehind)
{
    root_.WriteFile("/usr/vorn/vornman/webman/texts/enu/strings",
                    "[login]\nerror_timeout = \"Timed out.\"\nonly_english = \"English\"\n"
                    "[common]\nerror_system = \"System error\"\nquote = \"He said \"<b>&</b>\"\"\n"
                    "line = \"a\xE2\x80\xA8" "b\"\n");
    root_.WriteFile("/usr/vorn/vornman/webman/texts/ger/strings",
                    "[login]\nerror_timeout = \"Abgelaufen.\"\n[common]\nerror_system = \"Systemfehler\"\n");
    setenv("HTTP_ACCEPT_LANGUAGE", "de", 1);
    CgiRecord cgi;
    ASSERT_EQ(VornCgiLoadText(cgi.get(), "login", "common", nullptr), 0);
    const std::pair<const char*, const char*> rows[] = {
        {"error_timeout", "Abgelaufen."}, {"only_english", "English"}, {"common:error_system", "Systemfehler"},
        {"login:error_system", "default"},  // not in that section
        {"missing", "default"}};
    for (const auto& [key, text] : rows)
        EXPECT_STREQ(VornCgiGetText(cgi.get(), key, "default"), text) << key;
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "common:quote", ""),
                 "He said \\u0022\\u003Cb\\u003E\\u0026\\u003C/b\\u003E\\u0022");
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "common:line", ""), "a\\u2028b");
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "missing", "it's"), "it\\u0027s");
}

}  // namespace
