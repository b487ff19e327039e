// Failed-login blocking.  The root's /run/vorn/autoblock/ holds one JSON
// record per client address and one per account name: the times of the
// attempts within login_attempt_window and, once login_max_attempts of
// them failed, the time the address or account is blocked until.  An
// attempt is counted, and admitted or refused, under the records' lock
// before its password is checked, so parallel attempts cannot exceed the
// limit; its outcome is told afterwards.
#ifndef VORN_PLATFORM_AUTOBLOCK_H
#define VORN_PLATFORM_AUTOBLOCK_H

#include <string>

#include "cgi/session/session_settings.h"

namespace vorn {

// The records one login attempt counts in.
struct BlockingRecords {
    std::string address;  // the address's record ("" when not counted by address)
    std::string account;  // the account's record ("" when not counted by account)
    std::string name;     // the account name as given, for the log
    long long at = 0;     // when the attempt was counted (its mark in the records)
    bool counted = false;
};

// The record of a client address in canonical form: IPv4 addresses one by
// one, IPv6 addresses by their /64 (one client gets a whole /64).  "" for
// anything else: such clients are counted by account only, never in one
// record that would block them all.
std::string AddressRecord(const std::string& address);

// The record of an account name as a login gives it (ASCII case folded,
// since a login folds it): the same whether or not the account exists, and
// a safe file name whatever the name holds.
std::string AccountRecord(const std::string& name);

enum class Admission { kAdmitted, kBlocked, kError };

// Under the records' lock: kBlocked when either record is blocked or holds
// login_max_attempts attempts within the window; otherwise counts this
// attempt in both.  kError (logged) when the records cannot be kept: no
// password may be tried then.
Admission AdmitAttempt(BlockingRecords& records, const SessionSettings& settings);

enum class AttemptOutcome {
    kFailed,     // counts; blocks a record that reached the limit
    kSucceeded,  // clears the account's record, uncounts this attempt from the address's
    kUncounted,  // a system error, or a one-time code asked for: uncounts this attempt
};
void ConcludeAttempt(const BlockingRecords& records, AttemptOutcome outcome, const SessionSettings& settings);

// A name a client gave as a log line may hold it: printable ASCII, at most
// 64 characters.
std::string LoggableName(const std::string& name);

// Removes records with nothing left to remember, at most every few minutes.
void SweepAutoblockWhenDue(const SessionSettings& settings, long long now);

}  // namespace vorn

#endif
