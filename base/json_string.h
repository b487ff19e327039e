// The pieces of a JSON string's escapes that both of the base's readers
// (the cursor and the one-pass reader) decode.
#ifndef ARX_BASE_JSON_STRING_H
#define ARX_BASE_JSON_STRING_H

#include <string>

namespace base {

// The character a one-letter escape stands for ('n' for a newline, '"',
// '/' ...); 0 for 'u' and for letters that are no escape.
char UnescapeJson(char letter);

// The value of four hexadecimal digits at text (which holds at least four
// bytes); false when one is not a digit.
bool ReadHex4(const char* text, unsigned& code);

// Appends the UTF-8 bytes of a code point below 0x110000 (surrogates are
// encoded as they stand).
void AppendUtf8(std::string& out, unsigned code);

}  // namespace base

#endif
