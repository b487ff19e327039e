#include "base/root_moment.h"

#include <unistd.h>

namespace base {

RootMoment::RootMoment() : before_(geteuid())
{
    if (before_ == 0) {
        ok_ = true;
        return;
    }
    switched_ = setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1)) == 0;
    ok_ = switched_;
}

RootMoment::~RootMoment()
{
    Return();
}

bool RootMoment::Return()
{
    if (!switched_)
        return true;
    if (setresuid(static_cast<uid_t>(-1), before_, static_cast<uid_t>(-1)) != 0)
        return false;
    switched_ = false;
    return true;
}

}  // namespace base
