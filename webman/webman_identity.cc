// The request context: administrators, preference directories, and
// switching the process to the session user's identity.

#include <arx/webman.h>

#include <grp.h>
#include <unistd.h>

#include <functional>
#include <vector>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/user.h>

#include "log_source.h"

using arx::kWebManLogSource;

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

// The process's identity when a switch starts.  A switch that fails half
// way puts it back, so that no request goes on with a mixed identity.
class Identity {
public:
    Identity()
    {
        getresuid(&uid_[0], &uid_[1], &uid_[2]);
        getresgid(&gid_[0], &gid_[1], &gid_[2]);
        const int count = getgroups(0, nullptr);
        groups_.resize(count > 0 ? static_cast<size_t>(count) : 0);
        if (count > 0 && getgroups(count, groups_.data()) != count)
            groups_.clear();
    }

    // Root first (only root may set groups), then the groups and gids,
    // then the uids.
    void Restore() const
    {
        const bool ok = (geteuid() == 0 || setresuid(-1, 0, -1) == 0) &&
                        setgroups(groups_.size(), groups_.data()) == 0 &&
                        setresgid(gid_[0], gid_[1], gid_[2]) == 0 && setresuid(uid_[0], uid_[1], uid_[2]) == 0;
        if (!ok)
            VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d cannot restore uid %u gid %u: %m", kWebManLogSource, __LINE__,
                     static_cast<unsigned>(uid_[1]), static_cast<unsigned>(gid_[1]));
    }

private:
    uid_t uid_[3];
    gid_t gid_[3];
    std::vector<gid_t> groups_;
};

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
    const Identity before;
    const int gid = VornCgiGIDGet(sid, user);
    if (gid == -1) {
        LogSwitchFailure(__LINE__, "get GID", user, sid);
        return -1;
    }
    // The platform's initgroups: the users are the platform's, whose groups
    // the system's NSS need not know.
    if (VLIBUserInitGroups(user, static_cast<gid_t>(gid)) == -1)
        LogSwitchFailure(__LINE__, "initgroup", user, sid);
    if (setGid(sid, user) < 0) {
        LogSwitchFailure(__LINE__, "set GID", user, sid);
        before.Restore();
        return -1;
    }
    if (setUid(sid, user) < 0) {
        LogSwitchFailure(__LINE__, "set UID", user, sid);
        before.Restore();
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
