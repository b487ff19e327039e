#include "image/acting_user.h"

#include <syslog.h>
#include <unistd.h>

#include <vorn/log.h>

#include "image/slot_files.h"

namespace arx::image {

ActingUser::ActingUser(const char* user, uid_t uid, gid_t gid)
{
    if (geteuid() != 0 || uid == 0)
        return;
    switched_ = true;
    ok_ = privilege::TakeGroupsOf(user, gid) >= 0 && privilege::SwitchEffective(uid, gid);
    if (!ok_) {
        VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d cannot act as %s (uid %u): %m", kSelectorSource, __LINE__, user,
                 static_cast<unsigned>(uid));
        Restore();
        switched_ = false;
    }
}

ActingUser::~ActingUser()
{
    if (switched_)
        Restore();
}

void ActingUser::Restore() const
{
    if (!before_.Restore())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d cannot return to uid %u: %m", kSelectorSource, __LINE__,
                 static_cast<unsigned>(before_.effectiveUid()));
}

}  // namespace arx::image
