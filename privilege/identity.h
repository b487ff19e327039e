// Switching the process's identity, for the library's folders above this
// one: the scoped guards, the rule store's critical section, and the
// request context's switch to the session user.  The order of the steps
// matters and lives only here: root first (only root may change groups),
// then the group, then the user; restoring goes the same way, so a switch
// from root to a user can always come back.
//
// Nothing here logs: callers log in their own words.
#ifndef ARX_PRIVILEGE_IDENTITY_H
#define ARX_PRIVILEGE_IDENTITY_H

#include <sys/types.h>

#include <vector>

namespace arx::privilege {

inline constexpr uid_t kUnchangedUid = static_cast<uid_t>(-1);
inline constexpr gid_t kUnchangedGid = static_cast<gid_t>(-1);

// Changes the effective uid and gid only (real and saved ids stay, which
// keeps the switch reversible); kUnchangedUid or kUnchangedGid leave that
// id alone, and an id that is already the effective one costs no call.
// false with errno when a step failed: the identity may then be half
// switched, and the caller puts it back.
bool SwitchEffective(uid_t uid, gid_t gid);

// Sets the supplementary groups to those of user (the platform's
// initgroups: its users need not be the system's) or, when the platform
// refuses, to gid alone, so that a process never goes on with the groups it
// had (root's).  Needs root.  1 the user's groups, 0 gid alone (callers log
// the refusal), -1 neither, with errno.
int TakeGroupsOf(const char* user, gid_t gid);

// Becomes root group first, trying both steps whatever the first gave (a
// process whose saved gid is root may take the group back whatever its
// effective uid); false when either step failed.
bool BecomeRootGroupFirst();

// The process's whole identity: real, effective and saved ids, and the
// supplementary groups.
class IdentitySnapshot {
public:
    // Records the identity of the moment.
    IdentitySnapshot();

    // Puts that identity back: root first, then the supplementary groups,
    // the gids, the uids.  false with errno when the system refused.
    bool Restore() const;

    uid_t effectiveUid() const { return uid_[1]; }
    gid_t effectiveGid() const { return gid_[1]; }

private:
    uid_t uid_[3];
    gid_t gid_[3];
    std::vector<gid_t> groups_;
};

}  // namespace arx::privilege

#endif
