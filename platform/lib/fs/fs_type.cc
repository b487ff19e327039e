// File-system types and mount points.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/mount.h>

#include "lib/core/no_throw.h"
#include "lib/fs/mount_table.h"

namespace {

void SetErrorOf(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        VLIBCErrSet(VLIB_ERR_PATH_NOT_FOUND);
        break;
    case EACCES:
    case EPERM:
        VLIBCErrSet(VLIB_ERR_PERMISSION_DENIED);
        break;
    default:
        VLIBCErrSet(VLIB_ERR_SYSTEM);
        break;
    }
}

// The type statfs(2) tells, by the file system's magic number.  ext2, ext3
// and ext4 share one: ext4, unless the mount table says otherwise.
int CodeOfMagic(unsigned long magic)
{
    struct Magic {
        unsigned long magic;
        int code;
    };
    static const Magic kMagics[] = {
        {0x4d44, VORN_FS_VFAT},           {0xEF53, VORN_FS_EXT4},      {0x9123683E, VORN_FS_BTRFS},
        {0x6969, VORN_FS_NFS},            {0x482b, VORN_FS_HFSPLUS},   {0x9660, VORN_FS_ISO9660},
        {0x58465342, VORN_FS_XFS},        {0x15013346, VORN_FS_UDF},   {0xFF534D42, VORN_FS_CIFS},
        {0xFE534D42, VORN_FS_CIFS},       {0x65735546, VORN_FS_FUSE},  {0x5346544e, VORN_FS_NTFS},
        {0x73717368, VORN_FS_SQUASHFS},   {0x01021994, VORN_FS_TMPFS}, {0x794c7630, VORN_FS_OVERLAY},
        {0x2011BAB0, VORN_FS_EXFAT},      {0xF2F52010, VORN_FS_F2FS},
    };
    for (const Magic& known : kMagics) {
        if (known.magic == (magic & 0xffffffffUL))
            return known.code;
    }
    return VORN_FS_OTHER;
}

// Whether path is point or lies below it, element by element.
bool IsAtOrBelow(const std::string& path, const std::string& point)
{
    if (path.compare(0, point.size(), point) != 0)
        return false;
    return path.size() == point.size() || point == "/" || path[point.size()] == '/';
}

// The type of the innermost mount that holds path, -1 when the table
// names none.
int TypeFromTable(const char* path)
{
    char resolved[PATH_MAX];
    if (realpath(path, resolved) == nullptr)
        return -1;
    std::vector<vorn::MountEntry> entries;
    if (!vorn::ReadMountTable(entries))
        return -1;
    const std::string target = resolved;
    const vorn::MountEntry* best = nullptr;
    for (const vorn::MountEntry& entry : entries) {
        // The later of two mounts at one point is the one on top.
        if (IsAtOrBelow(target, entry.point) && (best == nullptr || entry.point.size() >= best->point.size()))
            best = &entry;
    }
    return best != nullptr ? vorn::FsTypeCode(best->type) : -1;
}

}  // namespace

extern "C" int VORNGetFSType(const char* path, int /*flags*/)
{
    if (path == nullptr || path[0] == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        errno = EINVAL;
        return -1;
    }
    struct statfs fs;
    if (statfs(path, &fs) != 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR || error == EACCES)
            SetErrorOf(error);
        else
            VLIBCErrSet(VLIB_ERR_FS_EXAMINE_FAILED);
        errno = error;
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const int fromTable = TypeFromTable(path);
        return fromTable >= 0 ? fromTable : CodeOfMagic(static_cast<unsigned long>(fs.f_type));
    });
}

extern "C" int VORNFSIsInMountTable(const char* path)
{
    if (path == nullptr || path[0] != '/') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<vorn::MountEntry> entries;
        if (!vorn::ReadMountTable(entries)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        const std::string point = vorn::WithoutTrailingSlashes(path);
        int type = -1;
        for (const vorn::MountEntry& entry : entries) {
            if (entry.point == point)
                type = vorn::FsTypeCode(entry.type);
        }
        if (type < 0)
            VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return type;
    });
}

extern "C" int VORNFSIsRemoteFS(int type)
{
    return type == VORN_FS_NFS || type == VORN_FS_CIFS ? 1 : 0;
}

extern "C" int VORNFSIsImageFS(int type)
{
    return type == VORN_FS_ISO9660 || type == VORN_FS_UDF || type == VORN_FS_SQUASHFS ? 1 : 0;
}

extern "C" int VORNFSDirIsMntPoint(const char* path)
{
    if (path == nullptr || path[0] == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    struct statx st;
    if (statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE | STATX_INO, &st) != 0) {
        SetErrorOf(errno);
        return -1;
    }
    if ((st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0 && (st.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0)
        return 1;
    return vorn::NoThrow(-1, [&] {
        if ((st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0) {
            // An older kernel: a mount point lies on another device than
            // its parent (bind mounts of one file system are not told apart).
            struct stat self;
            struct stat parent;
            const std::string up = std::string(path) + "/..";
            if (stat(path, &self) == 0 && stat(up.c_str(), &parent) == 0 &&
                (self.st_dev != parent.st_dev || self.st_ino == parent.st_ino))
                return 1;
        }
        if (!vorn::RootHasOwnMountTable())
            return 0;
        return VORNFSIsInMountTable(path) >= 0 ? 1 : 0;
    });
}
