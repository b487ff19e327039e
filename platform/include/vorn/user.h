/*
 * Users, groups, passwords and preference directories.
 *
 * Local users and groups come from the root's /etc/passwd, /etc/group and
 * /etc/shadow; local names match exactly first, then ignoring ASCII case.
 * Group members are compared exactly with the name as the file spells it.
 * Names holding a backslash or "@" (directory users and groups, such as
 * "DOMAIN\bob") are looked up through the system's NSS instead.
 */
#ifndef VORN_USER_H
#define VORN_USER_H

#include <sys/types.h>

#include <vorn/export.h>

/* The group whose members are the appliance's administrators. */
#define VORN_ADMIN_GROUP "administrators"

/* Where preference directories live (before root mapping): USER/ for a
 * user, @GROUP/ for a group. */
#define VORN_PREFERENCE_DIR "/usr/vorn/etc/preference"

typedef struct _tag_vlib_user_info {
    char szName[493];  /* the name as the database spells it */
    uid_t uid;
    gid_t gid;
    char szHome[1024];
} VLIBUSERINFO;

VORN_BEGIN_DECLS

/* Looks a user up.  0, or -1 (VLIB_ERR_NOT_FOUND for an unknown user,
 * VLIB_ERR_OPEN_FAILED when the database cannot be read). */
VORN_EXPORT int VLIBUserInfoGet(const char *user, VLIBUSERINFO *info);

/* The user's groups: the primary gid first, then every group listing the
 * user.  Writes at most max gids and returns how many the user has (more
 * than max when they did not all fit), or -1. */
VORN_EXPORT int VLIBUserGroupsGet(const char *user, gid_t *groups, int max);

/* initgroups(3) over the platform's user database: sets the process's
 * supplementary groups to group and every group that lists the user (the
 * root's group file; NSS for directory users).  0, or -1 (unknown user, a
 * database that cannot be read, or setgroups refused). */
VORN_EXPORT int VLIBUserInitGroups(const char *user, gid_t group);

/* 1 when the user belongs to the group (primary gid or listed member), 0
 * when not or when either is unknown, -1 when a database cannot be read. */
VORN_EXPORT int VLIBGroupIsMember(const char *group, const char *user);

/* VLIBGroupIsMember for the administrators group.  flags: reserved, 0. */
VORN_EXPORT int VLIBGroupIsAdminGroupMem(const char *user, int flags);

/* Checks a password against the user's crypt(3) hash in the shadow file.
 * 1 the password matches; 0 wrong password or unknown user (the same work
 * is done for both, so they take about the same time); -2 the password
 * matches but the account is locked or expired; -1 system error (the
 * shadow file cannot be read, libcrypt is missing).  An empty hash never
 * matches. */
VORN_EXPORT int VLIBUserPasswordCheck(const char *user, const char *password);

/* 1 when the account is locked ("!" before its hash) or expired, 0 when it
 * is usable, -1 for an unknown user or when a database cannot be read. */
VORN_EXPORT int VLIBUserIsDisabled(const char *user);

/* The preference directory of a user (VORN_PREFERENCE_DIR/NAME) or a group
 * (VORN_PREFERENCE_DIR/@NAME), root-mapped, created on first request: a
 * user's 0700 owned by the user, a group's 0750 owned by root and the
 * group.  Writes the path into buffer; its length, or -1 (unknown user or
 * group, a name that cannot be a directory name, a path that does not fit,
 * or the directory cannot be created). */
VORN_EXPORT int VORNUserPreferenceDirGet(const char *user, char *buffer, int size);
VORN_EXPORT int VORNGroupPreferenceDirGet(const char *group, char *buffer, int size);

/* The name of the user a login name stands for, as the user database
 * spells it: a local name given in another ASCII case ("ALICE" for
 * "alice"), a directory user as NSS names it.  Writes it into out (size
 * bytes); its length (above 0), 0 when no user has that name (out is left
 * as it was), or -1 (a missing argument, a name that does not fit, a
 * database that cannot be read).  flags: reserved, 0. */
VORN_EXPORT int VORNUserLoginNameConvert(const char *input, char *out, int size, int flags);

/* Looks a user up as VLIBUserInfoGet does, with the home directory of a
 * local user mapped into the root (the root's passwd names system paths);
 * a directory user's home is the system's, as NSS gives it.  0, or -1. */
VORN_EXPORT int VORNUserGet(const char *user, VLIBUSERINFO *info);

/* The uid and gid of a user (either pointer may be NULL).  0, or -1
 * (VLIB_ERR_NOT_FOUND, VLIB_ERR_OPEN_FAILED, VLIB_ERR_BAD_PARAMETERS). */
VORN_EXPORT int VORNUserGetUGID(const char *user, uid_t *uid, gid_t *gid);

/* 1 when users have homes (the system configuration's userhome_enable,
 * "yes" unless it says otherwise), else 0. */
VORN_EXPORT int VORNServiceUserHomeIsEnabled(void);

/* Sets the process's effective uid and gid to those of user (through root
 * when the process runs as someone else; the real and saved ids stay, so
 * the switch can be undone), and with groups nonzero its supplementary
 * groups to the user's as well.  "root" is uid and gid 0 whatever the
 * user database says.  0, or -1 with the identity as it was before the
 * call (VLIB_ERR_BAD_PARAMETERS, VLIB_ERR_NOT_FOUND, VLIB_ERR_OPEN_FAILED,
 * VLIB_ERR_IDENTITY_FAILED). */
VORN_EXPORT int ResetCredentialsByName(const char *user, int groups);

VORN_END_DECLS

#endif
