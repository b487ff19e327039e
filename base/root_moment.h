// Root for a moment: a process started as root that switched its effective
// uid to a user (its saved uid still root) becomes root for one step, such
// as reading a root-only file or creating a directory for its user, and
// then returns to the effective uid it had.  Only the effective uid
// changes.
#ifndef ARX_BASE_ROOT_MOMENT_H
#define ARX_BASE_ROOT_MOMENT_H

#include <sys/types.h>

namespace base {

class RootMoment {
public:
    // Becomes root unless the process is root already; ok() tells whether
    // it is root now (errno says why not).
    RootMoment();
    // Returns, unless Return was called; a failure here goes unreported.
    ~RootMoment();
    RootMoment(const RootMoment&) = delete;
    RootMoment& operator=(const RootMoment&) = delete;

    bool ok() const { return ok_; }

    // Returns to the effective uid the process had; false with errno when
    // the system refused (the caller logs it: the process is still root).
    bool Return();

private:
    uid_t before_;
    bool switched_ = false;
    bool ok_ = false;
};

}  // namespace base

#endif
