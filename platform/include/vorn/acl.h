/*
 * Access permissions as the kernel grants them, and the hidden names of
 * the platform's extended-attribute folders.
 */
#ifndef VORN_ACL_H
#define VORN_ACL_H

#include <vorn/export.h>

/* Bits of VORNACLPermGet. */
#define VORN_ACL_READ    0x1 /* read the file, list the directory */
#define VORN_ACL_WRITE   0x2 /* change the file, add to the directory */
#define VORN_ACL_EXECUTE 0x4 /* run the file, enter the directory */
#define VORN_ACL_DELETE  0x8 /* remove or rename it (a matter of its directory) */
/* Every permission: what callers assume when none can be computed. */
#define VORN_ACL_ALL     0x1FFF

/* The folder of extended attributes and thumbnails in each directory. */
#define VORN_EA_DIR_NAME "@eaDir"

VORN_BEGIN_DECLS

/* The permissions the process's effective identity (uid, gid and
 * supplementary groups) has on path, as the kernel decides them
 * (faccessat with AT_EACCESS: modes, POSIX ACLs, read-only mounts):
 * VORN_ACL_READ, _WRITE and _EXECUTE of path itself (a final symbolic
 * link followed), and VORN_ACL_DELETE when the directory holding it may be
 * written and entered and its sticky bit, if set, leaves the entry to the
 * caller.  0, or -1 with *perm untouched: VLIB_ERR_BAD_PARAMETERS,
 * VLIB_ERR_PATH_NOT_FOUND (path or a directory on its way does not exist),
 * VLIB_ERR_PERMISSION_DENIED (a directory on its way may not be entered),
 * VLIB_ERR_SYSTEM. */
VORN_EXPORT int VORNACLPermGet(const char *path, unsigned int *perm);

/* 1 when name is a hidden extended-attribute directory ("@eaDir"), else 0. */
VORN_EXPORT int VORNEAIsHiddenDir(const char *name);

/* 1 when name is one of the platform's hidden entries that listings leave
 * out ("@eaDir", "@tmp", "@sharebin"), else 0. */
VORN_EXPORT int VORNEAIsHiddenFile(const char *name);

/* Creates the extended-attribute directory path (its last element should
 * be "@eaDir"), mode 0755, owned by the caller; its parent must exist.  An
 * existing directory is left as it is; anything else at path (a symbolic
 * link included) is refused.  0, or -1: VLIB_ERR_BAD_PARAMETERS,
 * VLIB_ERR_PATH_NOT_FOUND, VLIB_ERR_PERMISSION_DENIED,
 * VLIB_ERR_READ_ONLY_FS, VLIB_ERR_SYSTEM (errno says why). */
VORN_EXPORT int VORNEAMKDir(const char *path);

VORN_END_DECLS

#endif
