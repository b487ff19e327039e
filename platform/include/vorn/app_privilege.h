/*
 * Who may open which desktop application: the table
 * /usr/vorn/etc/app_privilege.json (under the root), one member per
 * application id:
 *
 *   {"Demo.Notes": {"allow": ["alice", "@staff"], "deny": ["bob"]}}
 *
 * A name is a user, "@NAME" a group (members as VLIBGroupIsMember counts
 * them).  Deny wins over allow; a user neither list names, or an
 * application the table does not hold, is not allowed.  Writers replace the
 * file atomically under an exclusive flock on "app_privilege.json.lock".
 */
#ifndef VORN_APP_PRIVILEGE_H
#define VORN_APP_PRIVILEGE_H

#include <vorn/export.h>

/* The table, before root mapping. */
#define VORN_APP_PRIVILEGE_FILE "/usr/vorn/etc/app_privilege.json"

/* A name's rule for one application. */
#define VLIB_APP_PRIV_NONE 0  /* in neither list */
#define VLIB_APP_PRIV_ALLOW 1
#define VLIB_APP_PRIV_DENY 2

VORN_BEGIN_DECLS

/* 1 when user may open app, 0 when not (denied, not allowed, no entry, no
 * table), -1 when the table or the group database cannot be read or is not
 * what it should be, or an argument is bad.  extra: reserved, NULL or "". */
VORN_EXPORT int VLIBAppPrivUserHas(const char *user, const char *app, const char *extra);

/* Sets name's rule for app (VLIB_APP_PRIV_NONE takes name off both lists,
 * and an application left with empty lists off the table).  name: a user
 * or "@group", neither empty nor longer than 255 bytes nor holding control
 * characters; app likewise.  0, or -1 (bad argument, a table that cannot be
 * read, locked or written: it is then unchanged). */
VORN_EXPORT int VLIBAppPrivSet(const char *app, const char *name, int rule);

/* Calls visit(name, rule, context) for each name on app's lists, allow
 * list first, in table order.  The number of names visited (0 for an
 * application the table does not hold, or no table), or -1 when the table
 * cannot be read or an argument is bad. */
typedef void (*VLIBAppPrivVisitor)(const char *name, int rule, void *context);
VORN_EXPORT int VLIBAppPrivEnum(const char *app, VLIBAppPrivVisitor visit, void *context);

/* A text that changes whenever an answer of VLIBAppPrivUserHas may have
 * changed: the table or the group database was replaced or modified.
 * Writes it into buffer; its length, or -1 (buffer too small). */
VORN_EXPORT int VLIBAppPrivStampGet(char *buffer, int size);

VORN_END_DECLS

#endif
