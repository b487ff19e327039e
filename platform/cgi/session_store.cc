#include "session_store.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/session.h>

#include "lib/file_io.h"
#include "lib/lock_file.h"
#include "session_id.h"

namespace vorn {

namespace {

constexpr mode_t kSessionFileMode = 0600;
constexpr long long kSweepInterval = 5 * 60;
constexpr long long kStrayFileAge = 60;  // a writer's temporary file is older than any write
constexpr int kCreateAttempts = 3;

// Everything but the id (the file's name) and the token.
Json::Value Fields(const Session& session)
{
    Json::Value value(Json::objectValue);
    value["user"] = session.user;
    value["uid"] = static_cast<Json::Int64>(session.uid);
    value["gid"] = static_cast<Json::Int64>(session.gid);
    value["address"] = session.address;
    value["language"] = session.language;
    value["created"] = static_cast<Json::Int64>(session.created);
    value["last_access"] = static_cast<Json::Int64>(session.lastAccess);
    return value;
}

std::string ToJson(const Session& session)
{
    Json::Value value = Fields(session);
    value["token"] = session.token;
    value["state"] = session.ended ? "ended" : "live";
    if (session.ended)
        value["ended_at"] = static_cast<Json::Int64>(session.endedAt);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value) + "\n";
}

bool TakeString(const Json::Value& value, const char* name, std::string& out)
{
    const Json::Value& member = value[name];
    if (!member.isString())
        return false;
    out = member.asString();
    return true;
}

bool TakeNumber(const Json::Value& value, const char* name, long long& out)
{
    const Json::Value& member = value[name];
    if (!member.isInt64())
        return false;
    out = member.asInt64();
    return true;
}

bool FromJson(const std::string& text, Session& session)
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors) || !value.isObject())
        return false;
    std::string state;
    if (!TakeString(value, "user", session.user) || !TakeNumber(value, "uid", session.uid) ||
        !TakeNumber(value, "gid", session.gid) || !TakeString(value, "address", session.address) ||
        !TakeString(value, "language", session.language) || !TakeNumber(value, "created", session.created) ||
        !TakeNumber(value, "last_access", session.lastAccess) || !TakeString(value, "token", session.token) ||
        !TakeString(value, "state", state) || session.user.empty() || session.token.empty())
        return false;
    session.ended = state == "ended";
    session.endedAt = 0;
    return !session.ended || TakeNumber(value, "ended_at", session.endedAt);
}

bool WriteAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Writes text to a new file at path without ever replacing one: a temporary
// file is written whole and then linked to its name, which fails when the
// name is taken.  1 written, 0 the name is taken, -1 failure.
int WriteNewFile(const std::string& path, const std::string& text)
{
    std::string temporary = path + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return -1;
    bool ok = fchmod(fd, kSessionFileMode) == 0 && WriteAll(fd, text) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    int result = -1;
    if (ok)
        result = link(temporary.c_str(), path.c_str()) == 0 ? 1 : errno == EEXIST ? 0 : -1;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return result;
}

// Reads a session file.  Only root may read the store; a process that
// switched its effective uid to the session's user (its saved uid is root)
// reads as root for the moment and comes back.
bool ReadSessionFile(const std::string& path, std::string& text)
{
    if (ReadWholeFile(path.c_str(), text))
        return true;
    const uid_t euid = geteuid();
    if (errno != EACCES || euid == 0 || setresuid(-1, 0, -1) != 0)
        return false;
    const bool read = ReadWholeFile(path.c_str(), text);
    const int error = errno;
    if (setresuid(-1, euid, -1) != 0)
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
    std::string text;
    if (!ReadSessionFile(SessionPath(id), text))
        return false;
    session = Session();
    if (!FromJson(text, session)) {
        VLIBCLog(LOG_ERR, "session_store:%d session file %s is damaged", __LINE__, id.c_str());
        return false;
    }
    session.id = id;
    return true;
}

bool CreateSession(Session& session)
{
    if (!MakePrivateDirectory(SessionDir())) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot create %s: %m", __LINE__, SessionDir().c_str());
        return false;
    }
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        if (!NewRandomId(session.id) || !NewRandomId(session.token))
            return false;
        const int written = WriteNewFile(SessionPath(session.id), ToJson(session));
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
    LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot lock the session store: %m", __LINE__);
        return false;
    }
    Session session;
    if (!ReadSession(id, session))
        return false;
    if (!change(session))
        return true;
    if (!WriteFileAtomically(SessionPath(id), ToJson(session), kSessionFileMode)) {
        VLIBCLog(LOG_ERR, "session_store:%d cannot write session %s: %m", __LINE__, id.c_str());
        return false;
    }
    return true;
}

bool DeleteSession(const std::string& id)
{
    if (!IsSessionId(id))
        return false;
    LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    return unlink(SessionPath(id).c_str()) == 0;
}

void ForEachSession(const std::function<void(const Session&)>& visit)
{
    std::vector<std::string> names;
    if (!ListDirectory(SessionDir(), names))
        return;
    for (const std::string& name : names) {
        Session session;
        if (ReadSession(name, session))
            visit(session);
    }
}

int EndSessions(long long now, long long timeoutSeconds, const std::function<bool(const Session&)>& match)
{
    LockFileGuard lock(SessionLockPath(), kSessionFileMode);
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
        if (WriteFileAtomically(SessionPath(found.id), ToJson(marker), kSessionFileMode))
            ++ended;
        else
            VLIBCLog(LOG_ERR, "session_store:%d cannot end session %s: %m", __LINE__, found.id.c_str());
    });
    return ended;
}

void SweepSessions(long long now, long long timeoutSeconds)
{
    LockFileGuard lock(SessionLockPath(), kSessionFileMode);
    if (!lock.locked())
        return;
    std::vector<std::string> names;
    if (!ListDirectory(SessionDir(), names))
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
    const std::string stamp = SessionDir() + "/.swept";
    struct stat st;
    if (stat(stamp.c_str(), &st) == 0 && now - st.st_mtime < kSweepInterval && st.st_mtime <= now)
        return;
    // Whoever touches the stamp first sweeps; the others see it fresh.
    const int fd = open(stamp.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kSessionFileMode);
    if (fd < 0)
        return;
    futimens(fd, nullptr);
    close(fd);
    SweepSessions(now, timeoutSeconds);
}

Json::Value PublicView(const Session& session)
{
    Json::Value value = Fields(session);
    value["id"] = session.id;
    return value;
}

}  // namespace vorn
