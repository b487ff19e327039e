// Failed-login blocking: one JSON file per client address in the root's
// /run/vorn/autoblock/ holds the times of recent failures and, once there
// were login_max_attempts of them within login_attempt_window, the time the
// address is blocked until.  Writers hold "/run/vorn/autoblock/.lock".
#ifndef VORN_PLATFORM_AUTOBLOCK_H
#define VORN_PLATFORM_AUTOBLOCK_H

#include <string>

#include "cgi/session/session_settings.h"

namespace vorn {

bool IsBlocked(const std::string& address, const SessionSettings& settings, long long now);

// Counts one failure; blocks the address when it was the last one allowed.
void RecordFailure(const std::string& address, const SessionSettings& settings, long long now);

// A successful login forgets the address's failures.
void ClearFailures(const std::string& address);

// Removes records with nothing left to remember.
void SweepAutoblock(const SessionSettings& settings, long long now);

}  // namespace vorn

#endif
