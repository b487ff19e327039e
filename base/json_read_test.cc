#include <string.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include "base/json_read.h"

namespace {

using namespace std::string_literals;

struct Parsed {
    bool ok = false;
    bool threw = false;
    Json::Value value;
    std::string errors;
};

Parsed Jsoncpp(const std::string& text, bool failIfExtra)
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["failIfExtra"] = failIfExtra;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Parsed parsed;
    try {
        parsed.ok = reader->parse(text.data(), text.data() + text.size(), &parsed.value, &parsed.errors);
    } catch (const std::exception&) {
        parsed.threw = true;
    }
    return parsed;
}

Parsed Ours(const std::string& text, bool failIfExtra)
{
    base::JsonReader reader(failIfExtra);
    Parsed parsed;
    try {
        parsed.ok = reader.Parse(text, parsed.value, &parsed.errors);
    } catch (const std::exception&) {
        parsed.threw = true;
    }
    return parsed;
}

std::string Nested(int depth)
{
    return std::string(static_cast<size_t>(depth), '[') + std::string(static_cast<size_t>(depth), ']');
}

// Whether the text is read in one pass (plain) or handed to jsoncpp, and in
// either case the same outcome as jsoncpp's: accepted or not, the same
// value with the same types, the same messages.
TEST(JsonReadTest, ReadsWhatJsoncppReads)
{
    const struct {
        std::string text;
        bool plain;
    } rows[] = {
        // Plain documents.
        {R"({"main.js": {"A.B": {"type": "app", "depend": ["x", 1, true, null], "w": 640}}})", true},
        {" \t\r\n[]\n", true},
        {"{}", true},
        {R"("text")", true},
        {"true", true},
        {"null", true},
        {R"({"a": 1, "a": {"b": 2}})", true},  // the later value wins
        {R"({"a": {"b": 2}, "a": 1})", true},
        {R"({"": ""})", true},
        // Strings: escapes, \u as UTF-8, surrogates as jsoncpp pairs them,
        // raw control characters and broken UTF-8 taken as they are.
        {R"(["\"\\\/\b\f\n\r\t"])", true},
        {R"(["\u0041\u00e9\u20AC\u0000x"])", true},
        {R"(["\ud83d\ude00"])", true},
        {R"(["\uD800\u0041"])", true},
        {R"(["\udc00"])", true},
        {"[\"tab\there\x01\xff\xc3\"]", true},
        {"[\"nul \0 inside\"]"s, true},
        {R"(["\ud83d"])", false},
        {R"(["\ud83dx"])", false},
        {R"(["\u12"])", false},
        {R"(["\u12G4"])", false},
        {R"(["\x"])", false},
        {R"(["open)", false},
        {R"(["\)", false},
        // Numbers: integers as Int64, large ones by jsoncpp's rules, reals
        // through the C library.
        {"[0, -0, 7, -7, 2147483648, -2147483649, 123456789012345678, -123456789012345678]", true},
        {"[007, -00]", true},
        {"[1.5, -0.0, 1e3, 2E-2, 1.25e+10, 4.9e-324, 1e-400, 0.1]", true},
        {"[1e400]", false},
        {"[-1e400]", false},
        {"[1234567890123456789]", false},
        {"[9223372036854775808]", false},
        {"[-9223372036854775808]", false},
        {"[123456789012345678901234567890]", false},
        {"[1.00000000000000000000000000000001]", false},
        {"[1.]", false},
        {"[.5]", false},
        {"[1e]", false},
        {"[1.e5]", false},
        {"[-]", false},
        {"[+1]", false},
        {"[-Infinity]", false},
        {"[NaN]", false},
        // What jsoncpp takes that is not plain JSON.
        {"[1,]", false},
        {R"({"a":1,})", false},
        {R"({"":1,})", false},
        {"// comment\n{}", false},
        {"{} /* after */", false},
        {"[1 /* inside */, 2]", false},
        {"\xEF\xBB\xBF{}", false},
        {"{} trailing", false},
        {"1 2", false},
        {"truex", false},
        // What jsoncpp refuses.
        {"", false},
        {"   ", false},
        {"{", false},
        {"[1 2]", false},
        {R"({"a" 1})", false},
        {R"({a: 1})", false},
        {"{'a': 1}", false},
        {"tru", false},
        {"nul", false},
        {"\0"s, false},
        {"[1]\0"s, false},
        {"}", false},
        // Nesting: plain up to its limit, jsoncpp's beyond it.
        {Nested(base::kDeepestPlainJson), true},
        {Nested(base::kDeepestPlainJson + 1), false},
    };
    for (const auto& row : rows) {
        Json::Value plain;
        EXPECT_EQ(base::ReadPlainJson(row.text, plain), row.plain) << row.text;
        for (const bool failIfExtra : {false, true}) {
            const Parsed expected = Jsoncpp(row.text, failIfExtra);
            const Parsed got = Ours(row.text, failIfExtra);
            EXPECT_EQ(got.ok, expected.ok) << row.text << " failIfExtra " << failIfExtra;
            EXPECT_EQ(got.threw, expected.threw) << row.text;
            EXPECT_EQ(got.errors, expected.errors) << row.text;
            if (expected.ok) {
                EXPECT_EQ(got.value, expected.value) << row.text;
                EXPECT_EQ(got.value.toStyledString(), expected.value.toStyledString()) << row.text;
            }
        }
    }
}

// Types are part of the value: a plain integer is an Int64 even where it
// would fit an unsigned, a real stays a real when its value is whole.
TEST(JsonReadTest, KeepsJsoncppsTypes)
{
    Json::Value value;
    ASSERT_TRUE(base::ReadPlainJson("[2147483648, -1, 1.0, 1e2]", value));
    EXPECT_EQ(value[0].type(), Json::intValue);
    EXPECT_EQ(value[0].asInt64(), 2147483648LL);
    EXPECT_EQ(value[1].type(), Json::intValue);
    EXPECT_EQ(value[2].type(), Json::realValue);
    EXPECT_EQ(value[3].type(), Json::realValue);
    EXPECT_EQ(value[3].asDouble(), 100.0);
}

// Names of the set are the set's own texts in the value, not copies: the
// same pointer, in the document read and in a copy of it; the value equals
// the one read without the set.
TEST(JsonReadTest, StaticNamesAreKeptByPointer)
{
    static const char kType[] = "type";
    static const char kTitle[] = "title";
    const base::StaticNames names {kType, kTitle};
    const struct {
        const char* name;
        const char* found;
    } rows[] = {{"type", kType},    {"title", kTitle}, {"typ", nullptr},
                {"types", nullptr}, {"Type", nullptr}, {"", nullptr}};
    for (const auto& row : rows)
        EXPECT_EQ(names.Find(row.name, strlen(row.name)), row.found) << row.name;

    const std::string text = R"({"type": "app", "id": {"title": "t", "type": 1}})";
    Json::Value value;
    Json::Value plain;
    ASSERT_TRUE(base::ReadPlainJson(text, value, &names));
    ASSERT_TRUE(base::ReadPlainJson(text, plain));
    EXPECT_EQ(value, plain);
    const Json::Value copy = value["id"];
    const Json::Value* objects[] = {&value, &value["id"], &copy};
    for (const Json::Value* object : objects) {
        for (auto member = object->begin(); member != object->end(); ++member) {
            const char* end;
            const char* name = member.memberName(&end);
            const bool known = member.name() == "type" || member.name() == "title";
            EXPECT_EQ(name == kType || name == kTitle, known) << member.name();
        }
    }
}

// Past jsoncpp's own limit the reader throws as jsoncpp does; a reader used
// after a throw or a refusal reads the next text afresh.
TEST(JsonReadTest, DepthBeyondJsoncppsLimitThrows)
{
    base::JsonReader reader;
    Json::Value value;
    EXPECT_THROW(reader.Parse(Nested(1200), value), Json::RuntimeError);
    EXPECT_FALSE(reader.Parse("[1,", value));
    ASSERT_TRUE(reader.Parse(R"({"a": [1]})", value));
    EXPECT_EQ(value["a"][0].asInt(), 1);
}

// A bounded reader refuses exactly the texts the bounds' own count refuses,
// whether it reads them in one pass or hands them on; within the bounds,
// jsoncpp's answer.  A deep text is refused before jsoncpp could throw.
TEST(JsonReadTest, BoundsRefuseWhatTheirCountRefuses)
{
    constexpr base::JsonBounds kBounds {3, 6};
    const std::string beyond = "nested deeper than 3 levels or more than 6 values";
    const struct {
        std::string text;
        bool within;
    } rows[] = {
        {"[[[1]]]", true},
        {"[[[[1]]]]", false},
        {"[[[[", false},                 // refused before the syntax error
        {"[1,2,3,4,5]", true},           // 1 + 5 values
        {"[1,2,3,4,5,6]", false},
        {"[[],[],[]]", false},           // an empty container counts one
        {R"({"a":1,"b":2,"c":3})", true},
        {R"({"a":1,"b":2,"c":3,"d":4,"e":5,"f":6})", false},
        {R"(["[[[[,,,,,,"])", true},     // brackets and commas in a string
        {"[1,2,3] // ,,,,,,", false},   // handed on, counted whole
        {"[1,2,3] // a", true},
        {"[1,2,3,]", true},              // trailing comma: jsoncpp's refusal
        {Nested(1200), false},
    };
    for (const auto& row : rows) {
        base::JsonReader reader(false, nullptr, kBounds);
        Json::Value value;
        std::string errors;
        bool ok = false;
        ASSERT_NO_THROW(ok = reader.Parse(row.text, value, &errors)) << row.text;
        if (!row.within) {
            EXPECT_FALSE(ok) << row.text;
            EXPECT_EQ(errors, beyond) << row.text;
            continue;
        }
        const Parsed expected = Jsoncpp(row.text, false);
        EXPECT_EQ(ok, expected.ok) << row.text;
        EXPECT_EQ(errors, expected.errors) << row.text;
        if (ok) {
            EXPECT_EQ(value, expected.value) << row.text;
        }
    }
}

}  // namespace
