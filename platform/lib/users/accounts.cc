// Users as the file programs need them: their home directories, their ids,
// and switching the process to a user's credentials.

#include <grp.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <vector>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/root.h>
#include <vorn/user.h>

#include "lib/core/no_throw.h"
#include "lib/users/user_db.h"

namespace {

// The process's effective identity and groups, to put back after a
// switch that failed half way.
struct Credentials {
    uid_t uid = geteuid();
    gid_t gid = getegid();
    std::vector<gid_t> groups;

    Credentials()
    {
        const int count = getgroups(0, nullptr);
        groups.resize(count > 0 ? static_cast<size_t>(count) : 0);
        if (count > 0 && getgroups(count, groups.data()) != count)
            groups.clear();
    }

    void Restore() const
    {
        if (geteuid() != 0 && setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1)) != 0)
            return;
        setgroups(groups.size(), groups.data());
        setresgid(static_cast<gid_t>(-1), gid, static_cast<gid_t>(-1));
        setresuid(static_cast<uid_t>(-1), uid, static_cast<uid_t>(-1));
    }
};

bool FindEntry(const char* user, vorn::UserEntry& entry)
{
    switch (vorn::FindUser(user, entry)) {
    case vorn::Lookup::kFound:
        return true;
    case vorn::Lookup::kMissing:
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return false;
    case vorn::Lookup::kError:
        break;
    }
    VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
    return false;
}

}  // namespace

extern "C" int VORNUserGet(const char* user, VLIBUSERINFO* info)
{
    if (VLIBUserInfoGet(user, info) != 0)
        return -1;
    if (vorn::IsDirectoryName(user) || info->szHome[0] != '/')
        return 0;
    char mapped[sizeof info->szHome];
    if (VORNRootPath(info->szHome, mapped, sizeof mapped) < 0) {
        VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
        return -1;
    }
    memcpy(info->szHome, mapped, sizeof mapped);
    return 0;
}

extern "C" int VORNUserGetUGID(const char* user, uid_t* uid, gid_t* gid)
{
    if (user == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        if (!FindEntry(user, entry))
            return -1;
        if (uid != nullptr)
            *uid = entry.uid;
        if (gid != nullptr)
            *gid = entry.gid;
        return 0;
    });
}

extern "C" int VORNServiceUserHomeIsEnabled(void)
{
    char value[16] = "";
    if (VLIBCINFOGetKeyValue("userhome_enable", value, sizeof value) <= 0)
        return 1;
    return strcasecmp(value, "no") == 0 ? 0 : 1;
}

extern "C" int ResetCredentialsByName(const char* user, int groups)
{
    if (user == nullptr || user[0] == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        if (strcmp(user, "root") == 0) {
            entry.name = "root";  // uid and gid 0
        } else if (!FindEntry(user, entry)) {
            return -1;
        }
        std::vector<gid_t> list;
        if (groups != 0 && entry.uid != 0 && !vorn::GroupsOfUser(entry, list)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        if (groups != 0 && entry.uid == 0)
            list.assign(1, 0);
        const Credentials before;
        // Root first: only root may change groups and the gid.
        const bool switched =
            (geteuid() == 0 || setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1)) == 0) &&
            (groups == 0 || setgroups(list.size(), list.data()) == 0) &&
            setresgid(static_cast<gid_t>(-1), entry.gid, static_cast<gid_t>(-1)) == 0 &&
            setresuid(static_cast<uid_t>(-1), entry.uid, static_cast<uid_t>(-1)) == 0;
        if (switched)
            return 0;
        before.Restore();
        VLIBCErrSet(VLIB_ERR_IDENTITY_FAILED);
        return -1;
    });
}
