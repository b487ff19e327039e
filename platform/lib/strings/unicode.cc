// Case-insensitive comparison of UTF-8 texts.

#include <stdlib.h>
#include <string.h>
#include <sys/types.h>

#include <string>

#include <vorn/unicode.h>

#include "lib/core/libraries.h"

namespace {

// utf8proc_map and its options (utf8proc.h), by value: the library is
// loaded on first use and its header is not needed.
using MapFunction = ssize_t (*)(const unsigned char* text, ssize_t length, unsigned char** out, int options);
constexpr int kStable = 1 << 1;
constexpr int kCompose = 1 << 3;
constexpr int kCaseFold = 1 << 10;

bool IsAscii(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (static_cast<unsigned char>(*text) >= 0x80)
            return false;
    }
    return true;
}

unsigned char LowerAscii(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

std::string AsciiLowered(const char* text)
{
    std::string out(text);
    for (char& c : out)
        c = static_cast<char>(LowerAscii(static_cast<unsigned char>(c)));
    return out;
}

// What a text compares as: normalised (form C) and case-folded; a text
// that is not UTF-8, or any text when the library is missing, with its
// ASCII letters lowered.  Each text has exactly one key, so the order is
// total.
std::string KeyOf(const char* text)
{
    static const MapFunction map = vorn::LibUtf8proc().Find<MapFunction>("utf8proc_map");
    if (map == nullptr)
        return AsciiLowered(text);
    unsigned char* folded = nullptr;
    const ssize_t length = map(reinterpret_cast<const unsigned char*>(text), static_cast<ssize_t>(strlen(text)),
                               &folded, kStable | kCompose | kCaseFold);
    if (length < 0 || folded == nullptr) {
        free(folded);
        return AsciiLowered(text);
    }
    std::string key(reinterpret_cast<const char*>(folded), static_cast<size_t>(length));
    free(folded);
    return key;
}

int Sign(int value)
{
    return (value > 0) - (value < 0);
}

}  // namespace

extern "C" int VLIBCUnicodeUTF8StrCaseCmp(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    // Two ASCII texts fold to lower case, whatever the library says.  Any
    // other byte anywhere sends both through the library: composing a
    // combining mark can turn an ASCII letter before it into another one.
    const unsigned char* x = reinterpret_cast<const unsigned char*>(a);
    const unsigned char* y = reinterpret_cast<const unsigned char*>(b);
    for (;; ++x, ++y) {
        if ((*x | *y) >= 0x80)
            break;
        const unsigned char lx = LowerAscii(*x);
        const unsigned char ly = LowerAscii(*y);
        if (lx == '\0' && ly == '\0')
            return 0;
        if (lx != ly) {
            if (IsAscii(reinterpret_cast<const char*>(x)) && IsAscii(reinterpret_cast<const char*>(y)))
                return lx < ly ? -1 : 1;
            break;
        }
    }
    try {
        return Sign(KeyOf(a).compare(KeyOf(b)));
    } catch (...) {
        return Sign(strcmp(a, b));
    }
}
