// Scoped switch of the effective user and group; the steps are those of
// privilege/identity.h.

#include <arx/run_as.h>

#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vorn/log.h>

#include "privilege/identity.h"

namespace {

using arx::privilege::kUnchangedGid;
using arx::privilege::kUnchangedUid;

constexpr long kFallbackPasswdBufferSize = 16384;

const char* ErrorText(int error, char* buffer, size_t size)
{
    // The GNU strerror_r may return a static text instead of filling buffer.
    return strerror_r(error, buffer, size);
}

}  // namespace

RunAsGuardBase::RunAsGuardBase(const char* file, int line, const char* name)
    : savedEuid_(geteuid()), savedEgid_(getegid()), file_(file), line_(line), name_(name)
{
}

RunAsGuardBase::~RunAsGuardBase()
{
    Restore();
}

void RunAsGuardBase::Restore()
{
    if (arx::privilege::SwitchEffective(savedEuid_, savedEgid_))
        return;
    VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", file_, line_, name_, static_cast<int>(savedEuid_),
             static_cast<int>(savedEgid_));
}

bool RunAsGuardBase::getugid(const char* user, uid_t& uid, gid_t& gid)
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size == -1)
        size = kFallbackPasswdBufferSize;
    char* buffer = static_cast<char*>(malloc(static_cast<size_t>(size)));
    if (buffer == nullptr) {
        char message[1024];
        VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: malloc(%ld) [%s]", file_, line_, size,
                 ErrorText(errno, message, sizeof message));
        return false;
    }
    struct passwd entry;
    struct passwd* result = nullptr;
    const int error = getpwnam_r(user != nullptr ? user : "", &entry, buffer, static_cast<size_t>(size), &result);
    // Only the numeric ids are used: the buffer can go right away.
    const uid_t foundUid = result != nullptr ? entry.pw_uid : kUnchangedUid;
    const gid_t foundGid = result != nullptr ? entry.pw_gid : kUnchangedGid;
    free(buffer);
    if (result != nullptr) {
        uid = foundUid;
        gid = foundGid;
        return true;
    }
    char message[1024];
    const char* reason = error == 0 ? "Name not found" : ErrorText(error, message, sizeof message);
    VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: getpwnam(%s) [%s]", file_, line_, user ? user : "(null)", reason);
    return false;
}

bool RunAsGuardBase::Switch(uid_t uid, gid_t gid)
{
    if (arx::privilege::SwitchEffective(uid, gid))
        return true;
    // A half-done switch is undone at once: the caller's else branch runs
    // with the identity it had, never with root's.
    Restore();
    return false;
}

bool RunAsGuardBase::SwitchTo(uid_t uid, gid_t gid)
{
    if (Switch(uid, gid))
        return true;
    VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", file_, line_, name_, static_cast<int>(uid),
             static_cast<int>(gid));
    return false;
}

template <bool Throwing>
RunAsGuard<Throwing>::RunAsGuard(const char* user, const char* file, int line, const char* name)
    : RunAsGuardBase(file, line, name), ok(false)
{
    uid_t uid = kUnchangedUid;
    gid_t gid = kUnchangedGid;
    ok = getugid(user, uid, gid) && Switch(uid, gid);
    if (!ok)
        VLIBCLog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(\"%s\")", file_, line_, name_, user ? user : "(null)");
}

template class RunAsGuard<false>;
