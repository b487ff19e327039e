/*
 * Sessions, login, authorization and the identity of a session's user.
 *
 * The session store is one JSON file per session under the root's
 * /run/vorn/session/, named by the session id: 128 random bits, base64url
 * (22 characters).  The browser holds the id in the cookie "id".  An id
 * that does not have exactly that form is refused before any file is
 * touched, and a login always makes a fresh id: an id the client brought is
 * never adopted.
 */
#ifndef VORN_SESSION_H
#define VORN_SESSION_H

#include <stdbool.h>

#include <vorn/cgi.h>
#include <vorn/export.h>

#ifndef VORN_HAVE_BOOL
#define VORN_HAVE_BOOL
typedef int BOOL;
#endif

/* The session store (before root mapping). */
#define VORN_SESSION_DIR "/run/vorn/session"
/* Failed-login counters, one file per client address and per account name. */
#define VORN_AUTOBLOCK_DIR "/run/vorn/autoblock"

/* The credentials of a login.  The library reads only the first member. */
typedef struct _tag_login_params {
    const char *szUser;      /* the user name; the single sign-on logins point
                                it at the name the token carries (text of the
                                CGI record) */
    const char *szPasswd;    /* the password */
    const char *szLanguage;  /* the UI language chosen at login ("enu", ...),
                                or NULL: kept as the session's language */
} VORN_LOGIN_PARAMS;

/* Results of the login operations. */
#define VORN_LOGIN_SUCCESS        1
#define VORN_LOGIN_WRONG          0   /* unknown user or wrong password, alike */
#define VORN_LOGIN_SYSTEM_ERROR  -1
#define VORN_LOGIN_DISABLED      -2   /* account locked or expired */
#define VORN_LOGIN_OTP_NEEDED    -3   /* a (valid) one-time code is needed */
#define VORN_LOGIN_BLOCKED       -4   /* the client address is blocked */

/* Where in the UI the calling program stands; passed through to the
 * authorization check, which attaches no meaning to it. */
typedef enum _tag_cgi_position {
    CGI_POSITION_DESKTOP = 0,
    CGI_POSITION_LOGIN = 1,
    CGI_POSITION_SHARING = 2
} CGI_POSITION;

/* The authorization request record. */
typedef struct _tag_cgi_auth_request {
    int level;       /* VORN_AUTH_... bits */
    bool noRefresh;  /* true: the check does not keep the session alive */
} VORN_AUTH_REQUEST;

/* Authorization levels (bits of VORN_AUTH_REQUEST.level). */
#define VORN_AUTH_USER   0x1  /* any logged-in user */
#define VORN_AUTH_ADMIN  0x2  /* a member of the administrators group */

/* Results of VornCgiIsAuthorized. */
#define VORN_AUTH_OK             1
#define VORN_AUTH_TIMEOUT       -1  /* unknown or expired session */
#define VORN_AUTH_NOPRIVILEGE   -2  /* an administrator is needed */
#define VORN_AUTH_RELOGIN       -3  /* the session was ended for the user */
#define VORN_AUTH_UNAUTH        -5  /* no session id, or a missing token */
#define VORN_AUTH_ERRORIP       -8  /* another client address */

/* Which attribute of a session a value is matched against. */
typedef enum _tag_current_user_index {
    CURRENT_USER_INDEX_SID = 0,
    CURRENT_USER_INDEX_USER = 1,     /* the user name, ignoring ASCII case */
    CURRENT_USER_INDEX_ADDRESS = 2   /* the client address */
} CURRENT_USER_INDEX;

/* Options of VornCgiGetOption. */
#define VORN_OPTION_SESSION_ID 1
#define VORN_OPTION_TOKEN      2
#define VORN_OPTION_USER       3

/* json-c's object type: the session filter receives each session as one. */
struct json_object;
typedef BOOL (*VornCgiSessionFilter)(struct json_object *session, void *data);

VORN_BEGIN_DECLS

/* Logins.  out (size bytes) receives the new session id; the CGI record
 * knows the session afterwards and the cookie "id" is queued.  Checks, in
 * order: the attempt is counted and neither the client address nor the
 * account name is blocked, the user exists, the password matches, the
 * account is neither locked nor expired, and for a user with a
 * one-time-code secret, the code.  Results: VORN_LOGIN_...; every failure
 * but VORN_LOGIN_OTP_NEEDED without a code counts toward blocking the
 * client address and the account name. */
VORN_EXPORT int VornCgiLogin(VornCgi *cgi, char *out, int size, VORN_LOGIN_PARAMS *params);
VORN_EXPORT int VornCgiLoginWithOTPAuth(VornCgi *cgi, char *out, int size, VORN_LOGIN_PARAMS *params,
                                        const char *otpCode);

/* Single sign-on: token is a signed JWT (RS256 or ES256) of an identity
 * provider configured under /usr/vorn/etc/sso/ ("azure" or "oidc" type);
 * the user is the one its configured claim names, exactly, and must be an
 * ordinary local account (uid at least UID_MIN of /etc/login.defs, 1000
 * without one).  A token is accepted once.  params->szPasswd is not used.
 * flag: reserved.  Results as above; a refused, misnamed or reused token is
 * VORN_LOGIN_WRONG. */
VORN_EXPORT int VornCgiLoginWithAzureSSOAuth(VornCgi *cgi, char *out, int size, VORN_LOGIN_PARAMS *params,
                                             const char *token, bool flag);
VORN_EXPORT int VornCgiLoginWithOIDCSSOAuth(VornCgi *cgi, char *out, int size, VORN_LOGIN_PARAMS *params,
                                            const char *token, bool flag);

/* A session for an existing, usable account without any credential check:
 * for callers that authenticated the user themselves.  1, 0 unknown user,
 * -2 locked or expired, -1 system error. */
VORN_EXPORT int VornCgiLoginNoAuth(VornCgi *cgi, char *out, int size, VORN_LOGIN_PARAMS *params);

/* Checks credentials as VornCgiLoginWithOTPAuth does (otpCode: the one-time
 * code or NULL), counting failures, but creates no session. */
VORN_EXPORT int VornCgiTestLogin(VORN_LOGIN_PARAMS *params, const char *otpCode);

/* Ends the session of the request (the cookie "id") when it belongs to user
 * (any user when user is NULL or empty), and queues the removal of the
 * cookie.  1, or 0 when there was no such session. */
VORN_EXPORT int VornCgiLogout(VornCgi *cgi, const char *user);

/* Ends every session whose attribute (CURRENT_USER_INDEX) equals value: they
 * answer VORN_AUTH_RELOGIN until they would have expired.  flags: reserved.
 * The number of sessions ended, or -1. */
VORN_EXPORT int VornCgiLogoutByAttr(VornCgi *cgi, int attribute, const char *value, int flags);
VORN_EXPORT int VornCgiRemoveSessionByIndex(VornCgi *cgi, CURRENT_USER_INDEX index, const char *value);

/* Calls filter for every live session with a json-c object holding "id",
 * "user", "uid", "gid", "address", "language", "created" and
 * "last_access" (not the token), and ends the sessions for which it
 * returns true.  The number ended, or -1 (libjson-c is loaded on first
 * use). */
VORN_EXPORT int VornCgiRemoveSessionByFunc(VornCgi *cgi, VornCgiSessionFilter filter, void *data);

/* Validates the session named by the cookie "id".  On success writes its
 * user into user (size bytes) and returns 1; otherwise VORN_AUTH_...:
 * no id -5; unknown, malformed or expired -1; ended for its user -3; an
 * account deleted, locked, expired or renumbered since the login -1;
 * another client address -8 (while session_check_ip is on and the record's
 * skip_check_ip is 0); an administrator needed -2; tokens on, a method
 * other than GET or HEAD, and neither the header X-VornToken nor the
 * parameter "VornToken" carries the session's token -5.  The last access is
 * refreshed at most every 30 s, never for a request with the header
 * X-Vorn-Background: 1 or with request->noRefresh.  position: passed
 * through. */
VORN_EXPORT int VornCgiIsAuthorized(VornCgi *cgi, char *user, int size, VORN_AUTH_REQUEST *request,
                                    CGI_POSITION position);

/* Nonzero when state-changing requests must carry the session token
 * (configuration key token_enable). */
VORN_EXPORT int VornCgiIsTokenEnable(VornCgi *cgi);

/* VORN_OPTION_... of the request's session (the one a login of this
 * process made, else the cookie's, while it is live), or defaultValue.
 * The text belongs to the record. */
VORN_EXPORT const char *VornCgiGetOption(VornCgi *cgi, int option, const char *defaultValue);

/* Writes the path of the request's session file into buffer.  Its length,
 * or -1 when there is no live session or it does not fit. */
VORN_EXPORT int VornCgiGetSessPath(VornCgi *cgi, char *buffer, int size);

/* The UI language: the session's, else the first supported language of
 * Accept-Language, else the configuration key language, else "enu". */
VORN_EXPORT const char *VornCgiGetLang(VornCgi *cgi);

/* The uid and primary gid of the user of a live session, when the session
 * id and the user name (ignoring ASCII case) match and the account is still
 * as it was at login (same name, uid and gid, not locked or expired); else
 * -1. */
VORN_EXPORT int VornCgiUIDGet(const char *sid, const char *user);
VORN_EXPORT int VornCgiGIDGet(const char *sid, const char *user);

/* Switch to the session user's ids: the E... forms change the effective id
 * only; VornCgiUidSet / VornCgiGidSet change the real, effective and saved
 * ids, a permanent drop.  0, or -1 (the ids are then as they were). */
VORN_EXPORT int VornCgiEUidSet(const char *sid, const char *user);
VORN_EXPORT int VornCgiEGidSet(const char *sid, const char *user);
VORN_EXPORT int VornCgiUidSet(const char *sid, const char *user);
VORN_EXPORT int VornCgiGidSet(const char *sid, const char *user);

VORN_END_DECLS

#endif
