// The ids of a session's user, and switching the process to them.

#include <strings.h>
#include <time.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/session.h>

#include "base/root_moment.h"
#include "cgi/session/session_account.h"
#include "cgi/session/session_settings.h"
#include "cgi/session/session_store.h"
#include "lib/core/no_throw.h"

namespace {

constexpr long long kLargestId = 0x7FFFFFFF;

// The live session sid when its user is user; false otherwise.
bool SessionOf(const char* sid, const char* user, vorn::Session& session)
{
    if (sid == nullptr || user == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return false;
    }
    const bool found = vorn::NoThrow(false, [&] {
        return vorn::ReadSession(sid, session) &&
               vorn::StateOf(session, time(nullptr), vorn::LoadSessionSettings().timeoutSeconds) ==
                   vorn::SessionState::kLive &&
               strcasecmp(session.user.c_str(), user) == 0 && session.uid >= 0 && session.uid <= kLargestId &&
               session.gid >= 0 && session.gid <= kLargestId &&
               vorn::CheckSessionAccount(session) == vorn::AccountState::kAsAtLogin;
    });
    if (!found)
        VLIBCErrSet(VLIB_ERR_SESSION_INVALID);
    return found;
}

int Failed(const char* what, long long id)
{
    VLIBCLog(LOG_AUTH | LOG_ERR, "identity:%d %s(%lld) failed: %m", __LINE__, what, id);
    VLIBCErrSet(VLIB_ERR_IDENTITY_FAILED);
    return -1;
}

// Runs change as root when the process is not (only root may change a
// group), then returns to the effective uid it had.  change's result.
template <typename Change>
bool AsRoot(Change change)
{
    const uid_t euid = geteuid();
    base::RootMoment root;
    if (!root.ok())
        return false;
    const bool changed = change();
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "identity:%d cannot return to uid %u: %m", __LINE__,
                 static_cast<unsigned>(euid));
    return changed;
}

// The effective uid, or (permanent) the real, effective and saved uids.
int SetUid(const char* sid, const char* user, bool permanent)
{
    vorn::Session session;
    if (!SessionOf(sid, user, session))
        return -1;
    const uid_t uid = static_cast<uid_t>(session.uid);
    const uid_t euid = geteuid();
    if (!permanent && uid == euid)
        return 0;
    // From one user to another goes through root (the saved uid).
    if (euid != 0 && euid != uid && setresuid(-1, 0, -1) != 0)
        return Failed("setresuid", 0);
    if ((permanent ? setresuid(uid, uid, uid) : setresuid(-1, uid, -1)) != 0) {
        const int result = Failed("setresuid", session.uid);
        setresuid(-1, euid, -1);
        return result;
    }
    return 0;
}

int SetGid(const char* sid, const char* user, bool permanent)
{
    vorn::Session session;
    if (!SessionOf(sid, user, session))
        return -1;
    const gid_t gid = static_cast<gid_t>(session.gid);
    if (!permanent && gid == getegid())
        return 0;
    const bool changed = AsRoot([&] { return (permanent ? setresgid(gid, gid, gid) : setresgid(-1, gid, -1)) == 0; });
    return changed ? 0 : Failed("setresgid", session.gid);
}

}  // namespace

extern "C" int VornCgiUIDGet(const char* sid, const char* user)
{
    vorn::Session session;
    return SessionOf(sid, user, session) ? static_cast<int>(session.uid) : -1;
}

extern "C" int VornCgiGIDGet(const char* sid, const char* user)
{
    vorn::Session session;
    return SessionOf(sid, user, session) ? static_cast<int>(session.gid) : -1;
}

extern "C" int VornCgiEUidSet(const char* sid, const char* user)
{
    return SetUid(sid, user, false);
}

extern "C" int VornCgiEGidSet(const char* sid, const char* user)
{
    return SetGid(sid, user, false);
}

extern "C" int VornCgiUidSet(const char* sid, const char* user)
{
    return SetUid(sid, user, true);
}

extern "C" int VornCgiGidSet(const char* sid, const char* user)
{
    return SetGid(sid, user, true);
}
