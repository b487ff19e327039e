// Whether the account a session was made for still stands as it was at
// login.  A session names its user, uid and gid; deleting, locking or
// renumbering the account must end what the session may do, not leave it
// running with the ids stored at login.
#ifndef VORN_PLATFORM_SESSION_ACCOUNT_H
#define VORN_PLATFORM_SESSION_ACCOUNT_H

#include "cgi/session/session_store.h"

namespace vorn {

enum class AccountState {
    kAsAtLogin,  // exists under the stored name, usable, the same uid and gid
    kChanged,    // gone, locked, expired, renamed or renumbered (logged)
    kError,      // the user database cannot be read (logged)
};

// Reads the user database (kept per version of its files) as root: a
// process switched to its user (saved uid root) becomes root for the
// moment, since the shadow file is root's.
AccountState CheckSessionAccount(const Session& session);

}  // namespace vorn

#endif
