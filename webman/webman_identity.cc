// The request context: administrators, preference directories, and
// switching the process to the session user's identity.

#include <arx/webman.h>

#include <unistd.h>

#include <functional>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/user.h>

#include "privilege/identity.h"
#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr int kPreferenceDirSize = 1024;

void LogAdminLookupFailure(int line, const char* user)
{
    VLIBCLog(LOG_ERR, "%s:%d VLIBGroupIsAdminGroupMem(%s) failed. [0x%04X %s:%d]", kWebManLogSource, line,
             user != nullptr ? user : "(null)", VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
}

void LogSwitchFailure(int line, const char* what, const char* user, const char* sid)
{
    VLIBCLog(LOG_ERR, "%s(%d) failed to %s for user=%s, sid=%s", kWebManLogSource, line, what, user, sid);
}

std::string PreferenceDirOr(int length, const char* buffer)
{
    return length < 0 ? "/tmp" : buffer;
}

// Puts the identity of before a switch back, so that no request goes on
// with a mixed identity.
void RestoreIdentity(const arx::privilege::IdentitySnapshot& before)
{
    if (!before.Restore())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d cannot restore uid %u gid %u: %m", kWebManLogSource, __LINE__,
                 static_cast<unsigned>(before.effectiveUid()), static_cast<unsigned>(before.effectiveGid()));
}

using IdSetter = std::function<int(const char* sid, const char* user)>;

// The session user's identity in the order that works: supplementary
// groups (only root may set them), then the gid, then the uid.  A failure
// after the first change puts the identity back.
int SwitchTo(const char* sid, const char* user, const IdSetter& setGid, const IdSetter& setUid)
{
    if (sid == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d) bad parameter", kWebManLogSource, __LINE__);
        return -1;
    }
    const arx::privilege::IdentitySnapshot before;
    const int gid = VornCgiGIDGet(sid, user);
    if (gid == -1) {
        LogSwitchFailure(__LINE__, "get GID", user, sid);
        return -1;
    }
    // Without the user's groups the switch goes on with the user's own
    // group alone.
    const int groups = arx::privilege::TakeGroupsOf(user, static_cast<gid_t>(gid));
    if (groups <= 0)
        LogSwitchFailure(__LINE__, "initgroup", user, sid);
    if (groups < 0) {
        LogSwitchFailure(__LINE__, "set groups", user, sid);
        return -1;  // nothing has changed yet
    }
    if (setGid(sid, user) < 0) {
        LogSwitchFailure(__LINE__, "set GID", user, sid);
        RestoreIdentity(before);
        return -1;
    }
    if (setUid(sid, user) < 0) {
        LogSwitchFailure(__LINE__, "set UID", user, sid);
        RestoreIdentity(before);
        return -1;
    }
    return 0;
}

}  // namespace

bool WebMan::IsAdmin() const
{
    const int member = VLIBGroupIsAdminGroupMem(loginUserName_, 0);
    if (member < 0) {
        LogAdminLookupFailure(__LINE__, loginUserName_);
        return false;
    }
    return member == 1;
}

std::string WebMan::GetPreferenceDir()
{
    char buffer[kPreferenceDirSize] = "";
    return PreferenceDirOr(VORNUserPreferenceDirGet(loginUserName_, buffer, sizeof buffer), buffer);
}

std::string WebMan::GetGroupPreferenceDir(const char* group)
{
    char buffer[kPreferenceDirSize] = "";
    return PreferenceDirOr(VORNGroupPreferenceDirGet(group, buffer, sizeof buffer), buffer);
}

int WebMan::SetEUid(const char* sid, const char* user)
{
    // Asked before the arguments are checked: existing callers rely on the
    // order of the platform calls.
    const int admin = VLIBGroupIsAdminGroupMem(user, 0);
    if (user == nullptr || sid == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d) bad parameter", kWebManLogSource, __LINE__);
        return -1;
    }
    if (admin < 0) {
        LogAdminLookupFailure(__LINE__, user);
        return -1;
    }
    // Administrators act with effective uid 0.
    if (admin == 1) {
        [[maybe_unused]] const int ignored = seteuid(0);
        return 0;
    }
    const int uid = VornCgiUIDGet(sid, user);
    if (uid == -1)
        return -1;
    [[maybe_unused]] const int ignored = seteuid(static_cast<uid_t>(uid));
    return 0;
}

int WebMan::SetEGid(const char* sid, const char* user)
{
    if (user == nullptr || sid == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d) bad parameter", kWebManLogSource, __LINE__);
        return -1;
    }
    const int gid = VornCgiGIDGet(sid, user);
    if (gid == -1)
        return gid;
    [[maybe_unused]] const int ignored = setegid(static_cast<gid_t>(gid));
    return 0;
}

int WebMan::setEUGID()
{
    return SwitchTo(
        GetSessionID(), loginUserName_, [this](const char* sid, const char* user) { return SetEGid(sid, user); },
        [this](const char* sid, const char* user) { return SetEUid(sid, user); });
}

int WebMan::setUGID()
{
    // The platform's permanent setters: an administrator keeps his own uid.
    return SwitchTo(GetSessionID(), loginUserName_, VornCgiGidSet, VornCgiUidSet);
}
