// The identity a spawned program starts with: a process whose real ids
// differ from its effective ones (started as root, switched to its user)
// takes its effective ids as real ids while it spawns, so that exec makes
// the child's real, effective and saved ids all the user's.  The saved ids
// keep root, through which the parent takes its real ids back afterwards.
#ifndef VORN_PLATFORM_EXEC_CHILD_IDENTITY_H
#define VORN_PLATFORM_EXEC_CHILD_IDENTITY_H

#include <sys/types.h>

namespace vorn {

class ChildIdentity {
public:
    // ok() false: the ids could not be aligned and are as they were.
    ChildIdentity();
    // Gives the real ids back; a refusal is logged (LOG_AUTH|LOG_CRIT): the
    // process keeps less privilege than it had, never more.
    ~ChildIdentity();
    ChildIdentity(const ChildIdentity&) = delete;
    ChildIdentity& operator=(const ChildIdentity&) = delete;

    bool ok() const { return ok_; }

private:
    uid_t realUid_ = 0;
    gid_t realGid_ = 0;
    bool uidChanged_ = false;
    bool gidChanged_ = false;
    bool ok_ = false;
};

}  // namespace vorn

#endif
