// Line, blank and digit helpers of the text formats.
#ifndef ARX_BASE_TEXT_H
#define ARX_BASE_TEXT_H

#include <string_view>

namespace base {

// Removes blanks (space, tab, CR, LF) at both ends.
std::string_view TrimBlanks(std::string_view text);

// Whether c is a blank: space, tab, CR or LF.
inline bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The value of a hexadecimal digit (either case), or -1.
int HexDigit(char c);

// Removes one pair of enclosing double quotes from a text of at least two
// characters; other texts are returned unchanged.
std::string_view Unquote(std::string_view text);

// Calls visit(line) for every line of text, split at '\n'; a last line
// without '\n' counts too.  Stops early when visit returns false.
template <typename Visit> void ForEachLine(std::string_view text, Visit visit)
{
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (!visit(line))
            return;
        if (end == std::string_view::npos)
            return;
        text.remove_prefix(end + 1);
    }
}

}  // namespace base

#endif
