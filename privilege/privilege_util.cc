// VORNPrivilege::PrivilegeUtil: the process's credentials switched to a
// named user's, for the file programs (include/arx/webman_file_share.h).

#include <arx/webman_file_share.h>

#include <vorn/log.h>
#include <vorn/user.h>

namespace {

// Part of the file-share family: its lines carry the family's name.
constexpr char kLogSource[] = "file_share";

}  // namespace

namespace VORNPrivilege {

bool PrivilegeUtil::SetEUGID(const std::string& user, bool flag)
{
    const int admin = VLIBGroupIsAdminGroupMem(user.c_str(), 0);
    if (admin < 0) {
        VLIBCLog(LOG_ERR, "%s:%d VLIBGroupIsAdminGroupMem(%s) failed.", kLogSource, __LINE__, user.c_str());
        return false;
    }
    // Administrators work with full rights, on purpose.
    if (admin == 1)
        return ResetCredentialsByName("root", 1) == 0;
    return ResetCredentialsByName(user.c_str(), flag ? 1 : 0) == 0;
}

}  // namespace VORNPrivilege
