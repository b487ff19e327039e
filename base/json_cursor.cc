#include "base/json_cursor.h"

#include "base/json_string.h"
#include "base/text.h"

namespace base {

void JsonCursor::SkipBlanks()
{
    while (at_ < text_.size() && IsBlank(text_[at_]))
        ++at_;
}

bool JsonCursor::Peek(char c)
{
    SkipBlanks();
    return at_ < text_.size() && text_[at_] == c;
}

bool JsonCursor::Take(char c)
{
    if (!Peek(c))
        return false;
    ++at_;
    return true;
}

bool JsonCursor::AtEnd()
{
    SkipBlanks();
    return at_ == text_.size();
}

bool JsonCursor::Hex4(unsigned& code)
{
    if (text_.size() - at_ < 4)
        return false;
    if (!ReadHex4(text_.data() + at_, code))
        return false;
    at_ += 4;
    return true;
}

bool JsonCursor::Escape(std::string& out, Escapes escapes)
{
    if (at_ >= text_.size())
        return false;
    const char c = text_[at_++];
    if (c != 'u') {
        const char plain = UnescapeJson(c);
        if (plain == 0)
            return false;
        out.push_back(plain);
        return true;
    }
    unsigned code;
    if (escapes == Escapes::kNoUnicode || !Hex4(code) || (code >= 0xDC00 && code <= 0xDFFF))
        return false;
    if (code >= 0xD800 && code <= 0xDBFF) {
        unsigned low;
        if (text_.substr(at_, 2) != "\\u" || (at_ += 2, !Hex4(low)) || low < 0xDC00 || low > 0xDFFF)
            return false;
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    AppendUtf8(out, code);
    return true;
}

bool JsonCursor::String(std::string& out, Escapes escapes)
{
    out.clear();
    if (!Take('"'))
        return false;
    while (at_ < text_.size()) {
        const char c = text_[at_++];
        if (c == '"')
            return true;
        if (static_cast<unsigned char>(c) < 0x20)
            return false;
        if (c != '\\')
            out.push_back(c);
        else if (!Escape(out, escapes))
            return false;
    }
    return false;
}

bool JsonCursor::Integer(long long& number)
{
    SkipBlanks();
    const bool negative = at_ < text_.size() && text_[at_] == '-';
    if (negative)
        ++at_;
    const size_t start = at_;
    unsigned long long magnitude = 0;
    while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') {
        if (magnitude > 922337203685477580ULL)
            return false;
        magnitude = magnitude * 10 + static_cast<unsigned>(text_[at_++] - '0');
    }
    const size_t digits = at_ - start;
    if (digits == 0 || (digits > 1 && text_[start] == '0') || magnitude > 9223372036854775807ULL)
        return false;
    number = negative ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
    return true;
}

bool JsonWithinBounds(std::string_view text, int maxDepth, size_t maxValues)
{
    int depth = 0;
    size_t values = 1;  // the outermost value
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
            continue;
        }
        switch (c) {
        case '"':
            inString = true;
            break;
        case '[':
        case '{':
            if (++depth > maxDepth)
                return false;
            ++values;  // an element or member, unless the container is empty
            break;
        case ']':
        case '}':
            --depth;
            break;
        case ',':
            ++values;
            break;
        default:
            break;
        }
        if (values > maxValues)
            return false;
    }
    return true;
}

}  // namespace base
