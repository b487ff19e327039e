// What the file programs change in their process: its identity, owners of
// new entries, the umask, the share's temporary folder, its directory.

#include <arx/webman_file_share.h>

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <vorn/acl.h>
#include <vorn/cgi.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/log.h>
#include <vorn/mount.h>
#include <vorn/root.h>
#include <vorn/session.h>
#include <vorn/share.h>
#include <vorn/user.h>
#include <vorn/volume.h>

#include "file_share/log_source.h"
#include "privilege/identity.h"

using arx::file_share::kFileShareLogSource;

namespace {

// The file-system types the file programs support on USB and eSATA
// volumes, as bits of their codes: vfat, ext3, ext4, btrfs, hfsplus, ext2,
// xfs, udf, exfat, f2fs.
constexpr unsigned long kSupportedTypes = 0xc03af;

WEBFMERR ErrorOf(int error)
{
    if (error == ENOENT || error == ENOTDIR)
        return WEBFM_ERR_NOT_FOUND;
    if (error == EPERM || error == EACCES)
        return WEBFM_ERR_PERMISSION;
    return WEBFM_ERR_SYSTEM;
}

}  // namespace

int WebmanFileShare::WfmLibUGIDSet(const char* sid, const char* user)
{
    if (sid == nullptr || user == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d) bad parameter", kFileShareLogSource, __LINE__);
        WfmLibSetErr(WEBFM_ERR_BAD_PARAMETER);
        return -1;
    }
    const int gid = VornCgiGIDGet(sid, user);
    if (gid == -1) {
        VLIBCLog(LOG_ERR, "%s(%d) failed to get GID for user=%s, sid=%s", kFileShareLogSource, __LINE__, user, sid);
        return -1;
    }
    // A failure is only logged: the process goes on with the user's own
    // group alone, never with root's groups.
    if (arx::privilege::TakeGroupsOf(user, static_cast<gid_t>(gid)) != 1)
        VLIBCLog(LOG_ERR, "%s(%d) failed to initgroup for user=%s, sid=%s", kFileShareLogSource, __LINE__, user, sid);
    if (VornCgiEGidSet(sid, user) < 0) {
        VLIBCLog(LOG_ERR, "%s(%d) failed to set GID for user=%s, sid=%s", kFileShareLogSource, __LINE__, user, sid);
        return -1;
    }
    if (VornCgiEUidSet(sid, user) < 0) {
        VLIBCLog(LOG_ERR, "%s(%d) failed to set UID for user=%s, sid=%s", kFileShareLogSource, __LINE__, user, sid);
        return -1;
    }
    return 0;
}

int WebmanFileShare::WfmLibChown2Admin(const char* path, const char* user)
{
    if (path == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d) bad parameter", kFileShareLogSource, __LINE__);
        return -1;
    }
    const int type = VORNGetFSType(path, 0);
    if (type < 0) {
        VLIBCLog(LOG_ERR, "%s:%d(%s) : failed to get file-system type dir = %s", kFileShareLogSource, __LINE__,
                 __func__, path);
        return -1;
    }
    if (type == VORN_FS_VFAT || type == VORN_FS_NTFS || VORNFSIsRemoteFS(type) == 1 || VORNFSIsImageFS(type) == 1)
        return 0;  // owners mean nothing there
    VLIBUSERINFO info{};
    if (user == nullptr || VORNUserGet(user, &info) != 0)
        return -1;
    // Not through a link that may have taken the entry's place.
    if (fchownat(AT_FDCWD, path, info.uid, info.gid, AT_SYMLINK_NOFOLLOW) != 0) {
        VLIBCLog(LOG_ERR, "%s(%d) change %s owner to admin fail(%m)", kFileShareLogSource, __LINE__, path);
        return -1;
    }
    return 0;
}

int WebmanFileShare::WfmLibUmask()
{
    if (VLIBCFileCheckKeyValue(VORNRootPathString(VORN_INFO_FILE).c_str(), "webfm_use_unix_perm", "yes", 0) == 1)
        return -1;
    return static_cast<int>(umask(0));
}

void WebmanFileShare::WfmLibRestoreUmask(unsigned int mask)
{
    if (mask != static_cast<unsigned int>(-1))
        umask(static_cast<mode_t>(mask));
}

unsigned int WebmanFileShare::WfmLibGetUmask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

BOOL WebmanFileShare::WfmLibFileSystemSupported(const char* path)
{
    const int kind = path != nullptr ? VolumePathParse(path, nullptr, 0) : -1;
    if (kind < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Bad parameters: %s", kFileShareLogSource, __LINE__, path ? path : "(null)");
        return true;
    }
    if (kind != VORN_VOLUME_KIND_USB && kind != VORN_VOLUME_KIND_SATA)
        return true;
    if (VORNFSIsInMountTable(path) < 0)
        VORNGetFSType(path, 0);  // asked once more for its side effect, as callers expect
    const int type = VORNGetFSType(path, 0);
    if (type < 0) {
        VLIBCLog(LOG_ERR, "%s:%d VORNGetFSType got error", kFileShareLogSource, __LINE__);
        return false;
    }
    return type < 20 && ((kSupportedTypes >> type) & 1) != 0;
}

BOOL WebmanFileShare::WfmLibGetShareEaDirTmpPath(const char* path, char* out, size_t size)
{
    if (path == nullptr || out == nullptr) {
        WfmLibSetErr(WEBFM_ERR_BAD_PARAMETER);
        return false;
    }
    char name[4096];
    char folder[4096];
    if (VORNShareNamePathGet(path, name, sizeof name, folder, sizeof folder) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d VORNShareNamePathGet failed, path=%s, vornerr=[0x%04X %s:%d]", kFileShareLogSource,
                 __LINE__, path, VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
        WfmLibSetErr(WEBFM_ERR_BAD_PATH);
        return false;
    }
    const std::string ea = std::string(folder) + "/" + VORN_EA_DIR_NAME;
    if (VORNEAMKDir(ea.c_str()) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to create %s [0x%04X %s:%d]", kFileShareLogSource, __LINE__, ea.c_str(),
                 VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
        return false;
    }
    const std::string tmp = ea + "/@tmp";
    // Failures of these steps are ignored, as the callers expect; the mode
    // and owner go through a descriptor, never through a planted link.
    mkdir(tmp.c_str(), 01777);
    const int fd = open(tmp.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
        if (fchown(fd, 0, 0) != 0 || fchmod(fd, 01777) != 0)
            VLIBCLog(LOG_ERR, "%s:%d cannot settle %s: %m", kFileShareLogSource, __LINE__, tmp.c_str());
        close(fd);
    }
    snprintf(out, size, "%s", tmp.c_str());
    return true;
}

BOOL WebmanFileShare::CheckDirListPrivilege(const char* path)
{
    if (path == nullptr)
        return false;
    WfmLibSetErr(WEBFM_ERR_NONE);
    if (chdir(path) != 0) {
        WfmLibSetErr(ErrorOf(errno));
        VLIBCLog(LOG_ERR, "%s:%d Failed to chdir %s. [%m]", kFileShareLogSource, __LINE__, path);
        return false;
    }
    DIR* dir = opendir(path);
    if (dir == nullptr) {
        WfmLibSetErr(ErrorOf(errno));
        VLIBCLog(LOG_ERR, "%s:%d Failed to opendir %s. [%m]", kFileShareLogSource, __LINE__, path);
        return false;
    }
    closedir(dir);
    return true;
}
