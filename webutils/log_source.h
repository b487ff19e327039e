// The source name that begins every log line of the web utilities.
#ifndef ARX_WEBUTILS_LOG_SOURCE_H
#define ARX_WEBUTILS_LOG_SOURCE_H

namespace arx::webutils {
inline constexpr char kWebUtilsLogSource[] = "webutils";
}  // namespace arx::webutils

#endif
