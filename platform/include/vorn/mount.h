/*
 * File-system types and the mount table.
 *
 * The mount table is the root's /proc/self/mounts when the root has one
 * (a scratch root's own table, whose mount points are system paths and are
 * mapped into the root), else the process's own /proc/self/mounts.
 */
#ifndef VORN_MOUNT_H
#define VORN_MOUNT_H

#include <vorn/export.h>

/* The mount table (before root mapping). */
#define VORN_MOUNT_TABLE "/proc/self/mounts"

/* File-system type codes. */
#define VORN_FS_VFAT     0
#define VORN_FS_EXT3     1
#define VORN_FS_EXT4     2
#define VORN_FS_BTRFS    3
#define VORN_FS_NFS      4
#define VORN_FS_HFSPLUS  5
#define VORN_FS_ISO9660  6
#define VORN_FS_EXT2     7
#define VORN_FS_XFS      8
#define VORN_FS_UDF      9
#define VORN_FS_CIFS     10
#define VORN_FS_FUSE     11
#define VORN_FS_NTFS     12
#define VORN_FS_SQUASHFS 13
#define VORN_FS_TMPFS    14
#define VORN_FS_OVERLAY  15
#define VORN_FS_EXFAT    18
#define VORN_FS_F2FS     19
#define VORN_FS_OTHER    20

VORN_BEGIN_DECLS

/* The type code of the file system that holds path: the type the mount
 * table gives for the mount point that path lies below (the longest one),
 * else the one statfs(2) tells.  path must exist.  flags: reserved, 0.
 * -1 when statfs fails (errno tells why: ENOENT, ENOTDIR, EACCES, ...),
 * with the last error VLIB_ERR_PATH_NOT_FOUND, VLIB_ERR_PERMISSION_DENIED
 * or VLIB_ERR_FS_EXAMINE_FAILED. */
VORN_EXPORT int VORNGetFSType(const char *path, int flags);

/* The type code of the mount whose mount point is exactly path (a trailing
 * '/' ignored; the last such line when mounts are stacked), -1 when the
 * mount table lists no such mount point or cannot be read. */
VORN_EXPORT int VORNFSIsInMountTable(const char *path);

/* 1 for the type code of a remote file system (nfs, cifs), else 0. */
VORN_EXPORT int VORNFSIsRemoteFS(int type);

/* 1 for the type code of an image file system (iso9660, udf, squashfs),
 * else 0. */
VORN_EXPORT int VORNFSIsImageFS(int type);

/* 1 when the directory path is a mount point (the kernel says it is the
 * root of a mount, or the root's own mount table lists it), 0 when not, -1
 * when it cannot be examined (VLIB_ERR_PATH_NOT_FOUND,
 * VLIB_ERR_PERMISSION_DENIED, VLIB_ERR_SYSTEM). */
VORN_EXPORT int VORNFSDirIsMntPoint(const char *path);

VORN_END_DECLS

#endif
