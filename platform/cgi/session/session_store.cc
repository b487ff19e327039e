#include "cgi/session/session_store.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/session.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/lock_file.h"
#include "base/root_moment.h"
#include "cgi/session/flat_json.h"
#include "cgi/session/session_id.h"
#include "cgi/session/sweep_stamp.h"

namespace vorn {

namespace {

constexpr mode_t kSessionFileMode = 0600;
constexpr long long kStrayFileAge = 60;  // a writer's temporary file is older than any write
constexpr int kCreateAttempts = 3;

FlatValue Text(const std::string& text)
{
    FlatValue value;
    value.isString = true;
    value.text = text;
    return value;
}

FlatValue Number(long long number)
{
    FlatValue value;
    value.number = number;
    return value;
}

// Everything but the id (the file's name) and the token.
FlatObject Fields(const Session& session)
{
    return FlatObject{{"user", Text(session.user)},
                      {"uid", Number(session.uid)},
                      {"gid", Number(session.gid)},
                      {"address", Text(session.address)},
                      {"language", Text(session.language)},
                      {"created", Number(session.created)},
                      {"last_access", Number(session.lastAccess)}};
}

std::string ToJson(const Session& session)
{
    FlatObject object = Fields(session);
    object["token"] = Text(session.token);
    object["state"] = Text(session.ended ? "ended" : "live");
    if (session.ended)
        object["ended_at"] = Number(session.endedAt);
    return WriteFlatObject(object) + "\n";
}

bool FromJson(const std::string& text, Session& session)
{
    FlatObject object;
    std::string state;
    if (!ParseFlatObject(text, object) || !FlatString(object, "user", session.user) ||
        !FlatNumber(object, "uid", session.uid) || !FlatNumber(object, "gid", session.gid) ||
        !FlatString(object, "address", session.address) || !FlatString(object, "language", session.language) ||
        !FlatNumber(object, "created", session.created) || !FlatNumber(object, "last_access", session.lastAccess) ||
        !FlatString(object, "token", session.token) || !FlatString(object, "state", state) ||
        session.user.empty() || session.token.empty())
        return false;
    session.ended = state == "ended";
    session.endedAt = 0;
    return !session.ended || FlatNumber(object, "ended_at", session.endedAt);
}

// Reads a session file.  Only root may read the store; a process that
// switched its effective uid to the session's user (its saved uid is root)
// reads as root for the moment and comes back.
bool ReadSessionFile(const std::string& path, std::string& text, struct stat& version)
{
    if (base::ReadWholeFile(path.c_str(), text, &version, base::Links::kRefuse))
        return true;
    const uid_t euid = geteuid();
    if (errno != EACCES || euid == 0)
        return false;
    base::RootMoment root;
    if (!root.ok())
        return false;
    const bool read = base::ReadWholeFile(path.c_str(), text, &version, base::Links::kRefuse);
    const int error = errno;
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "session_store:%d cannot return to uid %u: %m", __LINE__,
                 static_cast<unsigned>(euid));
    errno = error;
    return read;
}

bool IsStoreFile(const std::string& name)
{
    return name == ".lock" || name == ".swept";
}

}  // namespace

SessionState StateOf(const Session& session, long long now, long long timeoutSeconds)
{
    if (now - session.lastAccess >= timeoutSeconds)
        return SessionState::kExpired;
    return session.ended ? SessionState::kEnded : SessionState::kLive;
}

std::string SessionDir()
{
    return VORNRootPathString(VORN_SESSION_DIR);
}

std::string SessionPath(const std::string& id)
{
    return SessionDir() + "/" + id;
}

std::string SessionLockPath()
{
    return SessionDir() + "/.lock";
}

bool ReadSession(const std::string& id, Session& session)
{
    if (!IsSessionId(id))
        return false;
    // A request asks for its session several times (the check, then each
    // id the identity switch needs): parsed once per version of the file.
    static struct {
        struct stat version;
        Session session;
    } last;
    const std::string path = SessionPath(id);
    struct stat version;
    if (last.session.id == id && stat(path.c_str(), &version) == 0 && base::SameVersion(version, last.version)) {
        session = last.session;
        return true;
    }
    std::string text;
    if (!ReadSessionFile(path, text, version))
        return false;
    session = Session();
    if (!FromJson(text, session)) {
        VLIBCLog(LOG_ERR, "session_store:%d session file %s is damaged", __LINE__, id.c_str());
        return false;
    }
    session.id = id;
    last.version = version;
    last.session = session;
    return true;
}

bool CreateSession(Session& session)
{
    if (!base::MakePrivateDirectory(SessionDir())) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot create %s: %m", __LINE__, SessionDir().c_str());
        return false;
    }
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        if (!NewRandomId(session.id) || !NewRandomId(session.token))
            return false;
        const int written = base::CreateFileExclusively(SessionPath(session.id), ToJson(session), kSessionFileMode);
        if (written == 1)
            return true;
        if (written < 0) {
            VLIBCLog(LOG_ERR, "session_store:%d cannot write a session file: %m", __LINE__);
            return false;
        }
    }
    VLIBCLog(LOG_ERR, "session_store:%d no free session id after %d attempts", __LINE__, kCreateAttempts);
    return false;
}

bool UpdateSession(const std::string& id, const std::function<bool(Session&)>& change)
{
    base::LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot lock the session store: %m", __LINE__);
        return false;
    }
    Session session;
    if (!ReadSession(id, session))
        return false;
    if (!change(session))
        return true;
    if (!base::WriteFileAtomically(SessionPath(id), ToJson(session), kSessionFileMode)) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot write session %s: %m", __LINE__, id.c_str());
        return false;
    }
    return true;
}

bool DeleteSession(const std::string& id)
{
    if (!IsSessionId(id))
        return false;
    // Without the lock a writer could be replacing the file just now and
    // bring the session back; nothing is removed then.
    base::LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot lock the session store: %m", __LINE__);
        return false;
    }
    return unlink(SessionPath(id).c_str()) == 0 || errno == ENOENT;
}

void ForEachSession(const std::function<void(const Session&)>& visit)
{
    std::vector<std::string> names;
    if (!base::ListDirectory(SessionDir(), names))
        return;
    for (const std::string& name : names) {
        Session session;
        if (ReadSession(name, session))
            visit(session);
    }
}

int EndSessions(long long now, long long timeoutSeconds, const std::function<bool(const Session&)>& match)
{
    base::LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot lock the session store: %m", __LINE__);
        return -1;
    }
    int ended = 0;
    ForEachSession([&](const Session& found) {
        if (StateOf(found, now, timeoutSeconds) != SessionState::kLive || !match(found))
            return;
        Session marker = found;
        marker.ended = true;
        marker.endedAt = now;
        if (base::WriteFileAtomically(SessionPath(found.id), ToJson(marker), kSessionFileMode))
            ++ended;
        else
            VLIBCLog(LOG_ERR, "session_store:%d cannot end session %s: %m", __LINE__, found.id.c_str());
    });
    return ended;
}

void SweepSessions(long long now, long long timeoutSeconds)
{
    base::LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked())
        return;
    std::vector<std::string> names;
    if (!base::ListDirectory(SessionDir(), names))
        return;
    for (const std::string& name : names) {
        const std::string path = SessionPath(name);
        Session session;
        if (ReadSession(name, session)) {
            if (StateOf(session, now, timeoutSeconds) == SessionState::kExpired)
                unlink(path.c_str());
            continue;
        }
        // Damaged sessions and stray temporary files go once they are old.
        struct stat st;
        if (!IsStoreFile(name) && lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
            now - st.st_mtime >= kStrayFileAge)
            unlink(path.c_str());
    }
}

void SweepSessionsWhenDue(long long now, long long timeoutSeconds)
{
    if (SweepIsDue(SessionDir() + "/.swept", now))
        SweepSessions(now, timeoutSeconds);
}

std::string PublicView(const Session& session)
{
    FlatObject object = Fields(session);
    object["id"] = Text(session.id);
    return WriteFlatObject(object);
}

}  // namespace vorn
