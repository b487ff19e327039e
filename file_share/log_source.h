// The source name that begins every log line of the file-share checks.
#ifndef ARX_FILE_SHARE_LOG_SOURCE_H
#define ARX_FILE_SHARE_LOG_SOURCE_H

namespace arx::file_share {
inline constexpr char kFileShareLogSource[] = "file_share";
}  // namespace arx::file_share

#endif
