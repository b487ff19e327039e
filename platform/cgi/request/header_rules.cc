#include "cgi/request/header_rules.h"

#include <string.h>

namespace vorn {

bool IsHttpToken(std::string_view text)
{
    if (text.empty())
        return false;
    for (unsigned char c : text) {
        const bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (!alnum && (c == '\0' || strchr("!#$%&'*+-.^_`|~", c) == nullptr))
            return false;
    }
    return true;
}

bool IsHeaderValue(std::string_view text)
{
    for (unsigned char c : text) {
        if ((c < 0x20 && c != '\t') || c == 0x7f)
            return false;
    }
    return true;
}

bool IsCookieValue(std::string_view text)
{
    for (unsigned char c : text) {
        if (c < 0x21 || c > 0x7e || c == '"' || c == ',' || c == ';' || c == '\\')
            return false;
    }
    return true;
}

bool IsCookieAttributeValue(std::string_view text)
{
    for (unsigned char c : text) {
        if (c < 0x20 || c > 0x7e || c == ';')
            return false;
    }
    return true;
}

}  // namespace vorn
