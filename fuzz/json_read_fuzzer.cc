// The library's JSON reader against jsoncpp's own: for any text, the same
// answer (accepted, refused or thrown), the same messages, and the same
// value with the same types, with and without failIfExtra, with member
// names kept static; held to bounds, jsoncpp's answer for a text within
// them and a refusal for any other.
#include <stdint.h>
#include <stdlib.h>

#include <cmath>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <json/json.h>

#include "base/json_cursor.h"
#include "base/json_read.h"

namespace {

struct Outcome {
    bool ok = false;
    bool threw = false;
    Json::Value value;
    std::string errors;
};

template <typename Parse> Outcome Run(Parse parse)
{
    Outcome outcome;
    try {
        outcome.ok = parse(outcome.value, outcome.errors);
    } catch (const std::exception&) {
        outcome.threw = true;
    }
    return outcome;
}

// Equal values with equal types all the way down (operator== compares
// types too, but reals only by value: -0.0 and 0.0 are told apart here).
bool Same(const Json::Value& a, const Json::Value& b)
{
    if (a.type() != b.type())
        return false;
    if (a.isDouble())
        return std::signbit(a.asDouble()) == std::signbit(b.asDouble()) && a == b;
    if (a.isArray() || a.isObject()) {
        if (a.size() != b.size() || (a.isObject() && a.getMemberNames() != b.getMemberNames()))
            return false;
        for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
            if (!Same(*i, *j))
                return false;
        }
        return true;
    }
    return a == b;
}

// Small enough that short inputs reach them.
constexpr base::JsonBounds kBounds {6, 40};

void Compare(std::string_view text, bool failIfExtra, std::optional<base::JsonBounds> bounds = std::nullopt)
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["failIfExtra"] = failIfExtra;
    const std::unique_ptr<Json::CharReader> jsoncpp(builder.newCharReader());
    static const base::StaticNames names {"a", "type", "text", "items"};
    base::JsonReader ours(failIfExtra, &names, bounds);
    const bool within = !bounds || base::JsonWithinBounds(text, bounds->deepest, bounds->mostValues);
    const Outcome expected = Run([&](Json::Value& value, std::string& errors) {
        if (!within) {
            errors = "nested deeper than 6 levels or more than 40 values";
            return false;
        }
        return jsoncpp->parse(text.data(), text.data() + text.size(), &value, &errors);
    });
    const Outcome got = Run([&](Json::Value& value, std::string& errors) { return ours.Parse(text, value, &errors); });
    if (got.ok != expected.ok || got.threw != expected.threw || got.errors != expected.errors)
        abort();
    if (expected.ok && !Same(got.value, expected.value))
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Compare(text, false);
    Compare(text, true);
    Compare(text, false, kBounds);
    return 0;
}
