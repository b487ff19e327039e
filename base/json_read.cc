#include "base/json_read.h"

#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <utility>

#include "base/json_cursor.h"
#include "base/json_string.h"
#include "base/text.h"

namespace base {

namespace {

// The longest number text read here: jsoncpp reads longer ones without
// regard to the locale's decimal point.
constexpr size_t kLongestNumber = 32;
// At most 18 digits cannot overflow an Int64.
constexpr size_t kMostIntegerDigits = 18;
// jsoncpp refuses longer member names and strings by throwing.
constexpr size_t kLongestString = size_t {1} << 30;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

locale_t CLocale()
{
    static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
    return c;
}

// One pass over the text; every refusal means "not plain", never "not JSON",
// but for a text found beyond the bounds (beyond()).
class PlainReader {
public:
    PlainReader(const char* begin, const char* end, const StaticNames* names, std::optional<JsonBounds> bounds)
        : at_(begin), end_(end), names_(names), bounds_(bounds)
    { }

    bool beyond() const { return beyond_; }

    bool Document(Json::Value& value)
    {
        SkipBlanks();
        if (!Value(value, 0))
            return false;
        SkipBlanks();
        return at_ == end_;
    }

private:
    bool Value(Json::Value& value, int depth)
    {
        if (at_ == end_)
            return false;
        switch (*at_) {
        case '{': return Object(value, depth + 1);
        case '[': return Array(value, depth + 1);
        case '"': {
            const char* begin;
            const char* end;
            if (!String(begin, end))
                return false;
            value = Json::Value(begin, end);
            return true;
        }
        case 't': return Literal("true", Json::Value(true), value);
        case 'f': return Literal("false", Json::Value(false), value);
        case 'n': return Literal("null", Json::Value(), value);
        default: return Number(value);
        }
    }

    // At the opening bracket: value made an empty container of type, and
    // true with done when the closing one follows.
    bool Open(Json::Value& value, Json::ValueType type, char closing, int depth, bool& done)
    {
        if (bounds_ && depth > bounds_->deepest) {
            beyond_ = true;
            return false;
        }
        if (depth > kDeepestPlainJson || !Counted())
            return false;
        ++at_;
        value = Json::Value(type);
        SkipBlanks();
        done = at_ != end_ && *at_ == closing;
        if (done)
            ++at_;
        return true;
    }

    // After a member or element: true with done at the closing bracket,
    // true at a comma (and the blanks after it).
    bool Next(char closing, bool& done)
    {
        SkipBlanks();
        if (at_ == end_)
            return false;
        done = *at_ == closing;
        if (!done && (*at_ != ',' || !Counted()))
            return false;
        ++at_;
        SkipBlanks();
        return true;
    }

    // One more value (a container's first, or one after a comma), within
    // the bounds: the count JsonWithinBounds makes of a plain text.
    bool Counted()
    {
        if (bounds_ && ++values_ > bounds_->mostValues)
            beyond_ = true;
        return !beyond_;
    }

    bool Object(Json::Value& value, int depth)
    {
        bool done;
        if (!Open(value, Json::objectValue, '}', depth, done))
            return false;
        while (!done) {
            const char* begin;
            const char* end;
            if (at_ == end_ || *at_ != '"' || !String(begin, end))
                return false;
            SkipBlanks();
            if (at_ == end_ || *at_ != ':')
                return false;
            ++at_;
            SkipBlanks();
            // A name seen before gets the later value, as in jsoncpp.
            const char* known = names_ != nullptr ? names_->Find(begin, static_cast<size_t>(end - begin)) : nullptr;
            Json::Value& member = known != nullptr ? value[Json::StaticString(known)] : *value.demand(begin, end);
            if (!Value(member, depth) || !Next('}', done))
                return false;
        }
        return true;
    }

    bool Array(Json::Value& value, int depth)
    {
        bool done;
        if (!Open(value, Json::arrayValue, ']', depth, done))
            return false;
        for (Json::ArrayIndex index = 0; !done; ++index) {
            if (!Value(value[index], depth) || !Next(']', done))
                return false;
        }
        return true;
    }

    // The string at the opening quote: [begin, end) are its bytes, the
    // text's own when it has no escape, else decoded into scratch_ (taken
    // by the caller before the next string is read).  Bytes other than
    // escapes are taken as they are, control characters and broken UTF-8
    // included, as jsoncpp does.
    bool String(const char*& begin, const char*& end)
    {
        const char* start = ++at_;
        while (at_ != end_ && *at_ != '"' && *at_ != '\\')
            ++at_;
        if (at_ == end_ || static_cast<size_t>(at_ - start) >= kLongestString)
            return false;
        if (*at_ == '"') {
            begin = start;
            end = at_++;
            return true;
        }
        scratch_.assign(start, at_);
        for (;;) {
            if (at_ == end_)
                return false;
            const char c = *at_++;
            if (c == '"')
                break;
            if (c != '\\') {
                scratch_.push_back(c);
                continue;
            }
            if (at_ == end_)
                return false;
            const char letter = *at_++;
            const char plain = UnescapeJson(letter);
            if (plain != 0)
                scratch_.push_back(plain);
            else if (letter != 'u' || !Unicode())
                return false;
        }
        if (scratch_.size() >= kLongestString)
            return false;
        begin = scratch_.data();
        end = begin + scratch_.size();
        return true;
    }

    // After "\u".  A high surrogate takes the next escape's low ten bits
    // whatever that escape is, and a lone low surrogate is encoded as it
    // stands: jsoncpp's reading, kept so that the values are the same.
    bool Unicode()
    {
        unsigned code;
        if (!Hex4(code))
            return false;
        if (code >= 0xD800 && code <= 0xDBFF) {
            unsigned low;
            if (end_ - at_ < 2 || at_[0] != '\\' || at_[1] != 'u')
                return false;
            at_ += 2;
            if (!Hex4(low))
                return false;
            code = 0x10000 + ((code & 0x3FF) << 10) + (low & 0x3FF);
        }
        AppendUtf8(scratch_, code);
        return true;
    }

    bool Hex4(unsigned& code)
    {
        if (end_ - at_ < 4 || !ReadHex4(at_, code))
            return false;
        at_ += 4;
        return true;
    }

    // A number as JSON writes it.  Integers of at most 18 digits are read
    // here (jsoncpp makes every one of them an Int64); a real with the C
    // library's conversion in the C locale, as jsoncpp's stream reads it
    // under the classic locale.
    bool Number(Json::Value& value)
    {
        const char* start = at_;
        const bool negative = *at_ == '-';
        if (negative)
            ++at_;
        const char* digits = at_;
        if (!Digits())
            return false;
        const size_t count = static_cast<size_t>(at_ - digits);
        bool integral = true;
        if (at_ != end_ && *at_ == '.') {
            ++at_;
            if (!Digits())
                return false;
            integral = false;
        }
        if (at_ != end_ && (*at_ == 'e' || *at_ == 'E')) {
            ++at_;
            if (at_ != end_ && (*at_ == '+' || *at_ == '-'))
                ++at_;
            if (!Digits())
                return false;
            integral = false;
        }
        if (integral) {
            if (count > kMostIntegerDigits)
                return false;
            Json::Value::LargestUInt integer = 0;
            for (const char* digit = digits; digit != at_; ++digit)
                integer = integer * 10 + static_cast<unsigned>(*digit - '0');
            const auto signedValue = static_cast<Json::Value::LargestInt>(integer);
            value = Json::Value(negative ? -signedValue : signedValue);
            return true;
        }
        const size_t length = static_cast<size_t>(at_ - start);
        if (length > kLongestNumber)
            return false;
        char text[kLongestNumber + 1];
        memcpy(text, start, length);
        text[length] = '\0';
        const double real = strtod_l(text, nullptr, CLocale());
        // jsoncpp's stream refuses a real beyond the largest double.
        if (std::isinf(real))
            return false;
        value = Json::Value(real);
        return true;
    }

    bool Digits()
    {
        const char* start = at_;
        while (at_ != end_ && IsDigit(*at_))
            ++at_;
        return at_ != start;
    }

    bool Literal(std::string_view word, Json::Value&& literal, Json::Value& value)
    {
        if (static_cast<size_t>(end_ - at_) < word.size() || memcmp(at_, word.data(), word.size()) != 0)
            return false;
        at_ += word.size();
        value = std::move(literal);
        return true;
    }

    void SkipBlanks()
    {
        while (at_ != end_ && IsBlank(*at_))
            ++at_;
    }

    const char* at_;
    const char* end_;
    const StaticNames* names_;
    const std::optional<JsonBounds> bounds_;
    size_t values_ = 1;  // the outermost value
    bool beyond_ = false;
    std::string scratch_;
};

std::string BeyondBounds(const JsonBounds& bounds)
{
    return "nested deeper than " + std::to_string(bounds.deepest) + " levels or more than " +
           std::to_string(bounds.mostValues) + " values";
}

}  // namespace

StaticNames::StaticNames(std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        const size_t length = strlen(name);
        if (length < kLongest)
            byLength_[length].push_back(name);
    }
}

const char* StaticNames::Find(const char* begin, size_t length) const
{
    if (length >= kLongest)
        return nullptr;
    for (const char* name : byLength_[length]) {
        if (memcmp(name, begin, length) == 0)
            return name;
    }
    return nullptr;
}

bool ReadPlainJson(std::string_view text, Json::Value& value, const StaticNames* names)
{
    if (CLocale() == static_cast<locale_t>(0))
        return false;
    return PlainReader(text.data(), text.data() + text.size(), names, std::nullopt).Document(value);
}

JsonReader::JsonReader(bool failIfExtra, const StaticNames* names, std::optional<JsonBounds> bounds)
    : failIfExtra_(failIfExtra), names_(names), bounds_(bounds)
{ }

JsonReader::~JsonReader() = default;

bool JsonReader::Parse(std::string_view text, Json::Value& value, std::string* errors)
{
    if (CLocale() != static_cast<locale_t>(0)) {
        PlainReader plain(text.data(), text.data() + text.size(), names_, bounds_);
        if (plain.Document(value)) {
            if (errors != nullptr)
                errors->clear();
            return true;
        }
        if (plain.beyond()) {
            if (errors != nullptr)
                *errors = BeyondBounds(*bounds_);
            return false;
        }
    }
    if (bounds_ && !JsonWithinBounds(text, bounds_->deepest, bounds_->mostValues)) {
        if (errors != nullptr)
            *errors = BeyondBounds(*bounds_);
        return false;
    }
    if (!fallback_) {
        Json::CharReaderBuilder builder;
        builder["collectComments"] = false;
        builder["failIfExtra"] = failIfExtra_;
        fallback_.reset(builder.newCharReader());
    }
    value = Json::Value();
    return fallback_->parse(text.data(), text.data() + text.size(), &value, errors);
}

}  // namespace base
