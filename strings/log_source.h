// The source name that begins every log line of the strings-file parser.
#ifndef ARX_STRINGS_LOG_SOURCE_H
#define ARX_STRINGS_LOG_SOURCE_H

namespace arx::strings {
inline constexpr char kLocalizedStringParserLogSource[] = "LocalizedStringParser";
}  // namespace arx::strings

#endif
