#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/cgi.h>
#include <vorn/err.h>

#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildOptions;
using arx_testing::RunInChild;

struct LineResult {
    std::string first;   // the first call's text, or "(null)"
    std::string second;  // the second call's
    std::vector<std::string> log;
    int error = 0;
};

LineResult ParamLine(const ChildOptions& options)
{
    const auto run = RunInChild(
        [] {
            for (int i = 0; i < 2; ++i) {
                char* line = VornCgiGetParamLine();
                printf("%s%c", line ? line : "(null)", '\0');
                free(line);
            }
            printf("%d", VLIBCErrGet());
        },
        options);
    LineResult result;
    const std::string& out = run.output;
    const size_t first = out.find('\0');
    const size_t second = out.find('\0', first + 1);
    result.first = out.substr(0, first);
    result.second = out.substr(first + 1, second - first - 1);
    result.error = atoi(out.c_str() + second + 1);
    result.log = run.logLines;
    return result;
}

// A POST whose CONTENT_LENGTH may lie.
ChildOptions Post(const std::string& body, const std::string& length, const std::string& type = "")
{
    return arx_testing::PostRequest(body, type, length);
}

TEST(RequestBodyTest, TheParameterLineOfEachKindOfRequest)
{
    struct Row {
        const char* description;
        ChildOptions options;
        const char* expected;
    };
    const Row rows[] = {
        {"GET gives the query", {{{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", "a=1&b=2"}}, "", false}, "a=1&b=2"},
        {"HEAD gives the query", {{{"REQUEST_METHOD", "HEAD"}, {"QUERY_STRING", "a=1"}}, "", false}, "a=1"},
        {"no method at all: the query", {{{"QUERY_STRING", "x=y"}}, "", false}, "x=y"},
        {"empty query", {{{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", ""}}, "", false}, "(null)"},
        {"POST gives the body, not the query",
         {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "q=1"}, {"CONTENT_LENGTH", "7"}}, "a=1&b=2", false},
         "a=1&b=2"},
        {"exactly CONTENT_LENGTH bytes are read", Post("{\"a\":1}trailing", "7"), "{\"a\":1}"},
        {"PUT gives the body", {{{"REQUEST_METHOD", "PUT"}, {"CONTENT_LENGTH", "3"}}, "x=1", false}, "x=1"},
        {"no CONTENT_LENGTH", {{{"REQUEST_METHOD", "POST"}}, "a=1", false}, "(null)"},
        {"zero length", Post("", "0"), "(null)"},
        {"multipart is left to the uploads", Post("--b\r\n", "5", "multipart/form-data; boundary=b"), "(null)"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        const LineResult result = ParamLine(row.options);
        EXPECT_EQ(result.first, row.expected) << row.description;
        EXPECT_EQ(result.second, row.expected) << row.description << ": the body is kept for a second call";
        EXPECT_TRUE(result.log.empty()) << row.description;
    }
}

TEST(RequestBodyTest, BadBodiesGiveNoParametersAndOneLogLine)
{
    struct Row {
        const char* description;
        ChildOptions options;
        int error;
        const char* logLine;
    };
    const std::string nulBody("a=1\0b=2", 7);
    const Row rows[] = {
        {"over cgi_max_body", Post(std::string(65, 'x'), "65"), VLIB_ERR_BODY_TOO_LARGE,
         "request_body:# body of 65 bytes is larger than cgi_max_body (64)"},
        {"shorter than announced", Post("a=1", "10"), VLIB_ERR_BODY_MALFORMED,
         "request_body:# body ended after 3 of 10 bytes"},
        {"a NUL byte", Post(nulBody, "7"), VLIB_ERR_BODY_MALFORMED, "request_body:# body holds a NUL byte"},
        {"a length that is not a number", Post("a=1", "3x"), VLIB_ERR_BODY_MALFORMED,
         "request_body:# bad CONTENT_LENGTH [3x]"},
        {"a negative length", Post("a=1", "-3"), VLIB_ERR_BODY_MALFORMED, "request_body:# bad CONTENT_LENGTH [-3]"},
        {"a huge length", Post("a=1", "999999999999999999999"), VLIB_ERR_BODY_MALFORMED,
         "request_body:# bad CONTENT_LENGTH [999999999999999999999]"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        root.WriteFile("/etc/vorninfo.conf", "cgi_max_body=\"64\"\n");
        const LineResult result = ParamLine(row.options);
        EXPECT_EQ(result.first, "(null)") << row.description;
        EXPECT_EQ(result.second, "(null)") << row.description;
        EXPECT_EQ(result.error, row.error) << row.description;
        EXPECT_EQ(arx_testing::WithoutLineNumbers(result.log), std::vector<std::string>{row.logLine}) << row.description;
    }
}

TEST(RequestBodyTest, TheLimitByDefaultAndAnnouncedLengthsThatNeverArrive)
{
    struct Row {
        const char* description;
        const char* config;
        const char* length;
        int error;
        const char* logLine;
    };
    const Row rows[] = {
        {"1 MiB unless configured", "", "1048577", VLIB_ERR_BODY_TOO_LARGE,
         "request_body:# body of 1048577 bytes is larger than cgi_max_body (1048576)"},
        {"a raised limit reserves nothing for bytes that never come", "cgi_max_body=\"1099511627776\"\n",
         "1000000000000", VLIB_ERR_BODY_MALFORMED, "request_body:# body ended after 3 of 1000000000000 bytes"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        root.WriteFile("/etc/vorninfo.conf", row.config);
        const LineResult result = ParamLine(Post("a=1", row.length));
        EXPECT_EQ(result.first, "(null)") << row.description;
        EXPECT_EQ(result.error, row.error) << row.description;
        EXPECT_EQ(arx_testing::WithoutLineNumbers(result.log), std::vector<std::string>{row.logLine}) << row.description;
    }
}

TEST(RequestBodyTest, BodyOfExactlyTheLimitIsAccepted)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc/vorninfo.conf", "cgi_max_body=\"64\"\n");
    EXPECT_EQ(ParamLine(Post(std::string(64, 'x'), "64")).first, std::string(64, 'x'));
}

TEST(RequestBodyTest, ClosedStandardInputIsAShortBody)
{
    arx_testing::TempRoot root;
    ChildOptions options = Post("", "5");
    options.closeInput = true;
    const LineResult result = ParamLine(options);
    EXPECT_EQ(result.first, "(null)");
    EXPECT_EQ(result.log.size(), 1u);
}

}  // namespace
