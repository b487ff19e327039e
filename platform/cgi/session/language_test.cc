// The UI language of a request, and the UI texts in it.

#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/language.h"
#include "cgi/session/session_test_support.h"
#include "testing/cgi_record.h"

namespace {

using arx_testing::CgiRecord;

TEST(LanguageTest, AcceptLanguage)
{
    struct Row {
        const char* header;
        const char* code;
    };
    const Row rows[] = {
        {"de-DE,de;q=0.9,en;q=0.8", "ger"},
        {"en-US", "enu"},
        {"zh-TW,zh;q=0.9", "cht"},
        {"zh-Hant-HK", "cht"},
        {"zh", "chs"},
        {"zh_CN", "chs"},
        {"pt-BR", "ptb"},
        {"pt-PT", "ptg"},
        {"nb", "nor"},
        {"xx, fr;q=0.5", "fre"},               // the first one the appliance has
        {"fr;q=0.5, ja;q=0.8", "jpn"},         // by q-value before order
        {"de;q=0, it", "ita"},                 // q=0: not wanted
        {"en;q=abc, ko", "krn"},               // a malformed q-value is no wish
        {" *;q=0.5 , es ", "spn"},
        {"deu", ""},                           // a prefix must end at a '-'
        {"", ""},
        {"xx-YY", ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::LanguageFromAcceptLanguage(row.header), row.code) << row.header;
}

class RequestLanguageTest : public vorn_testing::SessionTest {
protected:
    std::string LoginIn(const char* language)
    {
        CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {"alice", arx_testing::kAlice.password, language};
        char id[64] = "";
        EXPECT_EQ(VornCgiLogin(cgi.get(), id, sizeof id, &params), VORN_LOGIN_SUCCESS);
        return id;
    }

    std::string LanguageOf(const std::string& cookie, const char* accept)
    {
        setenv("HTTP_COOKIE", cookie.c_str(), 1);
        if (accept != nullptr)
            setenv("HTTP_ACCEPT_LANGUAGE", accept, 1);
        else
            unsetenv("HTTP_ACCEPT_LANGUAGE");
        CgiRecord cgi;
        VornCgiLoadInCookies(cgi.get());
        return VornCgiGetLang(cgi.get());
    }
};

TEST_F(RequestLanguageTest, SessionThenBrowserThenConfiguration)
{
    const std::string german = "id=" + LoginIn("ger");
    const std::string none = "id=" + LoginIn(nullptr);
    const std::string bogus = "id=" + LoginIn("../../etc");
    struct Row {
        std::string cookie;
        const char* accept;
        const char* config;
        const char* expected;
    };
    const Row rows[] = {
        {german, "fr", "", "ger"},
        {none, "fr", "", "fre"},
        {bogus, "fr", "", "fre"},          // an unknown code is not kept
        {none, nullptr, "language=\"jpn\"\n", "jpn"},
        {"", "xx", "language=\"jpn\"\n", "jpn"},
        {"", nullptr, "language=\"../x\"\n", "enu"},
        {"", nullptr, "", "enu"},
    };
    for (const Row& row : rows) {
        Configure(row.config);
        EXPECT_EQ(LanguageOf(row.cookie, row.accept), row.expected) << row.cookie << " " << row.config;
    }
}

TEST_F(RequestLanguageTest, TextsInTheLanguageWithEnglishBehind)
{
    root_.WriteFile("/usr/vorn/vornman/webman/texts/enu/strings",
                    "[login]\nerror_timeout = \"Your session has timed out.\"\nonly_english = \"English\"\n"
                    "[common]\nerror_system = \"System error\"\nquote = \"He said \"<b>&</b>\"\"\n"
                    "line = \"a\xE2\x80\xA8" "b\"\n");
    root_.WriteFile("/usr/vorn/vornman/webman/texts/ger/strings",
                    "[login]\nerror_timeout = \"Die Sitzung ist abgelaufen.\"\n[common]\nerror_system = \"Systemfehler\"\n");
    setenv("HTTP_ACCEPT_LANGUAGE", "de", 1);
    CgiRecord cgi;
    ASSERT_EQ(VornCgiLoadText(cgi.get(), "login", "common", nullptr), 0);
    struct Row {
        const char* key;
        const char* text;
    };
    const Row rows[] = {
        {"error_timeout", "Die Sitzung ist abgelaufen."},
        {"only_english", "English"},
        {"common:error_system", "Systemfehler"},
        {"login:error_system", "default"},  // not in that section
        {"missing", "default"},
    };
    for (const Row& row : rows)
        EXPECT_STREQ(VornCgiGetText(cgi.get(), row.key, "default"), row.text) << row.key;
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "common:quote", ""),
                 "He said \\u0022\\u003Cb\\u003E\\u0026\\u003C/b\\u003E\\u0022");
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "common:line", ""), "a\\u2028b");
    EXPECT_STREQ(VornCgiGetEncodeText(cgi.get(), "missing", "it's"), "it\\u0027s");

    VornCgi elsewhere;
    ASSERT_EQ(VornCgiInit("/nowhere", &elsewhere), 0);
    EXPECT_EQ(VornCgiLoadText(&elsewhere, "login", nullptr), -1) << "neither file can be read";
    VornCgiFree(&elsewhere);
}

}  // namespace
