// The session store: one JSON file per session in the root's
// /run/vorn/session/, named by the session id, mode 0600.  Readers take no
// lock (files are replaced by rename); writers hold the store's lock file
// "/run/vorn/session/.lock" while they read, change and replace a file.
#ifndef VORN_PLATFORM_SESSION_STORE_H
#define VORN_PLATFORM_SESSION_STORE_H

#include <functional>
#include <string>

namespace vorn {

struct Session {
    std::string id;        // the file name; not stored in the file
    std::string user;
    long long uid = -1;
    long long gid = -1;
    std::string address;   // the client address at login
    std::string language;  // "" when none was chosen
    long long created = 0;
    long long lastAccess = 0;
    std::string token;
    bool ended = false;    // ended for its user: kept as a marker
    long long endedAt = 0;
};

enum class SessionState { kLive, kEnded, kExpired };

// A session is expired once it has been idle for the timeout; an ended one
// stays a marker until then.
SessionState StateOf(const Session& session, long long now, long long timeoutSeconds);

std::string SessionDir();
std::string SessionPath(const std::string& id);
std::string SessionLockPath();

// Reads the session named id.  An id that is not of the session-id form is
// refused before any file is touched.  false when missing or unreadable.
bool ReadSession(const std::string& id, Session& session);

// Stores a new session: fills in a fresh id and token and writes the file.
// false (logged) on failure.
bool CreateSession(Session& session);

// Under the store lock: reads the session again, lets change edit it, and
// writes it back when change returns true.  false when the session is gone
// or cannot be written.
bool UpdateSession(const std::string& id, const std::function<bool(Session&)>& change);

// Removes the session's file under the store lock; false (logged) when
// the lock cannot be taken, and then nothing is removed.
bool DeleteSession(const std::string& id);

// Calls visit for every readable session file.
void ForEachSession(const std::function<void(const Session&)>& visit);

// Ends every live session that match accepts; how many, or -1 when the
// store cannot be locked.
int EndSessions(long long now, long long timeoutSeconds, const std::function<bool(const Session&)>& match);

// Removes expired sessions, markers whose time is up, and temporary files
// that a crashed writer left.
void SweepSessions(long long now, long long timeoutSeconds);

// SweepSessions when the last sweep is a few minutes ago.
void SweepSessionsWhenDue(long long now, long long timeoutSeconds);

// What a session filter sees of a session, as a JSON object: everything
// but the token.
std::string PublicView(const Session& session);

}  // namespace vorn

#endif
