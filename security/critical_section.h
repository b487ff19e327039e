// The critical section of the rule generation: the process becomes root for
// the section's lifetime and gets its previous effective ids back at the end.
#ifndef ARX_SECURITY_CRITICAL_SECTION_H
#define ARX_SECURITY_CRITICAL_SECTION_H

#include <sys/types.h>

namespace arx::security {

class CriticalSection {
public:
    // Becomes root, the group first, then the user.  A failure is logged
    // ("ERROR: ENTERCriticalSection") and the work goes on as it can.
    CriticalSection();
    // Restores the effective ids found on entry, root first as every guard
    // does; a failure is logged ("ERROR: LEAVECriticalSection").
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

private:
    uid_t savedEuid_;
    gid_t savedEgid_;
};

}  // namespace arx::security

#endif
