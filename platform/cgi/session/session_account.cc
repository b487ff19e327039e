#include "cgi/session/session_account.h"

#include <unistd.h>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/user.h>

#include "base/root_moment.h"

namespace vorn {

namespace {

AccountState Changed(const Session& session, const char* how)
{
    VLIBCLog(LOG_AUTH | LOG_NOTICE, "session_account:%d the account of %s %s since its session began", __LINE__,
             session.user.c_str(), how);
    return AccountState::kChanged;
}

AccountState Check(const Session& session)
{
    VLIBUSERINFO user;
    if (VLIBUserInfoGet(session.user.c_str(), &user) != 0) {
        if (VLIBCErrGet() == VLIB_ERR_NOT_FOUND)
            return Changed(session, "is gone");
        VLIBCLog(LOG_ERR, "session_account:%d cannot look %s up [0x%04X]", __LINE__, session.user.c_str(),
                 VLIBCErrGet());
        return AccountState::kError;
    }
    // The lookup folds case when the stored name is gone: another account.
    if (session.user != user.szName)
        return Changed(session, "is gone");
    if (static_cast<long long>(user.uid) != session.uid || static_cast<long long>(user.gid) != session.gid)
        return Changed(session, "has other ids");
    switch (VLIBUserIsDisabled(user.szName)) {
    case 0:
        return AccountState::kAsAtLogin;
    case 1:
        return Changed(session, "is locked or expired");
    default:
        VLIBCLog(LOG_ERR, "session_account:%d cannot tell whether %s is disabled [0x%04X]", __LINE__,
                 session.user.c_str(), VLIBCErrGet());
        return AccountState::kError;
    }
}

}  // namespace

AccountState CheckSessionAccount(const Session& session)
{
    const uid_t euid = geteuid();
    base::RootMoment root;
    const AccountState state = Check(session);
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "session_account:%d cannot return to uid %u: %m", __LINE__,
                 static_cast<unsigned>(euid));
    return state;
}

}  // namespace vorn
