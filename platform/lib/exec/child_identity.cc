// Aligning the real ids with the effective ones around a spawn.

#include "lib/exec/child_identity.h"

#include <errno.h>
#include <syslog.h>
#include <unistd.h>

#include <vorn/log.h>

namespace vorn {

ChildIdentity::ChildIdentity()
{
    uid_t euid, suid;
    gid_t egid, sgid;
    if (getresuid(&realUid_, &euid, &suid) != 0 || getresgid(&realGid_, &egid, &sgid) != 0)
        return;
    // A real id that could not be taken back would be lost: refuse instead.
    if ((realUid_ != euid && suid != realUid_) || (realGid_ != egid && sgid != realGid_)) {
        VLIBCLog(LOG_AUTH | LOG_ERR, "child_identity:%d real ids %u/%u cannot be restored after a spawn", __LINE__,
                 static_cast<unsigned>(realUid_), static_cast<unsigned>(realGid_));
        errno = EPERM;
        return;
    }
    if (realGid_ != egid) {
        if (setresgid(egid, static_cast<gid_t>(-1), static_cast<gid_t>(-1)) != 0)
            return;
        gidChanged_ = true;
    }
    if (realUid_ != euid) {
        if (setresuid(euid, static_cast<uid_t>(-1), static_cast<uid_t>(-1)) != 0) {
            const int error = errno;
            if (setresgid(realGid_, static_cast<gid_t>(-1), static_cast<gid_t>(-1)) == 0)
                gidChanged_ = false;
            errno = error;
            return;
        }
        uidChanged_ = true;
    }
    ok_ = true;
}

ChildIdentity::~ChildIdentity()
{
    if (uidChanged_ && setresuid(realUid_, static_cast<uid_t>(-1), static_cast<uid_t>(-1)) != 0)
        VLIBCLog(LOG_AUTH | LOG_CRIT, "child_identity:%d cannot restore real uid %u: %m", __LINE__,
                 static_cast<unsigned>(realUid_));
    if (gidChanged_ && setresgid(realGid_, static_cast<gid_t>(-1), static_cast<gid_t>(-1)) != 0)
        VLIBCLog(LOG_AUTH | LOG_CRIT, "child_identity:%d cannot restore real gid %u: %m", __LINE__,
                 static_cast<unsigned>(realGid_));
}

}  // namespace vorn
