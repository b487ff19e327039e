// A user's privilege on the share that holds a path, and the list and
// fetch checks built on it.

#include <arx/webman_file_share.h>

#include <stdlib.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/share.h>
#include <vorn/user.h>

#include "file_share/log_source.h"

using arx::file_share::kFileShareLogSource;

namespace {

// The platform's privilege as the family's: 2 and 1 as they are, anything
// else (errors included) none.
WEBFM_SHARE_PRIVILEGE FromPlatform(int privilege)
{
    if (privilege == VORN_SHARE_PRIV_RW)
        return WEBFM_SHARE_PRIV_RW;
    if (privilege == VORN_SHARE_PRIV_RO)
        return WEBFM_SHARE_PRIV_RO;
    return WEBFM_SHARE_PRIV_NONE;
}

// Allowed when the user has a privilege and none of the forbidding bits is
// set in the share's attribute word.
BOOL CheckShareBits(WebmanFileShare& fs, const std::string& user, const std::string& ignored,
                    const std::string& path, int forbidding)
{
    if (path.empty())
        return false;
    if (fs.IsDirUserHome(path, user.c_str()))
        return true;
    WEBFM_SHARE_PRIVILEGE privilege = WEBFM_SHARE_PRIV_NONE;
    int extra = 0;
    if (fs.WfmLibGetPrivilege(path.c_str(), user.c_str(), ignored.c_str(), &privilege, &extra) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Gailed to check privilege of path %s, reason=[%d] ", kFileShareLogSource, __LINE__,
                 path.c_str(), static_cast<int>(WfmLibGetErr()));
        return false;
    }
    if (privilege != WEBFM_SHARE_PRIV_NONE && (extra & forbidding) == 0)
        return true;
    VLIBCLog(LOG_ERR, "%s:%d No privilege in path %s", kFileShareLogSource, __LINE__, path.c_str());
    return false;
}

}  // namespace

int WebmanFileShare::WfmLibGetPrivilege(const char* path, const char* user, const char* /*ignored*/,
                                        WEBFM_SHARE_PRIVILEGE* priv, int* extra)
{
    // Asked first, and its error kept: the lookups below set their own.
    const int admin = VLIBGroupIsAdminGroupMem(user, 0);
    const int adminError = VLIBCErrGet();
    const std::string adminErrorFile = VLIBCErrorGetFile() != nullptr ? VLIBCErrorGetFile() : "";
    const int adminErrorLine = VLIBCErrorGetLine();
    WfmLibSetErr(WEBFM_ERR_NONE);
    if (path == nullptr || user == nullptr || priv == nullptr) {
        WfmLibSetErr(WEBFM_ERR_BAD_PATH);
        VLIBCLog(LOG_ERR, "%s(%d): bad parameter!", kFileShareLogSource, __LINE__);
        return -1;
    }
    char* share = WfmLibGetTokOfPath(path, true);
    if (share == nullptr) {
        WfmLibSetErr(WEBFM_ERR_BAD_PATH);
        VLIBCLog(LOG_ERR, "%s(%d): WfmLibGetTokOfPath %s fail", kFileShareLogSource, __LINE__, path);
        return -1;
    }
    VORNSHARE* record = nullptr;
    if (VORNShareGet(share, &record) != 0) {
        WfmLibSetErr(WEBFM_ERR_NOT_FOUND);
        VLIBCLog(LOG_ERR, "%s(%d): VORNShareGet %s fail", kFileShareLogSource, __LINE__, share);
        free(share);
        return -1;
    }
    *priv = FromPlatform(VORNShareUserPrivGet(user, record));
    if (extra != nullptr)
        *extra = 0;
    int result = 0;
    if (admin < 0) {
        VLIBCLog(LOG_ERR, "%s:%d VLIBGroupIsAdminGroupMem(%s) failed. [0x%04X %s:%d]", kFileShareLogSource, __LINE__,
                 user, adminError, adminErrorFile.c_str(), adminErrorLine);
        result = -1;
    } else if (admin == 0 && extra != nullptr) {
        *extra = static_cast<int>(record->attr);
    }
    VORNShareFree(record);
    free(share);
    return result;
}

int WebmanFileShare::WfmLibHasPrivilege(const char* path, const char* user, const char* ignored,
                                        WEBFM_SHARE_PRIVILEGE wanted)
{
    WfmLibSetErr(WEBFM_ERR_NONE);
    if (path == nullptr || user == nullptr) {
        WfmLibSetErr(WEBFM_ERR_BAD_PATH);
        VLIBCLog(LOG_ERR, "%s(%d): bad parameter! username=%s, path=%s", kFileShareLogSource, __LINE__,
                 user != nullptr ? user : "(null)", path != nullptr ? path : "(null)");
        return -1;
    }
    WEBFM_SHARE_PRIVILEGE privilege = WEBFM_SHARE_PRIV_NONE;
    int extra = 0;
    if (WfmLibGetPrivilege(path, user, ignored, &privilege, &extra) != 0) {
        VLIBCLog(LOG_ERR, "%s(%d): failed to get privilege of %s at %s", kFileShareLogSource, __LINE__, user, path);
        return -1;
    }
    return privilege == wanted ? 1 : 0;  // equality, not "at least"
}

unsigned int WebmanFileShare::GetPrivilege(unsigned int mode)
{
    return ((mode >> 6) & 7) * 100 + ((mode >> 3) & 7) * 10 + (mode & 7);
}

BOOL WebmanFileShare::WfmLibIsHideUnreadable(_tag_VORNSHARE* share)
{
    if (geteuid() == 0)
        return false;  // root sees everything
    const int hide = VLIBShareHideUnreadableGet(share);
    if (hide < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to get hide unreadable %x, %m", kFileShareLogSource, __LINE__,
                 static_cast<unsigned int>(VLIBCErrGet()));
        return false;
    }
    return hide == 1;
}

BOOL WebmanFileShare::IsEncryptShare(std::string share, bool& encrypted)
{
    if (IsDirUserHome(share, nullptr))
        return true;
    VORNSHARE* record = nullptr;
    if (VORNShareGet(share.c_str(), &record) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d VORNShareGet fail %s", kFileShareLogSource, __LINE__, share.c_str());
        WfmLibSetErr(WEBFM_ERR_NOT_FOUND);
        return false;
    }
    encrypted = record->encrypted != 0;
    VORNShareFree(record);
    return true;
}

BOOL WebmanFileShare::WfmLibCheckEncryptShare(std::string share, bool& encrypted)
{
    return IsEncryptShare(std::move(share), encrypted);
}

BOOL WebmanFileShare::CheckShareListPrivilege(const std::string& user, const std::string& ignored,
                                              const std::string& path)
{
    return CheckShareBits(*this, user, ignored, path, VORN_SHARE_ATTR_NO_LIST);
}

BOOL WebmanFileShare::CheckShareDownloadPrivilege(const std::string& user, const std::string& ignored,
                                                  const std::string& path)
{
    return CheckShareBits(*this, user, ignored, path, VORN_SHARE_ATTR_NO_LIST | VORN_SHARE_ATTR_NO_FETCH);
}
