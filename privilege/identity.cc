#include "privilege/identity.h"

#include <grp.h>
#include <unistd.h>

#include <vorn/user.h>

namespace arx::privilege {

bool SwitchEffective(uid_t uid, gid_t gid)
{
    const uid_t currentUid = geteuid();
    const gid_t currentGid = getegid();
    if (uid == kUnchangedUid)
        uid = currentUid;
    const bool gidChanges = gid != kUnchangedGid && gid != currentGid;
    if (uid == currentUid && !gidChanges)
        return true;
    // Only root may change the group, so a change of the group alone goes
    // through root too, and back to the user the process was.
    if (currentUid != 0 && setresuid(kUnchangedUid, 0, kUnchangedUid) != 0)
        return false;
    if (gidChanges && setresgid(kUnchangedGid, gid, kUnchangedGid) != 0)
        return false;
    return (uid == 0 && currentUid == 0) || setresuid(kUnchangedUid, uid, kUnchangedUid) == 0;
}

int TakeGroupsOf(const char* user, gid_t gid)
{
    if (VLIBUserInitGroups(user, gid) == 0)
        return 1;
    return setgroups(1, &gid) == 0 ? 0 : -1;
}

bool BecomeRootGroupFirst()
{
    bool ok = true;
    if (getegid() != 0)
        ok = setresgid(kUnchangedGid, 0, kUnchangedGid) == 0;
    if (geteuid() != 0)
        ok = setresuid(kUnchangedUid, 0, kUnchangedUid) == 0 && ok;
    return ok;
}

IdentitySnapshot::IdentitySnapshot()
{
    getresuid(&uid_[0], &uid_[1], &uid_[2]);
    getresgid(&gid_[0], &gid_[1], &gid_[2]);
    const int count = getgroups(0, nullptr);
    groups_.resize(count > 0 ? static_cast<size_t>(count) : 0);
    if (count > 0 && getgroups(count, groups_.data()) != count)
        groups_.clear();
}

bool IdentitySnapshot::Restore() const
{
    return (geteuid() == 0 || setresuid(kUnchangedUid, 0, kUnchangedUid) == 0) &&
           setgroups(groups_.size(), groups_.data()) == 0 && setresgid(gid_[0], gid_[1], gid_[2]) == 0 &&
           setresuid(uid_[0], uid_[1], uid_[2]) == 0;
}

}  // namespace arx::privilege
