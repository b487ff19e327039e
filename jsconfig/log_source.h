// The source name that begins every log line of the desktop configuration.
#ifndef ARX_JSCONFIG_LOG_SOURCE_H
#define ARX_JSCONFIG_LOG_SOURCE_H

namespace arx::jsconfig {
inline constexpr char kJSConfigParserLogSource[] = "JSConfigParser";
}  // namespace arx::jsconfig

#endif
