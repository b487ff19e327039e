// StringParser: text replacement, and the product's own names in UI text.
#ifndef ARX_STRING_PARSER_H
#define ARX_STRING_PARSER_H

#include <string>

#include <arx/export.h>

namespace VORN {
namespace PAD {

class ARX_EXPORT StringParser {
public:
    // Every occurrence of from in text replaced by to, left to right without
    // overlap; the search goes on after each inserted text, so a replacement
    // that contains from is not replaced again ("aaa", "aa" -> "b": "ba").
    // An empty from inserts to before every character and at the end.
    static std::string ReplaceString(const std::string& text, const std::string& from, const std::string& to);

    // text with the placeholders "_HARBOR_" and "%HARBOR%" replaced by the
    // product name, "_OSNAME_" and "%OSNAME%" by the OS name.  The names are
    // the keys "product" and "os_name" of the factory defaults ("Harbor" and
    // "ARX" when missing), read once per process.
    static std::string ReplaceStringText(const std::string& text);
};

}  // namespace PAD
}  // namespace VORN

#endif
