#include "cgi/request/url_codec.h"

#include "base/text.h"

namespace vorn {

namespace {

bool IsUnreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

}  // namespace

std::string DecodeURLComponent(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const int high = c == '%' && i + 2 < text.size() ? base::HexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? base::HexDigit(text[i + 2]) : -1;
        if (c == '+') {
            decoded.push_back(' ');
        } else if (low >= 0) {
            decoded.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            decoded.push_back(c);
        }
    }
    return decoded;
}

int ParseURLEncodedPairs(std::string_view line, ParamList& params)
{
    int kept = 0;
    while (!line.empty()) {
        const size_t amp = line.find('&');
        const std::string_view pair = line.substr(0, amp);
        line.remove_prefix(amp == std::string_view::npos ? line.size() : amp + 1);
        if (pair.empty())
            continue;
        const size_t equals = pair.find('=');
        std::string name = DecodeURLComponent(pair.substr(0, equals));
        std::string value =
            equals == std::string_view::npos ? std::string() : DecodeURLComponent(pair.substr(equals + 1));
        if (name.empty() || name.find('\0') != std::string::npos || value.find('\0') != std::string::npos)
            continue;
        if (params.Add(std::move(name), std::move(value)))
            ++kept;
    }
    return kept;
}

std::string EncodeURLComponent(std::string_view text)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size() * 3);
    for (unsigned char c : text) {
        if (IsUnreserved(c)) {
            encoded.push_back(static_cast<char>(c));
        } else {
            encoded.push_back('%');
            encoded.push_back(kHex[c >> 4]);
            encoded.push_back(kHex[c & 0x0f]);
        }
    }
    return encoded;
}

}  // namespace vorn
