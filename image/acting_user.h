// A root process that works in a user's own directory acts as that user
// while it does, so that neither the process nor the image tool it starts
// reaches further than the user could: a link the user planted in the
// directory then leads only where the user may write anyway, and the files
// made are the user's.
#ifndef ARX_IMAGE_ACTING_USER_H
#define ARX_IMAGE_ACTING_USER_H

#include <sys/types.h>

#include "privilege/identity.h"

namespace arx::image {

class ActingUser {
public:
    // When the process is root and uid is not: the user's supplementary
    // groups (the platform's, or the user's own group alone), then gid and
    // uid as the effective ids.  The real and saved ids stay, so the switch
    // comes back.  Any other process stays as it is.
    ActingUser(const char* user, uid_t uid, gid_t gid);
    // Puts the identity back; a failure is logged.
    ~ActingUser();
    ActingUser(const ActingUser&) = delete;
    ActingUser& operator=(const ActingUser&) = delete;

    // false (logged) when the switch failed: the process is then as it was.
    bool ok() const { return ok_; }

private:
    void Restore() const;

    privilege::IdentitySnapshot before_;
    bool switched_ = false;
    bool ok_ = true;
};

}  // namespace arx::image

#endif
