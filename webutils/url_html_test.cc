// URLs, HTML escaping and the text helpers: tables of inputs and what each
// gives.

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webutils.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using Lines = std::vector<std::string>;

TEST(UrlTest, ParseSplitsSchemeHostAndPort)
{
    struct Row {
        const char* description;
        const char* url;
        bool ok;
        const char* protocol;
        const char* host;
        const char* port;
    };
    const Row rows[] = {
        {"https with a port and a path", "https://host:8443/x", true, "https", "host", "8443"},
        {"http's own port", "http://host/", true, "http", "host", "80"},
        {"no host at all", "http://", true, "http", "", "80"},
        {"an IPv6 host with a port", "http://[::1]:8080/a", true, "http", "[::1]", "8080"},
        {"an IPv6 host without a port", "https://[fe80::1]/", true, "https", "[fe80::1]", "443"},
        {"the host ends at a query", "http://host?to=x:1", true, "http", "host", "80"},
        {"the host ends at a fragment", "http://host#a:2", true, "http", "host", "80"},
        {"an empty port is the scheme's", "http://host:/", true, "http", "host", "80"},
        {"another scheme", "ftp://host", false, "", "", ""},
        {"no URL", "", false, "", "", ""},
        {"user information hides the real host", "http://a.example:80@b.example/", false, "", "", ""},
        {"an unclosed IPv6 bracket", "http://[::1/", false, "", "", ""},
        {"text after the IPv6 bracket", "http://[::1]x/", false, "", "", ""},
        {"a port that is no number", "http://host:abc/", false, "", "", ""},
        {"a port above 65535", "http://host:65536", false, "", "", ""},
    };
    for (const Row& row : rows) {
        std::string protocol = "x", host = "x", port = "x";
        EXPECT_EQ(WebUtils::ParseURL(row.url, protocol, host, port), row.ok) << row.description;
        EXPECT_EQ(protocol + "|" + host + "|" + port, std::string(row.protocol) + "|" + row.host + "|" + row.port)
            << row.description;
    }
}

TEST(UrlTest, UrlBackToTheBrowsersHost)
{
    struct Row {
        const char* description;
        const char* httpHost;  // nullptr: unset
        bool https;
        const char* suffix;
        const char* url;  // "" when refused
        Lines log;
    };
    const Row rows[] = {
        {"a fully qualified name's dot and the port go", "myhost.:5000", true, "5001/", "https://myhost:5001/", {}},
        {"an IPv4 address without a port", "10.0.0.1", false, "80/", "http://10.0.0.1:80/", {}},
        {"an IPv6 address keeps its brackets", "[::1]:5000", true, "5001/", "https://[::1]:5001/", {}},
        {"no HTTP_HOST", nullptr, true, "5001/", "", {"webutils (#) Can't find HTTP_HOST in env"}},
        {"a path in the host", "evil.example/x?", true, "5001/", "", {"webutils (#) HTTP_HOST is not a host name"}},
        {"a blank in the host", "a b", true, "5001/", "", {"webutils (#) HTTP_HOST is not a host name"}},
        {"a dot alone", ".", true, "5001/", "", {"webutils (#) HTTP_HOST is not a host name"}},
        {"a port that is no number", "host:5x", true, "5001/", "", {"webutils (#) HTTP_HOST is not a host name"}},
        {"text after the IPv6 bracket", "[::1]x", true, "5001/", "", {"webutils (#) HTTP_HOST is not a host name"}},
    };
    for (const Row& row : rows) {
        if (row.httpHost != nullptr)
            setenv("HTTP_HOST", row.httpHost, 1);
        else
            unsetenv("HTTP_HOST");
        arx_testing::LogCapture log;
        std::string url;
        EXPECT_EQ(WebUtils::GetURLByProtocol(url, row.https, row.suffix), *row.url != '\0') << row.description;
        EXPECT_EQ(url, row.url) << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.log) << row.description;
    }
    unsetenv("HTTP_HOST");
}

TEST(UrlTest, EncodingAndHtmlEscaping)
{
    struct Row {
        const char* description;
        std::string given;
        std::string expected;
    };
    const Row rows[] = {
        {"URL: unreserved characters stay", WebUtils::EncodeURL("AZaz09-._~"), "AZaz09-._~"},
        {"URL: blanks, slashes, UTF-8, quotes", WebUtils::EncodeURL("a b/\xC3\xA9\"'<&"), "a%20b%2F%C3%A9%22%27%3C%26"},
        {"element: &, < and >; quotes stay", WebUtils::EncodeHtml("a b&<>\"'", false), "a b&amp;&lt;&gt;\"'"},
        {"an entity is escaped again", WebUtils::EncodeHtml("&amp;", false), "&amp;amp;"},
        {"attribute: both quotes", WebUtils::EncodeHtmlAndQuotes("'\""), "&#39;&quot;"},
        {"attribute: a way out of the value is closed", WebUtils::EncodeHtmlAndQuotes("\" onclick=\"x()"),
         "&quot;&nbsp;onclick=&quot;x()"},
        {"double-quoted attribute: single quotes stay", WebUtils::EncodeHtmlAndQuotesEx("'\"<", false, false),
         "'&quot;&lt;"},
        {"script tag in content", WebUtils::EncodeHtml("<script>alert(1)</script>", false),
         "&lt;script&gt;alert(1)&lt;/script&gt;"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.given, row.expected) << row.description;
}

std::string Joined(const std::vector<std::string>& parts)
{
    return WebUtils::StringImplode(parts, "|");
}

std::string Extension(const char* name, size_t maxLen)
{
    const char* ext = WebUtils::GetFileExt(name, maxLen);
    return ext != nullptr ? ext : "(none)";
}

// Login names as the user database spells them, cut to the buffer.
std::string LoginName(const char* input)
{
    char out[5] = "";
    return WebUtils::ParseInputUserName(input, out, sizeof out) == 0 ? out : "(failed)";
}

TEST(TextTest, SplittingJoiningAndNames)
{
    TempRoot root;
    arx_testing::WriteUserDatabase(root);
    struct Row {
        const char* description;
        std::string given;
        std::string expected;
    };
    const Row rows[] = {
        {"explode: runs of delimiters are one", Joined(WebUtils::StringExplode(",a,,b,", ",")), "a|b"},
        {"explode: every delimiter character", Joined(WebUtils::StringExplode(" a\tb ", " \t")), "a|b"},
        {"implode: glue between neighbours only", WebUtils::StringImplode({"a", "b", "c"}, ", "), "a, b, c"},
        {"left strip: tabs, line feeds, blanks", WebUtils::StringLeftStrip("\t\n x "), "x "},
        {"dir name", WebUtils::GetDirName("/a/b"), "/a"},
        {"extension: the last one", Extension("archive.tar.gz", 100), "gz"},
        {"extension: a leading dot is none", Extension(".profile", 100), "(none)"},
        {"extension: a final dot is none", Extension("name.", 100), "(none)"},
        {"extension: only within maxLen", Extension("a.b.c", 2), "b.c"},
        {"valid extension ignores case", std::to_string(WebUtils::IsValidExtension("photo.JPG", ".jpg")), "1"},
        {"the name must be longer", std::to_string(WebUtils::IsValidExtension("jpg", "jpg")), "0"},
        {"hex pairs, an odd digit ignored", WebUtils::Hex2Bin("41424"), "AB"},
        {"a login name in another case", LoginName("ALICE"), "alic"},
        {"a name no user has stays", LoginName("Adm"), "Adm"},
        {"a pair strtol reads in part", WebUtils::Hex2Bin("4g"), std::string(1, '\x04')},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.given, row.expected) << row.description;
}

TEST(TextTest, FileLines)
{
    TempRoot root;
    root.WriteFile("/lines", "a\r\n\r\nb");
    root.WriteFile("/long", std::string(3000, 'x') + "\n");
    root.MakeDirs("/open");
    chmod(root.Path("/open").c_str(), 0777);
    symlink(root.Path("/lines").c_str(), root.Path("/open/link").c_str());
    EXPECT_EQ(WebUtils::ReadFileLines(root.Path("/lines")), (Lines{"a", "b"}));
    EXPECT_EQ(WebUtils::ReadFileLines(root.Path("/long")), (Lines{std::string(2047, 'x'), std::string(953, 'x')}));
    EXPECT_EQ(WebUtils::ReadFileLines(root.Path("/missing")), Lines{});
    if (geteuid() == 0) {
        EXPECT_EQ(WebUtils::ReadFileLines(root.Path("/open/link")), Lines{}) << "root follows no link there";
    }
}

}  // namespace
