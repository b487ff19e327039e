// LocalizedStringParser: the "strings" files of the web desktop's modules.
//
// A module keeps its texts in one directory per language ("texts/enu",
// "texts/ger", ...), each holding a file named "strings":
//
//   # comment
//   [section]
//   key = value
//   quoted = "  blanks kept inside the quotes  "
//
// A UTF-8 byte-order mark at the start of a line is skipped; lines are
// trimmed of space, tab, CR and LF; a section named again starts over; a
// later key of the same name wins; keys before the first section are
// dropped.  Texts come back with the product-name placeholders replaced
// (StringParser::ReplaceStringText).
//
// A file holding a NUL byte is not text: it is logged and read as empty.
// Bytes that are not UTF-8 become U+FFFD, so that every text is valid in a
// JSON document.
#ifndef ARX_LOCALIZED_STRING_PARSER_H
#define ARX_LOCALIZED_STRING_PARSER_H

#include <string>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace PAD {

class ARX_EXPORT LocalizedStringParser {
public:
    LocalizedStringParser();

    // Trims s in place: blanks at both ends, then one pair of enclosing
    // double quotes from what is left when it is at least two characters
    // long.  The first kept character; a null s is returned as it is.
    static char* TrimString(char* s);

    // Classifies one line in place.  All three results are set to null
    // first; then either section is set (a "[name]" line), or key and value
    // (a "key = value" line), or nothing (a comment, a blank or an
    // unrecognised line).  Does nothing when an argument is null.
    static void ParseLine(char* line, char** section, char** key, char** value);

    // The "strings" file of the language directory dir as an object of
    // sections, each an object of keys and texts; an empty object when the
    // file cannot be read or is not text.  The result is remembered under
    // the file's path, but looked up by dir: a second call with the same
    // directory reads the file again.
    Json::Value ParseTexts(std::string dir);

    // The text of key in section of dir's "strings" file, at most 1023
    // bytes (cut at a character boundary).  false when the file cannot be
    // read or is not text, or the section or key is missing (logged at
    // debug level).
    bool GetSectionKeyText(const std::string& dir, const std::string& section, const std::string& key,
                           std::string& text);

private:
    Json::Value parsed_;
};

}  // namespace PAD
}  // namespace VORN

#endif
