// Strings files read from a descriptor the caller opened.  A caller that
// decides which files may be read (the desktop's parser keeps a package's
// strings inside the web root) checks the file it opened, not a path that
// can change between the check and the open, and hands the descriptor here.
#ifndef ARX_STRINGS_STRINGS_READ_H
#define ARX_STRINGS_STRINGS_READ_H

#include <sys/stat.h>

#include <string>
#include <string_view>

#include <json/value.h>

namespace arx::strings {

enum class StringsRead { kText, kUnreadable, kRefused };

// Reads the open regular file fd, whose status is st, as valid UTF-8 text
// into content.  One that is not text or too large is logged under path
// (kRefused); a read that fails is no event (kUnreadable).
StringsRead ReadStrings(int fd, const struct stat& st, const std::string& path, std::string& content);

// The sections of content (as ReadStrings gives it), each an object of
// keys and texts, the placeholders replaced.
Json::Value StringsSections(std::string_view content);

// The text of key in section of content, at most 1023 bytes (cut at a
// character boundary), the placeholders replaced; false when the section
// or key is missing (logged at debug level under path).
bool StringsText(std::string_view content, const std::string& path, const std::string& section, const std::string& key,
                 std::string& text);

}  // namespace arx::strings

#endif
