#include "flat_json.h"

#include <stdio.h>

namespace vorn {

namespace {

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    bool Object(FlatObject& object)
    {
        object.clear();
        if (!Take('{'))
            return false;
        if (Take('}'))
            return AtEnd();
        do {
            std::string name;
            FlatValue value;
            if (!String(name) || !Take(':') || !Value(value) || !object.emplace(name, value).second)
                return false;
        } while (Take(','));
        return Take('}') && AtEnd();
    }

private:
    void SkipBlanks()
    {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' ||
                                      text_[at_] == '\r'))
            ++at_;
    }

    bool Take(char c)
    {
        SkipBlanks();
        if (at_ < text_.size() && text_[at_] == c) {
            ++at_;
            return true;
        }
        return false;
    }

    bool AtEnd()
    {
        SkipBlanks();
        return at_ == text_.size();
    }

    bool Value(FlatValue& value)
    {
        SkipBlanks();
        if (at_ < text_.size() && text_[at_] == '"') {
            value.isString = true;
            return String(value.text);
        }
        return Number(value.number);
    }

    bool Number(long long& number)
    {
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

    bool Hex4(unsigned& code)
    {
        if (text_.size() - at_ < 4)
            return false;
        code = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = text_[at_++];
            const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10
                              : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (digit < 0)
                return false;
            code = code * 16 + static_cast<unsigned>(digit);
        }
        return true;
    }

    static void AppendUtf8(std::string& out, unsigned code)
    {
        if (code < 0x80) {
            out.push_back(static_cast<char>(code));
        } else if (code < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (code >> 6)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else if (code < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (code >> 12)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (code >> 18)));
            out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        }
    }

    bool Escape(std::string& out)
    {
        if (at_ >= text_.size())
            return false;
        const char c = text_[at_++];
        switch (c) {
        case '"': case '\\': case '/':
            out.push_back(c);
            return true;
        case 'b': out.push_back('\b'); return true;
        case 'f': out.push_back('\f'); return true;
        case 'n': out.push_back('\n'); return true;
        case 'r': out.push_back('\r'); return true;
        case 't': out.push_back('\t'); return true;
        case 'u':
            break;
        default:
            return false;
        }
        unsigned code;
        if (!Hex4(code) || (code >= 0xDC00 && code <= 0xDFFF))
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

    bool String(std::string& out)
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
            else if (!Escape(out))
                return false;
        }
        return false;
    }

    std::string_view text_;
    size_t at_ = 0;
};

void AppendString(std::string& out, const std::string& text)
{
    out.push_back('"');
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(c);
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            out += escaped;
        } else {
            out.push_back(c);
        }
    }
    out.push_back('"');
}

}  // namespace

bool ParseFlatObject(std::string_view text, FlatObject& object)
{
    return Parser(text).Object(object);
}

std::string WriteFlatObject(const FlatObject& object)
{
    std::string out = "{";
    for (const auto& [name, value] : object) {
        if (out.size() > 1)
            out.push_back(',');
        AppendString(out, name);
        out.push_back(':');
        if (value.isString)
            AppendString(out, value.text);
        else
            out += std::to_string(value.number);
    }
    out.push_back('}');
    return out;
}

bool FlatString(const FlatObject& object, const char* name, std::string& value)
{
    const auto found = object.find(name);
    if (found == object.end() || !found->second.isString)
        return false;
    value = found->second.text;
    return true;
}

bool FlatNumber(const FlatObject& object, const char* name, long long& value)
{
    const auto found = object.find(name);
    if (found == object.end() || found->second.isString)
        return false;
    value = found->second.number;
    return true;
}

}  // namespace vorn
