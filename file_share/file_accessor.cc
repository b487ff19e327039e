// VORNPrivilege::FileAccessor: share privileges first, then the ACL bits
// the kernel grants.

#include <arx/webman_file_share.h>

#include <unistd.h>

#include <vorn/acl.h>
#include <vorn/err.h>
#include <vorn/log.h>

#include "file_share/log_source.h"

using arx::file_share::kFileShareLogSource;

namespace VORNPrivilege {

namespace {

// What callers assume when no permission can be computed.
constexpr unsigned int kNoRestriction = 8191;

struct AclFailure {
    int code;
    int set;             // the error this family sets, 0 for none
    const char* reason;  // nullptr: the code in hexadecimal
};

constexpr AclFailure kAclFailures[] = {
    {VLIB_ERR_PERMISSION_DENIED, VLIB_ERR_PERMISSION_DENIED, "ERR_VORNACL_NO_PERM"},
    {VLIB_ERR_ACL_NO_PERMISSION, VLIB_ERR_PERMISSION_DENIED, "ERR_VORNACL_NO_PERM"},
    {VLIB_ERR_PATH_NOT_FOUND, VLIB_ERR_PATH_NOT_FOUND, "ERR_PATH_NOT_FOUND"},
    {VLIB_ERR_FILE_NOT_FOUND, VLIB_ERR_PATH_NOT_FOUND, "ERR_PATH_NOT_FOUND"},
    {VLIB_ERR_READ_ONLY_FS, 0, "ERR_VOLUME_READ_ONLY"},
    {VLIB_ERR_ACL_NOT_SUPPORTED, 0, "ERR_VORNACL_NOT_SUPPORT"},
};

}  // namespace

FileAccessor::FileAccessor() = default;

FileAccessor::~FileAccessor() = default;

unsigned int FileAccessor::GetACLPrivilege(const std::string& path) const
{
    unsigned int perm = 0;
    if (VORNACLPermGet(path.c_str(), &perm) == 0)
        return perm;
    const int code = VLIBCErrGet();
    if (code != VLIB_ERR_PATH_NOT_FOUND && code != VLIB_ERR_PERMISSION_DENIED && code != VLIB_ERR_ACL_NOT_SUPPORTED &&
        code != VLIB_ERR_ACL_NO_PERMISSION)
        VLIBCLog(LOG_ERR, "%s:%d Failed to get the ACL Privilege: file = %s, euid = %u, reason=[%X]",
                 kFileShareLogSource, __LINE__, path.c_str(), static_cast<unsigned int>(geteuid()),
                 static_cast<unsigned int>(code));
    return kNoRestriction;
}

bool FileAccessor::ACLAccess(const std::string& path, int wanted) const
{
    if (wanted == 0 || path.empty())
        return false;
    unsigned int perm = 0;
    if (VORNACLPermGet(path.c_str(), &perm) != 0) {
        const int code = VLIBCErrGet();
        for (const AclFailure& failure : kAclFailures) {
            if (failure.code != code)
                continue;
            if (failure.set != 0)
                VLIBCErrSet(failure.set);
            VLIBCLog(LOG_ERR, "%s:%d Failed to get the ACL Privilege: file = %s, reason=[%s]", kFileShareLogSource,
                     __LINE__, path.c_str(), failure.reason);
            return false;
        }
        VLIBCLog(LOG_ERR, "%s:%d Failed to get the ACL Privilege: file = %s, reason=[%X]", kFileShareLogSource,
                 __LINE__, path.c_str(), static_cast<unsigned int>(code));
        return false;
    }
    for (const int bit : {VORN_ACL_EXECUTE, VORN_ACL_WRITE, VORN_ACL_READ, VORN_ACL_DELETE}) {
        if ((wanted & bit) != 0 && (perm & static_cast<unsigned int>(bit)) == 0) {
            VLIBCErrSet(VLIB_ERR_PERMISSION_DENIED);
            return false;
        }
    }
    return true;
}

bool FileAccessor::CheckSharePrivilege(const std::string& path, const std::string& user, const std::string& ignored,
                                       WEBFM_SHARE_PRIVILEGE priv)
{
    // The inverted sense is the interface's: true when NOT exactly priv.
    return share_.WfmLibHasPrivilege(path.c_str(), user.c_str(), ignored.c_str(), priv) != 1;
}

bool FileAccessor::HasSharePrivilege(const std::string& path, const std::string& user, const std::string& ignored)
{
    return CheckSharePrivilege(path, user, ignored, WEBFM_SHARE_PRIV_NONE);
}

bool FileAccessor::HasPrivilege(const std::string& path, const std::string& user, const std::string& ignored,
                                int wanted)
{
    if (!CheckSharePrivilege(path, user, ignored, WEBFM_SHARE_PRIV_NONE))
        return false;
    return ACLAccess(GetFullPath(path, user), wanted);
}

bool FileAccessor::HasShareListPrivilege(const std::string& path, const std::string& user,
                                         const std::string& ignored)
{
    const std::string pathCopy = path;
    const std::string userCopy = user;
    const std::string ignoredCopy = ignored;
    return share_.CheckShareListPrivilege(userCopy, ignoredCopy, pathCopy);
}

bool FileAccessor::HasShareDownloadPrivilege(const std::string& path, const std::string& user,
                                             const std::string& ignored)
{
    const std::string pathCopy = path;
    const std::string userCopy = user;
    const std::string ignoredCopy = ignored;
    return share_.CheckShareDownloadPrivilege(userCopy, ignoredCopy, pathCopy);
}

std::string FileAccessor::GetFullPath(const std::string& path, const std::string& user)
{
    std::string fullPath;
    std::string share;
    std::string folder;
    std::string rest;
    if (!share_.WfmFullPathGet(path.c_str(), fullPath, share, folder, rest, user)) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to get fullpath: %s", kFileShareLogSource, __LINE__, path.c_str());
        return "";
    }
    return fullPath;
}

}  // namespace VORNPrivilege
