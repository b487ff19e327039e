// The compact text is byte for byte what jsoncpp's compact writer gives
// (no indentation, UTF-8 as it is), so that an answer does not change with
// the writer.

#include "cgi-bin/compact_json.h"

#include <string.h>

#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

namespace {

std::string JsoncppCompact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

Json::Value Parsed(const char* text)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(text, text + strlen(text), &value, &errors)) << text << errors;
    return value;
}

TEST(CompactJsonTest, SameBytesAsJsoncpp)
{
    Json::Value nested = Parsed(R"({"b": [1, -2, 3.5, true, null, {}, []], "a": {"z": "", "y": {"x": [[]]}}})");
    const Json::Value values[] = {
        Json::Value(),
        Json::Value(false),
        Json::Value(std::numeric_limits<Json::Int64>::min()),
        Json::Value(std::numeric_limits<Json::UInt64>::max()),
        Json::Value(0.1),
        Json::Value(1e300),
        Json::Value(-0.0),
        Json::Value(std::numeric_limits<double>::infinity()),
        Json::Value(std::numeric_limits<double>::quiet_NaN()),
        Json::Value("quote \" backslash \\ slash / tab \t newline \n cr \r bs \b ff \f"),
        Json::Value(std::string("nul \0 unit \x1f del \x7f", 19)),
        Json::Value("Schließen \xe2\x80\xa6 \xff\xfe invalid bytes as they are"),
        Parsed(R"({"k\"ey\n": "v", "": 0, "\u00e9": ["\u0001"]})"),
        nested,
        Json::Value(Json::arrayValue),
        Json::Value(Json::objectValue),
    };
    for (const Json::Value& value : values) {
        std::string out = "prefix:";
        AppendCompactJson(value, out);
        EXPECT_EQ(out, "prefix:" + JsoncppCompact(value));
    }
}

}  // namespace
