#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::ChildOptions;
using arx_testing::GetRequest;
using arx_testing::PostRequest;
using arx_testing::RunInChild;

std::string Repeat(const std::string& text, int times)
{
    std::string repeated;
    for (int i = 0; i < times; ++i)
        repeated += text;
    return repeated;
}

// What a program sees of its parameters: In() as compact JSON (or NULL)
// and In(name, "d") for a few names, printed by a child process that runs
// as a CGI program with the given request.
std::string SeenParameters(const ChildOptions& request)
{
    return RunInChild(
               [] {
                   WebMan web(true);
                   Json::Value* json = web.In();
                   Json::FastWriter writer;
                   std::string text = json != nullptr ? writer.write(*json) : "NULL\n";
                   text.pop_back();
                   printf("In()=%s", text.c_str());
                   for (const char* name : {"a", "b"})
                       printf(" %s=%s", name, web.In(name, "d"));
               },
               request)
        .output;
}


TEST(WebManParamsTest, JsonAndFormBodiesAreReadTheWayProgramsExpect)
{
    struct Row {
        const char* description;
        ChildOptions request;
        const char* seen;
    };
    const Row rows[] = {
        {"empty object: JSON, nothing to read", PostRequest("{}"), "In()=NULL a=d b=d"},
        {"object with members: In(name) gives the default", PostRequest("{\"a\":1}", "application/json"),
         "In()={\"a\":1} a=d b=d"},
        {"form body", PostRequest("a=1&b=2"), "In()=NULL a=1 b=2"},
        {"bare number: JSON of size 0", PostRequest("7"), "In()=NULL a=d b=d"},
        {"array with elements", PostRequest("[1,2]"), "In()=[1,2] a=d b=d"},
        {"JSON-looking form value is still a form", PostRequest("a=%7B%7D"), "In()=NULL a={} b=d"},
        {"a body that starts with a number is taken as JSON", PostRequest("1=2&a=3"), "In()=NULL a=d b=d"},
        {"broken JSON falls back to pairs", PostRequest("{\"a\":1"), "In()=NULL a=d b=d"},
        {"form pairs after broken JSON", PostRequest("{\"a\"=1&b=2"), "In()=NULL a=d b=2"},
        {"query string of a GET", GetRequest("a=x%20y&b="), "In()=NULL a=x y b="},
        {"JSON in a query string", GetRequest("%7B%22a%22%3A1%7D"), "In()=NULL a=d b=d"},
        {"nothing at all", GetRequest(""), "In()=NULL a=d b=d"},
        {"nesting beyond the reader's limit", PostRequest(std::string(5000, '[')), "In()=NULL a=d b=d"},
        {"nesting deeper than parameters need", PostRequest(std::string(129, '[') + std::string(129, ']')),
         "In()=NULL a=d b=d"},
        {"more values than parameters need", PostRequest("[" + Repeat("0,", 100000) + "0]"), "In()=NULL a=d b=d"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        EXPECT_EQ(SeenParameters(row.request), row.seen) << row.description;
    }
}

TEST(WebManParamsTest, ParametersAreReadOnce)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild(
        [] {
            WebMan web(false);
            printf("%d", web.LoadIn());
            printf("%d", web.LoadIn());
            printf(" %s", web.In("a", "d"));
        },
        PostRequest("a=1"));
    EXPECT_EQ(run.output, "10 1");

    const auto constructed = RunInChild(
        [] {
            WebMan web(true);
            printf("%d %s", web.LoadIn(), web.In("a", "d"));
        },
        PostRequest("a=1"));
    EXPECT_EQ(constructed.output, "0 1");
}

TEST(WebManParamsTest, LoadJSONParamKeepsThePreviousValueOnFailure)
{
    arx_testing::TempRoot root;
    const auto run = RunInChild([] {
        WebMan web(false);
        char good[] = "{\"k\":\"v\"}";
        char bad[] = "{\"k\":";
        printf("%d", web.LoadJSONParam(good));
        printf("%d", web.LoadJSONParam(bad));
        printf("%d", web.LoadJSONParam(nullptr));
        printf(" %s", (*web.In())["k"].asCString());
    });
    EXPECT_EQ(run.output, "100 v");
}

}  // namespace
