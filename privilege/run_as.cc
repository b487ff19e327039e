// Scoped switch of the effective user and group.
//
// The order of the calls matters: root first (only root may change the
// group), then the group, then the user, both when switching and when
// switching back, so that a guard that moved from root to a user can
// always return.

#include <arx/run_as.h>

#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vorn/log.h>

namespace {

constexpr uid_t kUnchangedUid = static_cast<uid_t>(-1);
constexpr gid_t kUnchangedGid = static_cast<gid_t>(-1);
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
    const uid_t currentUid = geteuid();
    const gid_t currentGid = getegid();
    if (savedEuid_ == currentUid && savedEgid_ == currentGid)
        return;
    bool ok = true;
    if (savedEuid_ != currentUid && currentUid != 0)
        ok = setresuid(kUnchangedUid, 0, kUnchangedUid) >= 0;
    if (ok && savedEgid_ != kUnchangedGid && savedEgid_ != currentGid)
        ok = setresgid(kUnchangedGid, savedEgid_, kUnchangedGid) == 0;
    if (ok && savedEuid_ != kUnchangedUid && savedEuid_ != currentUid)
        ok = setresuid(kUnchangedUid, savedEuid_, kUnchangedUid) == 0;
    if (!ok) {
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", file_, line_, name_, static_cast<int>(savedEuid_),
                 static_cast<int>(savedEgid_));
    }
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
    const uid_t currentUid = geteuid();
    const gid_t currentGid = getegid();
    if (uid == currentUid && gid == currentGid)
        return true;
    if (uid != currentUid && currentUid != 0 && setresuid(kUnchangedUid, 0, kUnchangedUid) < 0)
        return false;
    if (gid != kUnchangedGid && gid != currentGid && setresgid(kUnchangedGid, gid, kUnchangedGid) != 0)
        return false;
    if (uid == kUnchangedUid || uid == currentUid)
        return true;
    return setresuid(kUnchangedUid, uid, kUnchangedUid) == 0;
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
