/*
 * Directory enumeration, creating directories, and timed file locks.
 *
 * Paths are used as given: map fixed system paths with VORNRootPath first.
 */
#ifndef VORN_FS_H
#define VORN_FS_H

#include <vorn/export.h>

/* Flags of VLIBCDirEnum. */
#define VLIBC_DIR_SKIP_HIDDEN 0x01 /* skip names that begin with '.' */
#define VLIBC_DIR_FILES_ONLY  0x02 /* only regular files (symbolic links followed) */

VORN_BEGIN_DECLS

/* Calls visit(name, context) for the entries of the directory dir, "." and
 * ".." left out, in byte order of their names, so that the result does not
 * depend on the file system.  flags: VLIBC_DIR_... bits, 0 for every entry.
 * A visitor that returns nonzero ends the enumeration.
 *
 * Returns the number of entries visited, or -1 when the directory cannot be
 * read: the last error is then VLIB_ERR_NOT_FOUND when dir (or a directory
 * on its way) does not exist, VLIB_ERR_OPEN_FAILED for any other reason, and
 * errno tells why. */
typedef int (*VLIBCDirVisitor)(const char *name, void *context);
VORN_EXPORT int VLIBCDirEnum(const char *dir, int flags, VLIBCDirVisitor visit, void *context);

/* Creates the directory path (mkdir -p): with parents nonzero the missing
 * parents too (mode 0755, owned by the caller), else only the last element.
 * The directory this call creates gets exactly mode (the umask does not
 * apply) and, unless uid or gid is -1, that owner; both are set through a
 * descriptor opened without following links.  An existing directory is
 * left as it is (0).  flags: reserved, 0.  Returns 0, or -1 with the last
 * error VLIB_ERR_BAD_PARAMETERS (no path), VLIB_ERR_NOT_FOUND (a missing
 * parent when parents is 0) or VLIB_ERR_WRITE_FAILED (errno says why: a
 * file in the way, no permission, ...). */
VORN_EXPORT int VORNFSMkdirP(const char *path, int flags, int parents, int uid, int gid, int mode);

/* Takes an advisory flock on the file at path, creating it (mode 0644) when
 * it is missing; a symbolic link at path is refused.  exclusive: nonzero
 * for an exclusive lock, 0 for a shared one.  seconds: how long to keep
 * trying; the lock is tried without blocking until it is taken or the time
 * is up (0: one try).
 *
 * Holders may remove the lock file before they release it: a lock taken on
 * a file that is no longer the one at path does not count, and the file at
 * path is opened again.
 *
 * Returns a descriptor holding the lock, to be given to VLIBCFileUnlock, or
 * -1 with the last error VLIB_ERR_LOCK_FAILED (the time was up),
 * VLIB_ERR_OPEN_FAILED (the file cannot be opened or created) or
 * VLIB_ERR_BAD_PARAMETERS. */
VORN_EXPORT int VLIBCFileLockTimeByFile(const char *path, int exclusive, int seconds);

/* Releases a lock of VLIBCFileLockTimeByFile and closes its descriptor.
 * A negative descriptor is ignored.  0, or -1 when fd was not open. */
VORN_EXPORT int VLIBCFileUnlock(int fd);

VORN_END_DECLS

#endif
