// Reading JSON text into jsoncpp values.
//
// jsoncpp's reader passes over every token twice (once to find its end,
// once to decode it), keeps a stack of the values it fills, and copies each
// member name into a string before the object copies it again; for the
// module configs of a desktop it cost more than opening and reading the
// files.  Plain JSON is read here in one pass, straight into the values.
// Anything else (comments, text after the document, trailing commas, a
// syntax error, a number whose type depends on jsoncpp's rules for large
// values) is handed whole to jsoncpp's reader, so that what is accepted, the
// values built and the error messages stay exactly jsoncpp's.
#ifndef ARX_BASE_JSON_READ_H
#define ARX_BASE_JSON_READ_H

#include <stddef.h>

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <json/reader.h>
#include <json/value.h>

namespace base {

// Member names kept without a copy of their own: texts of static storage
// that every value the reader builds (and every copy of it) points to, so
// that no name of the set is allocated, copied or freed per member.  For
// documents whose names mostly come from a known set, such as module
// configs, where the names are half of what is allocated.
class StaticNames {
public:
    // names: texts of static storage, each shorter than kLongest bytes.
    explicit StaticNames(std::initializer_list<const char*> names);
    // The text of the set equal to the bytes [begin, begin + length), or
    // nullptr.
    const char* Find(const char* begin, size_t length) const;

    static constexpr size_t kLongest = 32;

private:
    std::vector<const char*> byLength_[kLongest];
};

// Reads text when it is one plain JSON document (blanks around it allowed,
// nesting at most kDeepestPlainJson): value then equals what jsoncpp's
// reader builds from it, offsets within the text aside (they are not set).
// False when the text is anything else; value is then unspecified.  Member
// names found in names (when given) are kept without a copy.
bool ReadPlainJson(std::string_view text, Json::Value& value, const StaticNames* names = nullptr);

constexpr int kDeepestPlainJson = 256;

// How much a reader may build: values nested at most deepest levels, at
// most mostValues of them, counted as JsonWithinBounds counts them.  A
// document that an installed package or a client controls is held to such
// bounds before jsoncpp, which recurses per level, sees it.
struct JsonBounds {
    int deepest;
    size_t mostValues;
};

// A reader with jsoncpp's default settings, comments not kept.  Not for
// two threads at once.
class JsonReader {
public:
    // failIfExtra: whether text after the document is an error, as
    // jsoncpp's setting of that name.  names (when given, and outliving the
    // reader): member names kept without a copy in plain documents.
    // bounds (when given): a text beyond them is refused before jsoncpp
    // reads it; a plain document is counted as it is read.
    explicit JsonReader(bool failIfExtra = false, const StaticNames* names = nullptr,
                        std::optional<JsonBounds> bounds = std::nullopt);
    ~JsonReader();
    JsonReader(const JsonReader&) = delete;
    JsonReader& operator=(const JsonReader&) = delete;

    // Replaces value with the document of text.  False, with jsoncpp's
    // formatted messages in errors (when given), when jsoncpp refuses the
    // text (or with "nested deeper than D levels or more than V values"
    // when it is beyond the bounds); value is then unspecified.  Throws what jsoncpp's reader throws
    // (Json::RuntimeError past its depth limit of 1000, std::bad_alloc).
    bool Parse(std::string_view text, Json::Value& value, std::string* errors = nullptr);

private:
    std::unique_ptr<Json::CharReader> fallback_;  // made on first need
    bool failIfExtra_;
    const StaticNames* names_;
    std::optional<JsonBounds> bounds_;
};

}  // namespace base

#endif
