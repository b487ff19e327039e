// Users and groups through the C interface.

#include <grp.h>
#include <stdio.h>
#include <string.h>

#include <vector>

#include <vorn/err.h>
#include <vorn/user.h>

#include "lib/core/no_throw.h"
#include "lib/users/user_db.h"

namespace {

// Maps a lookup to the C convention: true when found; otherwise the error
// record says why.
bool Found(vorn::Lookup lookup)
{
    switch (lookup) {
    case vorn::Lookup::kFound:
        return true;
    case vorn::Lookup::kMissing:
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return false;
    case vorn::Lookup::kError:
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return false;
    }
    return false;
}

// The groups of a user: the primary one first.  false (error record set)
// for an unknown user or an unreadable database.
bool GroupsOf(const char* user, std::vector<gid_t>& groups)
{
    vorn::UserEntry entry;
    if (!Found(vorn::FindUser(user, entry)))
        return false;
    if (!vorn::GroupsOfUser(entry, groups)) {
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return false;
    }
    return true;
}

}  // namespace

extern "C" int VLIBUserInfoGet(const char* user, VLIBUSERINFO* info)
{
    if (user == nullptr || info == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        if (!Found(vorn::FindUser(user, entry)))
            return -1;
        if (entry.name.size() >= sizeof info->szName || entry.home.size() >= sizeof info->szHome) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        memset(info, 0, sizeof *info);
        memcpy(info->szName, entry.name.c_str(), entry.name.size() + 1);
        memcpy(info->szHome, entry.home.c_str(), entry.home.size() + 1);
        info->uid = entry.uid;
        info->gid = entry.gid;
        return 0;
    });
}

extern "C" int VLIBUserGroupsGet(const char* user, gid_t* groups, int max)
{
    if (user == nullptr || max < 0 || (groups == nullptr && max > 0)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<gid_t> found;
        if (!GroupsOf(user, found))
            return -1;
        for (size_t i = 0; i < found.size() && i < static_cast<size_t>(max); ++i)
            groups[i] = found[i];
        return static_cast<int>(found.size());
    });
}

extern "C" int VLIBUserInitGroups(const char* user, gid_t group)
{
    if (user == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<gid_t> groups;
        if (!GroupsOf(user, groups))
            return -1;
        groups[0] = group;  // the group given stands for the primary one
        if (setgroups(groups.size(), groups.data()) != 0) {
            VLIBCErrSet(VLIB_ERR_IDENTITY_FAILED);
            return -1;
        }
        return 0;
    });
}

extern "C" int VLIBGroupIsMember(const char* group, const char* user)
{
    if (group == nullptr || user == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::GroupEntry groupEntry;
        vorn::UserEntry userEntry;
        const vorn::Lookup groupLookup = vorn::FindGroup(group, groupEntry);
        const vorn::Lookup userLookup = vorn::FindUser(user, userEntry);
        if (groupLookup == vorn::Lookup::kError || userLookup == vorn::Lookup::kError) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        if (groupLookup == vorn::Lookup::kMissing || userLookup == vorn::Lookup::kMissing)
            return 0;
        return vorn::IsMember(groupEntry, userEntry) ? 1 : 0;
    });
}

extern "C" int VLIBGroupIsAdminGroupMem(const char* user, int /*flags*/)
{
    return VLIBGroupIsMember(VORN_ADMIN_GROUP, user);
}

extern "C" int VORNUserLoginNameConvert(const char* input, char* out, int size, int /*flags*/)
{
    if (input == nullptr || out == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::UserEntry entry;
        const vorn::Lookup lookup = vorn::FindUser(input, entry);
        if (lookup == vorn::Lookup::kMissing)
            return 0;
        if (!Found(lookup))
            return -1;
        if (entry.name.size() >= static_cast<size_t>(size)) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        memcpy(out, entry.name.c_str(), entry.name.size() + 1);
        return static_cast<int>(entry.name.size());
    });
}
