#include "base/json_text.h"

#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <stdint.h>
#include <string.h>

#include <charconv>
#include <stdexcept>

#include "base/file_write.h"

namespace base {

namespace {

// Where the text goes: a string, or a file through a buffer.
class StringOutput {
public:
    explicit StringOutput(std::string& out) : out_(out) { }
    void Put(char c) { out_.push_back(c); }
    void Put(const char* text, size_t size) { out_.append(text, size); }

private:
    std::string& out_;
};

class FileOutput {
public:
    explicit FileOutput(int fd) : fd_(fd) { }
    void Put(char c)
    {
        if (used_ == sizeof buffer_)
            Flush();
        buffer_[used_++] = c;
    }
    void Put(const char* text, size_t size)
    {
        if (size > sizeof buffer_ - used_) {
            Flush();
            if (size > sizeof buffer_) {
                Write(std::string_view(text, size));
                return;
            }
        }
        if (size != 0)  // text may be null then
            memcpy(buffer_ + used_, text, size);
        used_ += size;
    }
    // Whether every byte put has reached the file.
    bool Flush()
    {
        Write(std::string_view(buffer_, used_));
        used_ = 0;
        return ok_;
    }

private:
    void Write(std::string_view text)
    {
        if (ok_ && !WriteAll(fd_, text)) {
            ok_ = false;
            error_ = errno;
        }
        errno = ok_ ? errno : error_;
    }

    int fd_;
    bool ok_ = true;
    int error_ = 0;
    size_t used_ = 0;
    char buffer_[16384];
};

// Whether any of the eight bytes at at needs more than a copy: a control
// character, a quote, a backslash or a byte of a multibyte character.
bool NeedsEscape(const char* at)
{
    constexpr uint64_t kOnes = 0x0101010101010101;
    constexpr uint64_t kHighs = 0x8080808080808080;
    uint64_t bytes;
    memcpy(&bytes, at, sizeof bytes);
    const auto hasZero = [](uint64_t v) { return (v - kOnes) & ~v & kHighs; };
    const uint64_t below0x20 = (bytes - kOnes * 0x20) & ~bytes & kHighs;
    return ((bytes & kHighs) | below0x20 | hasZero(bytes ^ (kOnes * '"')) | hasZero(bytes ^ (kOnes * '\\'))) != 0;
}

// The code point of the UTF-8 sequence at at, which is moved to its last
// byte; U+FFFD for a sequence cut short, overlong or a surrogate, read as
// jsoncpp's own writer reads it (continuation bytes are not checked).
unsigned DecodeUtf8(const char*& at, const char* end)
{
    constexpr unsigned kReplacement = 0xFFFD;
    const auto byte = [&at](int i) { return static_cast<unsigned>(static_cast<unsigned char>(at[i])); };
    const unsigned first = byte(0);
    if (first < 0xE0) {
        if (end - at < 2)
            return kReplacement;
        const unsigned code = ((first & 0x1F) << 6) | (byte(1) & 0x3F);
        at += 1;
        return code < 0x80 ? kReplacement : code;
    }
    if (first < 0xF0) {
        if (end - at < 3)
            return kReplacement;
        const unsigned code = ((first & 0x0F) << 12) | ((byte(1) & 0x3F) << 6) | (byte(2) & 0x3F);
        at += 2;
        return code < 0x800 || (code >= 0xD800 && code <= 0xDFFF) ? kReplacement : code;
    }
    if (first < 0xF8) {
        if (end - at < 4)
            return kReplacement;
        const unsigned code =
            ((first & 0x07) << 18) | ((byte(1) & 0x3F) << 12) | ((byte(2) & 0x3F) << 6) | (byte(3) & 0x3F);
        at += 3;
        return code < 0x10000 ? kReplacement : code;
    }
    return kReplacement;
}

template <typename Output> void PutUnicodeEscape(unsigned code, Output& out)
{
    static constexpr char kHex[] = "0123456789abcdef";
    const char escaped[] = {
        '\\', 'u', kHex[(code >> 12) & 0xF], kHex[(code >> 8) & 0xF], kHex[(code >> 4) & 0xF], kHex[code & 0xF]};
    out.Put(escaped, sizeof escaped);
}

template <typename Output> void PutQuoted(const char* begin, const char* end, Output& out)
{
    out.Put('"');
    const char* run = begin;
    for (const char* at = begin; at != end; ++at) {
        // Plain text, the most of any document, is passed over eight bytes
        // at a time.
        while (end - at >= 8 && !NeedsEscape(at))
            at += 8;
        if (at == end)
            break;
        const unsigned char c = static_cast<unsigned char>(*at);
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\')
            continue;
        out.Put(run, static_cast<size_t>(at - run));
        switch (c) {
        case '"': out.Put("\\\"", 2); break;
        case '\\': out.Put("\\\\", 2); break;
        case '\b': out.Put("\\b", 2); break;
        case '\f': out.Put("\\f", 2); break;
        case '\n': out.Put("\\n", 2); break;
        case '\r': out.Put("\\r", 2); break;
        case '\t': out.Put("\\t", 2); break;
        default:
            if (c < 0x80) {
                PutUnicodeEscape(c, out);
                break;
            }
            // Non-ASCII text is written as escapes, so that the file is
            // ASCII whatever its strings hold.
            const unsigned code = DecodeUtf8(at, end);
            if (code < 0x10000) {
                PutUnicodeEscape(code, out);
            } else {
                PutUnicodeEscape(0xD800 + (((code - 0x10000) >> 10) & 0x3FF), out);
                PutUnicodeEscape(0xDC00 + ((code - 0x10000) & 0x3FF), out);
            }
        }
        run = at + 1;
    }
    out.Put(run, static_cast<size_t>(end - run));
    out.Put('"');
}

template <typename Number, typename Output> void PutInteger(Number number, Output& out)
{
    char digits[24];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    out.Put(digits, static_cast<size_t>(end.ptr - digits));
}

template <typename Output> void PutReal(double number, Output& out)
{
    if (isnan(number)) {
        out.Put("null", 4);
        return;
    }
    if (isinf(number)) {
        out.Put(number < 0 ? "-1e+9999" : "1e+9999", number < 0 ? 8 : 7);
        return;
    }
    char digits[40];
    const int length = snprintf(digits, sizeof digits, "%.17g", number);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof digits)
        return;  // cannot happen for a finite double
    bool real = false;
    for (int i = 0; i < length; ++i) {
        if (digits[i] == ',')
            digits[i] = '.';  // whatever the locale
        real = real || digits[i] == '.' || digits[i] == 'e';
    }
    out.Put(digits, static_cast<size_t>(length));
    if (!real)
        out.Put(".0", 2);  // so that it reads back as a real, as it was
}

template <typename Output> void Put(const Json::Value& value, Output& out, int depth)
{
    switch (value.type()) {
    case Json::nullValue: out.Put("null", 4); return;
    case Json::intValue: PutInteger(value.asLargestInt(), out); return;
    case Json::uintValue: PutInteger(value.asLargestUInt(), out); return;
    case Json::realValue: PutReal(value.asDouble(), out); return;
    case Json::booleanValue: value.asBool() ? out.Put("true", 4) : out.Put("false", 5); return;
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        if (value.getString(&begin, &end))
            PutQuoted(begin, end, out);
        else
            out.Put("\"\"", 2);
        return;
    }
    case Json::arrayValue:
    case Json::objectValue: break;
    }
    if (depth >= kMaxJsonDepth)
        throw std::length_error("JSON value nested too deep");
    const bool object = value.type() == Json::objectValue;
    out.Put(object ? '{' : '[');
    bool first = true;
    const Json::Value::const_iterator end = value.end();
    for (Json::Value::const_iterator member = value.begin(); member != end; ++member) {
        if (!first)
            out.Put(',');
        first = false;
        if (object) {
            const char* nameEnd = nullptr;
            const char* name = member.memberName(&nameEnd);
            PutQuoted(name, nameEnd, out);
            out.Put(':');
        }
        Put(*member, out, depth + 1);
    }
    out.Put(object ? '}' : ']');
}

}  // namespace

void AppendCompactJson(const Json::Value& value, std::string& out)
{
    StringOutput output(out);
    Put(value, output, 0);
}

bool WriteCompactJson(const Json::Value& value, int fd, std::string_view suffix)
{
    FileOutput output(fd);
    try {
        Put(value, output, 0);
    } catch (const std::length_error&) {
        errno = ELOOP;
        return false;
    }
    output.Put(suffix.data(), suffix.size());
    return output.Flush();
}

}  // namespace base
