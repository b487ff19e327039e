#include "cgi/session/base64url.h"

namespace vorn {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int ValueOf(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '-')
        return 62;
    if (c == '_')
        return 63;
    return -1;
}

}  // namespace

std::string Base64UrlEncode(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() * 4 + 2) / 3);
    unsigned bits = 0;
    int count = 0;
    for (unsigned char byte : bytes) {
        bits = (bits << 8) | byte;
        count += 8;
        while (count >= 6) {
            count -= 6;
            text.push_back(kAlphabet[(bits >> count) & 0x3F]);
        }
    }
    if (count > 0)
        text.push_back(kAlphabet[(bits << (6 - count)) & 0x3F]);
    return text;
}

bool Base64UrlDecode(std::string_view text, std::string& bytes)
{
    if (text.size() % 4 == 1)
        return false;
    bytes.clear();
    bytes.reserve(text.size() * 3 / 4);
    unsigned bits = 0;
    int count = 0;
    for (char c : text) {
        const int value = ValueOf(c);
        if (value < 0)
            return false;
        bits = (bits << 6) | static_cast<unsigned>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<char>((bits >> count) & 0xFF));
        }
    }
    // The bits of the last character beyond the last whole byte must be zero.
    return (bits & ((1u << count) - 1)) == 0;
}

}  // namespace vorn
