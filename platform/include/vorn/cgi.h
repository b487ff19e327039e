/*
 * The CGI record and the request operations of the platform.
 *
 * One CGI process answers one request.  The process owns one VornCgi
 * record (usually inside the request context); every request operation takes
 * it by address.  The request body is read from standard input once per
 * process and kept, whichever record asks for it.
 */
#ifndef VORN_CGI_H
#define VORN_CGI_H

#include <stddef.h>

#include <vorn/export.h>
#include <vorn/hash.h>

typedef struct VornCgiPrivate VornCgiPrivate;

/* The CGI record.  Callers read or write only the first three members; the
 * rest belongs to the platform. */
typedef struct _tag_vorn_cgi {
    char *session_file;   /* path of this request's session file, or NULL */
    char *lock_file;      /* path of the session's lock file, or NULL */
    int skip_check_ip;    /* 1: the session check does not compare addresses */
    VornCgiPrivate *priv; /* parameters, cookies, queued headers */
} VornCgi;

/* The client's browser, as the request context describes it. */
typedef struct _tag_vorn_browser_info_ {
    int type;            /* VORN_BROWSER_... */
    char szVersion[32];  /* digits and dots (Edge: the text after its marker) */
} VORN_BROWSER_INFO;

#define VORN_BROWSER_IE       1
#define VORN_BROWSER_FIREFOX  2
#define VORN_BROWSER_SAFARI   3
#define VORN_BROWSER_CHROME   4
#define VORN_BROWSER_FACEBOOK 5  /* the link-preview crawler */
#define VORN_BROWSER_EDGE     6
#define VORN_BROWSER_OTHER    7
#define VORN_BROWSER_NONE     8  /* no User-Agent header */

VORN_BEGIN_DECLS

/* Sets the record up for this request.  base: the directory of the calling
 * module's UI files ("" for the default).  0, or -1 on failure. */
VORN_EXPORT int VornCgiInit(const char *base, VornCgi *cgi);

/* Frees what the record owns; the record may be freed twice. */
VORN_EXPORT void VornCgiFree(VornCgi *cgi);

/* Request parameters.
 *
 * VornCgiGetParamLine: the raw parameter text as a malloc'ed string the
 * caller frees, or NULL when there is none.  GET and HEAD give QUERY_STRING;
 * other methods give the body (exactly CONTENT_LENGTH bytes of standard
 * input), unless it is multipart/form-data, which only the upload
 * operations read.  A body larger than the configuration key cgi_max_body
 * (1 MiB unless configured), shorter than announced, or holding a NUL byte
 * gives NULL, one log line and a platform error, and so does every later
 * call. */
VORN_EXPORT char *VornCgiGetParamLine(void);

/* Decodes name=value pairs joined by '&' into the record: '+' is a space,
 * %HH is decoded, a malformed '%' stays as written, pairs whose decoded name
 * or value holds a NUL and pairs with an empty name are dropped, the first
 * occurrence of a name wins.  Returns the number of pairs kept, or -1. */
VORN_EXPORT int VornCgiParseCGIParam(VornCgi *cgi, const char *line);

/* A parameter decoded by VornCgiParseCGIParam, or defaultValue.  The text
 * belongs to the record. */
VORN_EXPORT const char *VornCgiGetCGIParam(VornCgi *cgi, const char *name,
                                           const char *defaultValue);

/* A request parameter from QUERY_STRING or, once the body has been read and
 * when it is URL-encoded, from the body; query pairs come first.  Works
 * before and independently of VornCgiParseCGIParam.  flags: reserved, 0. */
VORN_EXPORT const char *VornCgiGetRequestParam(VornCgi *cgi, const char *name,
                                               const char *defaultValue,
                                               int flags);

/* Cookies: HTTP_COOKIE split at ';', blanks trimmed, name and value at the
 * first '=', first occurrence wins, no decoding.  Loading again re-reads the
 * variable.  Returns the number of cookies, or -1. */
VORN_EXPORT int VornCgiLoadInCookies(VornCgi *cgi);
VORN_EXPORT const char *VornCgiGetInCookies(VornCgi *cgi, const char *name,
                                            const char *defaultValue);

/* Queues a cookie: "name=value; Path=PATH; HttpOnly; SameSite=Lax", with
 * "; Secure" when HTTPS is on, "; Max-Age=N" when maxAge is positive (a
 * negative maxAge removes the cookie: Max-Age=0) and "; Domain=D" when a
 * domain is given.  path NULL or empty means "/".  flags: reserved, 0.
 * Returns 1, or 0 when the name, value, path or domain is refused. */
VORN_EXPORT int VornCgiSetCookies(VornCgi *cgi, const char *name,
                                  const char *value, long maxAge,
                                  const char *path, const char *domain,
                                  int flags);

/* Queues a response header.  Refuses (returns 0) an empty name, a name with
 * characters outside the HTTP token set, a value with CR, LF or another
 * control character but tab, and any header once the headers have been
 * printed.  A header of the same name (ignoring case) is replaced, except
 * Set-Cookie, which accumulates.  Returns 1 when queued. */
VORN_EXPORT int VornCgiSetHTTPHeader(VornCgi *cgi, const char *name,
                                     const char *value);

/* Prints the queued headers as "Name: value" lines ended by CRLF, then an
 * empty line, to standard output.  Once only: 1, then 0 on later calls. */
VORN_EXPORT int VornCgiPrintHTTPHeader(VornCgi *cgi);

/* Prints a redirect: "Status: 302 Found", "Location: TARGET" and the other
 * queued headers.  0, or -1 when the target is empty or holds CR, LF or
 * another control character, or the headers were already printed. */
VORN_EXPORT int VornCgiRedirect(VornCgi *cgi, const char *target);

/* The configuration handle.  VornCgiLoadInfo loads the system
 * configuration into the record: the factory defaults (the root's
 * /etc.defaults/vorninfo.conf) and the current values (/etc/vorninfo.conf,
 * falling back to the defaults for keys it lacks or leaves empty).  Missing
 * files count as empty.  0, or -1 for a bad record. */
VORN_EXPORT int VornCgiLoadInfo(VornCgi *cgi);

/* The current value of key, or defaultValue when it has none.  The text
 * belongs to the record. */
VORN_EXPORT const char *VornCgiGetInfo(VornCgi *cgi, const char *key, const char *defaultValue);

/* The factory default of key, or defaultValue. */
VORN_EXPORT const char *VornCgiGetDef(VornCgi *cgi, const char *key, const char *defaultValue);

/* 1 when the request is a POST with a multipart/form-data body (an
 * upload), else 0. */
VORN_EXPORT int VornCgiIsUploadRequest(void);

/* UI texts.  Loads the named sections (up to six, then NULL) of
 * BASE/texts/LANG/strings into the record, LANG being VornCgiGetLang's, with
 * every key that LANG lacks taken from "enu".  BASE is the directory given
 * to VornCgiInit, or the root's /usr/vorn/vornman/webman when that was
 * empty.  0, or -1 when neither file can be read. */
VORN_EXPORT int VornCgiLoadText(VornCgi *cgi, const char *section, ...);

/* The text of key ("key": the first loaded section that has it, in load
 * order; "section:key": that section), or defaultValue.  The text belongs
 * to the record. */
VORN_EXPORT const char *VornCgiGetText(VornCgi *cgi, const char *key, const char *defaultValue);

/* The record's text table, which VornCgiGetText reads: "key" and
 * "section:key" for every loaded text, filled anew by each
 * VornCgiLoadText.  A text stored here with VLIBCSzHashSetValue is what
 * VornCgiGetText answers for its key until the next load.  NULL for a bad
 * record or when memory is short. */
VORN_EXPORT VLIBSZHASH *VornCgiGetTextTable(VornCgi *cgi);

/* The same text escaped for a script string literal: backslash, both
 * quotes, '<', '>', '&', CR, LF, U+2028 and U+2029 as \uXXXX.  The
 * default is escaped too. */
VORN_EXPORT const char *VornCgiGetEncodeText(VornCgi *cgi, const char *key, const char *defaultValue);

/* Percent-encodes text into out: RFC 3986 unreserved characters are kept,
 * every other byte becomes %HH in upper case.  size is the room for encoded
 * characters; out must hold size + 1 bytes for the terminator.  Returns the
 * encoded length, or -1 when an argument is missing or the result does not
 * fit (out then holds the part that fits, ending on a whole character). */
VORN_EXPORT int VornCgiURLEncode(const char *text, char *out, int size);

VORN_END_DECLS

#endif
