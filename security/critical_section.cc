// Entering and leaving the critical section of the rule generation.

#include "critical_section.h"

#include <unistd.h>

#include <vorn/log.h>

#include "log_source.h"

namespace arx::csp {

namespace {

constexpr uid_t kUnchangedUid = static_cast<uid_t>(-1);
constexpr gid_t kUnchangedGid = static_cast<gid_t>(-1);

// The group first: a process whose saved gid is root may take it back
// whatever its effective uid.
bool BecomeRoot()
{
    bool ok = true;
    if (getegid() != 0)
        ok = setresgid(kUnchangedGid, 0, kUnchangedGid) == 0;
    if (geteuid() != 0)
        ok = setresuid(kUnchangedUid, 0, kUnchangedUid) == 0 && ok;
    return ok;
}

bool Restore(uid_t savedEuid, gid_t savedEgid)
{
    const uid_t currentUid = geteuid();
    const gid_t currentGid = getegid();
    if (savedEuid == currentUid && savedEgid == currentGid)
        return true;
    if (savedEuid != currentUid && currentUid != 0 && setresuid(kUnchangedUid, 0, kUnchangedUid) != 0)
        return false;
    if (savedEgid != currentGid && setresgid(kUnchangedGid, savedEgid, kUnchangedGid) != 0)
        return false;
    return savedEuid == currentUid || setresuid(kUnchangedUid, savedEuid, kUnchangedUid) == 0;
}

}  // namespace

CriticalSection::CriticalSection() : savedEuid_(geteuid()), savedEgid_(getegid())
{
    if (!BecomeRoot())
        VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: ENTERCriticalSection", kCspRuleLogSource, __LINE__);
}

CriticalSection::~CriticalSection()
{
    if (!Restore(savedEuid_, savedEgid_))
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: LEAVECriticalSection", kCspRuleLogSource, __LINE__);
}

}  // namespace arx::csp
