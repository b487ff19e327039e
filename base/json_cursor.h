// A cursor over JSON text, for the readers of small fixed forms (session
// files, generated rule files) that must not pay for a general JSON
// library, and a bound on what a general reader would build from a text.
//
// Every reader skips blanks first and returns false, leaving the cursor
// where it stopped, on anything it does not accept.
#ifndef ARX_BASE_JSON_CURSOR_H
#define ARX_BASE_JSON_CURSOR_H

#include <stddef.h>

#include <string>
#include <string_view>

namespace base {

class JsonCursor {
public:
    explicit JsonCursor(std::string_view text) : text_(text) {}

    // Takes c when it comes next.
    bool Take(char c);
    // Whether c comes next, without taking it.
    bool Peek(char c);
    // Whether nothing but blanks is left.
    bool AtEnd();

    enum class Escapes {
        kAll,        // every JSON escape; "\uXXXX" (with surrogate pairs) becomes UTF-8
        kNoUnicode,  // "\u" refused
    };
    // A string; control characters inside are refused, as JSON wants.
    bool String(std::string& out, Escapes escapes = Escapes::kAll);

    // An integer without fraction or exponent that fits a long long; no
    // leading zeros.
    bool Integer(long long& number);

private:
    void SkipBlanks();
    bool Hex4(unsigned& code);
    bool Escape(std::string& out, Escapes escapes);

    std::string_view text_;
    size_t at_ = 0;
};

// Whether a general JSON reader would build at most maxValues values,
// nested at most maxDepth deep, from text.  Counts structure outside
// strings only, so that a text can be refused before a reader allocates
// for it; says nothing about whether text is valid JSON.
bool JsonWithinBounds(std::string_view text, int maxDepth, size_t maxValues);

}  // namespace base

#endif
