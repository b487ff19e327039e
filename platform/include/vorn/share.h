/*
 * Shared folders: the sections of the root's /usr/vorn/etc/share.conf.
 *
 *   [public]
 *   path=/volume1/public      the folder (a system path, root-mapped)
 *   encrypted=no              yes: an encrypted shared folder
 *   hide_unreadable=no        yes: ordinary users do not see what they cannot read
 *   rw=@users                 read-write: comma list of users and @groups
 *   ro=guest                  read-only
 *   deny=retired              no access; deny wins, then rw, then ro
 *   attr=0                    the attribute word (VORN_SHARE_ATTR_...)
 *
 * A share is named exactly as its section: names are compared byte for
 * byte, so a name that differs in ASCII or Unicode case, or in Unicode
 * normalisation, names no share.
 */
#ifndef VORN_SHARE_H
#define VORN_SHARE_H

#include <vorn/export.h>
#include <vorn/list.h>

/* The shares' configuration (before root mapping). */
#define VORN_SHARE_FILE "/usr/vorn/etc/share.conf"

/* Bits of the attribute word; they bind users outside the administrators
 * group only. */
#define VORN_SHARE_ATTR_NO_LIST  0x1 /* the share's folders may not be listed */
#define VORN_SHARE_ATTR_NO_FETCH 0x4 /* its files may not be fetched (downloaded) */

/* Privileges of VORNShareUserPrivGet. */
#define VORN_SHARE_PRIV_NONE 0
#define VORN_SHARE_PRIV_RO   1
#define VORN_SHARE_PRIV_RW   2

typedef struct _tag_VORNSHARE {
    char szName[256];   /* as share.conf spells it */
    char szPath[4096];  /* the share's folder, root-mapped */
    char *szRW;         /* the privilege data: comma lists, "" when none */
    char *szRO;
    char *szDeny;
    unsigned int attr;  /* the attribute word */
    int encrypted;      /* 1 for encrypted=yes, else 0 */
    int hideUnreadable; /* 1 for hide_unreadable=yes, else 0 */
} VORNSHARE;

VORN_BEGIN_DECLS

/* Reads the share name into a new record (*share), freed with
 * VORNShareFree.  0, or -1: VLIB_ERR_BAD_PARAMETERS (no name, an empty one,
 * or one holding '/' or a control character), VLIB_ERR_NOT_FOUND (no such
 * section), VLIB_ERR_NO_VOLUME (the section names no absolute path, or it
 * does not fit), VLIB_ERR_OPEN_FAILED (share.conf cannot be read). */
VORN_EXPORT int VORNShareGet(const char *name, VORNSHARE **share);

/* Frees a record of VORNShareGet; NULL is ignored. */
VORN_EXPORT void VORNShareFree(VORNSHARE *share);

/* Appends the names of every share to *names, in file order (a section
 * named twice once, at its first place).  The number appended (0 when the
 * file is missing), or -1. */
VORN_EXPORT int VORNShareEnum(VLIBSZLIST **names);

/* The share that holds path (a file-system path, as VORNShareGet gives a
 * share's szPath): the share whose folder is path or the longest one that
 * path lies below, compared element by element.  Its name and folder go
 * into name and sharePath (sizes with the terminator).  0, or -1:
 * VLIB_ERR_BAD_PARAMETERS, VLIB_ERR_NOT_FOUND (no share holds it),
 * VLIB_ERR_BUFFER_TOO_SMALL, VLIB_ERR_OPEN_FAILED. */
VORN_EXPORT int VORNShareNamePathGet(const char *path, char *name, int nameSize, char *sharePath,
                                     int sharePathSize);

/* The privilege of user on share: VORN_SHARE_PRIV_NONE, _RO or _RW.  A
 * user named in deny (or in a group named there) has none; else one named
 * in rw, or a member of the administrators group, may write; else one
 * named in ro may read.  User names compare ignoring ASCII case.  -1 when
 * an argument is missing or the user or group database cannot be read. */
VORN_EXPORT int VORNShareUserPrivGet(const char *user, const VORNSHARE *share);

/* 1 when the share hides from ordinary users what they cannot read, 0 when
 * not, -1 for no share. */
VORN_EXPORT int VLIBShareHideUnreadableGet(const VORNSHARE *share);

VORN_END_DECLS

#endif
