// The sub-folders of one directory, for the folder trees of the web UI.

#include <arx/webman_file_share.h>

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include <vorn/acl.h>
#include <vorn/log.h>
#include <vorn/mount.h>
#include <vorn/root.h>
#include <vorn/unicode.h>

#include <arx/webutils.h>

#include "file_share/log_source.h"

using arx::file_share::kFileShareLogSource;

namespace {

WEBFMERR ErrorOf(int error)
{
    if (error == ENOENT || error == ENOTDIR)
        return WEBFM_ERR_NOT_FOUND;
    if (error == EACCES)
        return WEBFM_ERR_PERMISSION;
    return WEBFM_ERR_SYSTEM;
}

// A remote mount whose server is gone: listed, so that the user sees it
// and can repair it.
bool IsFailedRemoteMount(const std::string& fullPath)
{
    const int type = VORNFSIsInMountTable(fullPath.c_str());
    return type != -1 && VORNFSIsRemoteFS(type) == 1;
}

_tag_SUBDIR_ENTRY_INFO_ FailedRemoteMount(const char* name, const std::string& fullPath)
{
    return _tag_SUBDIR_ENTRY_INFO_{name, fullPath, 0, 0, 0, 0, 0, 1, "remotefail"};
}

// Whether the kernel's word on mount points is the whole answer: not when
// the root has a mount table of its own (a scratch root), which may name
// more (<vorn/mount.h>).  Asked once per listing.
bool KernelKnowsMounts()
{
    if (VORNRootDir()[0] == '\0')
        return true;
    struct stat st;
    return stat(VORNRootPathString(VORN_MOUNT_TABLE).c_str(), &st) != 0;
}

_tag_SUBDIR_ENTRY_INFO_ Entry(const char* name, const std::string& fullPath, const struct statx& st,
                              bool kernelKnowsMounts)
{
    _tag_SUBDIR_ENTRY_INFO_ entry{name,
                                  fullPath,
                                  static_cast<int64_t>(st.stx_size),
                                  static_cast<uint64_t>(st.stx_mode),
                                  static_cast<int64_t>(st.stx_mtime.tv_sec),
                                  static_cast<uint32_t>(st.stx_uid),
                                  static_cast<uint32_t>(st.stx_gid),
                                  0,
                                  ""};
    // The status tells whether it is the root of a mount: only those need
    // the second look, when the kernel's word is the whole answer.
    const bool told = kernelKnowsMounts && (st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0;
    const bool mountRoot = (st.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    if ((!told || mountRoot) && WebUtils::IsMountPoint(fullPath)) {
        entry.isMountPoint = 1;
        entry.mountType = WebUtils::getMountType(fullPath);
    }
    return entry;
}

}  // namespace

BOOL WebmanFileShare::WfmLibEnumSubDir(std::string dir, std::vector<_tag_SUBDIR_ENTRY_INFO_>& list)
{
    if (dir.empty()) {
        VLIBCLog(LOG_ERR, "%s:%d Bad parameter", kFileShareLogSource, __LINE__);
        return false;
    }
    WfmLibSetErr(WEBFM_ERR_NONE);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        WfmLibSetErr(ErrorOf(errno));
        return false;
    }
    const BOOL listed = WfmLibEnumSubDirAt(fd, std::move(dir), list);
    close(fd);
    return listed;
}

BOOL WebmanFileShare::WfmLibEnumSubDirAt(int dirFd, std::string dir, std::vector<_tag_SUBDIR_ENTRY_INFO_>& list)
{
    if (dir.empty() || dirFd < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Bad parameter", kFileShareLogSource, __LINE__);
        return false;
    }
    WfmLibSetErr(WEBFM_ERR_NONE);
    // The stream gets a descriptor of its own, opened for reading (the
    // caller's may be a path descriptor), and the caller's stays open.
    const int streamFd = openat(dirFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* stream = streamFd >= 0 ? fdopendir(streamFd) : nullptr;
    if (stream == nullptr) {
        WfmLibSetErr(ErrorOf(errno));
        if (streamFd >= 0)
            close(streamFd);
        return false;
    }
    rewinddir(stream);
    const int readFd = dirfd(stream);
    const bool kernelKnowsMounts = KernelKnowsMounts();
    while (const struct dirent* found = readdir(stream)) {
        const char* name = found->d_name;
        if ((found->d_type != DT_DIR && found->d_type != DT_UNKNOWN) || strcmp(name, ".") == 0 ||
            strcmp(name, "..") == 0 || VORNEAIsHiddenFile(name) == 1)
            continue;
        // A "/" always, also after a dir that ends with one.
        const std::string fullPath = dir + "/" + name;
        // lstat, with the mount-root attribute in the same call.
        struct statx st;
        if (statx(readFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &st) != 0) {
            if (IsFailedRemoteMount(fullPath))
                list.push_back(FailedRemoteMount(name, fullPath));
            continue;
        }
        if (S_ISDIR(st.stx_mode))
            list.push_back(Entry(name, fullPath, st, kernelKnowsMounts));
    }
    closedir(stream);
    // The folder tree's order; names equal but for case in no defined order.
    std::sort(list.begin(), list.end(), [](const _tag_SUBDIR_ENTRY_INFO_& a, const _tag_SUBDIR_ENTRY_INFO_& b) {
        return VLIBCUnicodeUTF8StrCaseCmp(a.name.c_str(), b.name.c_str()) < 0;
    });
    return true;
}
