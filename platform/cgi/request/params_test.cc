#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>
#include <vorn/cgi.h>

#include "testing/cgi_record.h"
#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildOptions;
using arx_testing::RunInChild;

TEST(ParamsTest, DecodedParametersBelongToTheRecord)
{
    VornCgi cgi;
    ASSERT_EQ(VornCgiInit("", &cgi), 0);
    EXPECT_EQ(VornCgiParseCGIParam(&cgi, "name=J%C3%BCrgen+K&empty=&dup=1&dup=2"), 3);
    EXPECT_STREQ(VornCgiGetCGIParam(&cgi, "name", nullptr), "J\xC3\xBCrgen K");
    EXPECT_STREQ(VornCgiGetCGIParam(&cgi, "empty", "default"), "");
    EXPECT_STREQ(VornCgiGetCGIParam(&cgi, "dup", nullptr), "1");
    const char* fallback = "fallback";
    EXPECT_EQ(VornCgiGetCGIParam(&cgi, "missing", fallback), fallback) << "the default pointer itself";
    EXPECT_EQ(VornCgiGetCGIParam(&cgi, nullptr, fallback), fallback);
    EXPECT_EQ(VornCgiParseCGIParam(&cgi, nullptr), -1);
    EXPECT_EQ(VornCgiParseCGIParam(nullptr, "a=1"), -1);
    VornCgiFree(&cgi);
    VornCgiFree(&cgi);  // a second free is harmless
    EXPECT_EQ(VornCgiGetCGIParam(&cgi, "name", "gone"), std::string("gone"));
}

// Runs GetRequestParam for a few names in a child and prints "name=value"
// (or "name=-") per name, after optionally reading the parameter line.
std::string RequestParams(const ChildOptions& options, bool readLineFirst)
{
    return RunInChild(
               [&] {
                   arx_testing::CgiRecord cgi;
                   if (readLineFirst)
                       free(VornCgiGetParamLine());
                   for (const char* name : {"_sid", "a", "b"}) {
                       const char* value = VornCgiGetRequestParam(cgi.get(), name, nullptr, 0);
                       printf("%s=%s;", name, value ? value : "-");
                   }
               },
               options)
        .output;
}

TEST(ParamsTest, RequestParametersComeFromTheQueryThenAReadFormBody)
{
    struct Row {
        const char* description;
        const char* method;
        const char* query;
        const char* type;
        const char* body;
        bool readLineFirst;
        const char* expected;
    };
    const Row rows[] = {
        {"query of a GET", "GET", "_sid=s1&a=1", nullptr, "", false, "_sid=s1;a=1;b=-;"},
        {"body not read yet", "POST", "_sid=s1", "application/x-www-form-urlencoded", "a=2&b=3", false,
         "_sid=s1;a=-;b=-;"},
        {"read form body", "POST", "_sid=s1&a=1", "application/x-www-form-urlencoded", "a=2&b=3", true,
         "_sid=s1;a=1;b=3;"},
        {"body without a content type", "POST", "", nullptr, "b=4", true, "_sid=-;a=-;b=4;"},
        {"JSON body is not form pairs", "POST", "a=1", "application/json", "{\"b\":\"x\"}", true,
         "_sid=-;a=1;b=-;"},
    };
    for (const Row& row : rows) {
        ChildOptions options;
        options.env = {{"REQUEST_METHOD", row.method},
                       {"QUERY_STRING", row.query},
                       {"CONTENT_LENGTH", std::to_string(strlen(row.body))}};
        if (row.type != nullptr)
            options.env.push_back({"CONTENT_TYPE", row.type});
        options.input = row.body;
        arx_testing::TempRoot root;
        EXPECT_EQ(RequestParams(options, row.readLineFirst), row.expected) << row.description;
    }
}

}  // namespace
