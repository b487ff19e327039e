// The configuration keys of sessions, logins and blocking, read once.
#ifndef VORN_PLATFORM_SESSION_SETTINGS_H
#define VORN_PLATFORM_SESSION_SETTINGS_H

#include <string>

namespace vorn {

struct SessionSettings {
    long long timeoutSeconds = 15 * 60;       // session_timeout (minutes)
    bool checkIp = true;                      // session_check_ip
    bool tokenEnable = true;                  // token_enable
    int maxAttempts = 10;                     // login_max_attempts (0: never block)
    long long attemptWindowSeconds = 5 * 60;  // login_attempt_window (minutes)
    long long blockSeconds = 30 * 60;         // login_block_minutes
    std::string language = "enu";             // language
};

// From the root's configuration files; a value that is missing or not
// usable keeps its default.
SessionSettings LoadSessionSettings();

}  // namespace vorn

#endif
