// The source name that begins every log line of the request context.
#ifndef ARX_WEBMAN_LOG_SOURCE_H
#define ARX_WEBMAN_LOG_SOURCE_H

namespace arx::webman {
inline constexpr char kWebManLogSource[] = "webman";
}  // namespace arx::webman

#endif
