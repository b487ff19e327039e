// Entering and leaving the critical section of the rule generation.

#include "security/critical_section.h"

#include <unistd.h>

#include <vorn/log.h>

#include "privilege/identity.h"
#include "security/log_source.h"

namespace arx::security {

CriticalSection::CriticalSection() : savedEuid_(geteuid()), savedEgid_(getegid())
{
    if (!privilege::BecomeRootGroupFirst())
        VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: ENTERCriticalSection", kCspRuleLogSource, __LINE__);
}

CriticalSection::~CriticalSection()
{
    if (!privilege::SwitchEffective(savedEuid_, savedEgid_))
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: LEAVECriticalSection", kCspRuleLogSource, __LINE__);
}

}  // namespace arx::security
