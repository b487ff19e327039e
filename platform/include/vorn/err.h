/*
 * The process-wide last-error record of the platform.
 *
 * A failing platform operation stores an error number with the source file
 * and line that set it; callers print the number as "0x%04X".
 */
#ifndef VORN_ERR_H
#define VORN_ERR_H

#include <vorn/export.h>

/* Error numbers. */
#define VLIB_ERR_NONE             0x0000
#define VLIB_ERR_UNKNOWN          0x0100
#define VLIB_ERR_OUT_OF_MEMORY    0x0200
#define VLIB_ERR_PERMISSION_DENIED 0x0300 /* the caller may not reach or change it */
#define VLIB_ERR_PATH_NOT_FOUND   0x0600 /* a path, or a directory on its way, does not exist */
#define VLIB_ERR_BAD_PARAMETERS   0x0D00
#define VLIB_ERR_BUFFER_TOO_SMALL 0x0E00
#define VLIB_ERR_OPEN_FAILED      0x0900
#define VLIB_ERR_READ_FAILED      0x0A00
#define VLIB_ERR_WRITE_FAILED     0x0B00
#define VLIB_ERR_LOCK_FAILED      0x0C00
#define VLIB_ERR_NOT_FOUND        0x1400
#define VLIB_ERR_BODY_TOO_LARGE   0x1A00
#define VLIB_ERR_BODY_MALFORMED   0x1B00
#define VLIB_ERR_HEADER_REFUSED   0x1C00
#define VLIB_ERR_HEADERS_SENT     0x1D00
#define VLIB_ERR_SLICE_OFFSET     0x1E00
#define VLIB_ERR_CLIENT_GONE      0x1F00
#define VLIB_ERR_LIBRARY_MISSING  0x2000
#define VLIB_ERR_RANDOM_FAILED    0x2100
#define VLIB_ERR_SESSION_INVALID  0x2200
#define VLIB_ERR_IDENTITY_FAILED  0x2300
#define VLIB_ERR_TOKEN_INVALID    0x2400
#define VLIB_ERR_FS_EXAMINE_FAILED 0x2700 /* a file system could not be examined */
#define VLIB_ERR_VOLUME_READ_ONLY 0x2900
#define VLIB_ERR_FORMAT           0x4000
#define VLIB_ERR_SYSTEM           0x8100 /* a system call failed; a path element of the wrong kind */
#define VLIB_ERR_NO_VOLUME        0x8300
#define VLIB_ERR_READ_ONLY_FS     0x8400 /* the file system is mounted read-only */
#define VLIB_ERR_NAME_RESERVED    0x9A00 /* a reserved file name, or ':' or '/' in one */
#define VLIB_ERR_FILE_NOT_FOUND   0xA000 /* (other platforms' ACL layers) the file itself is missing */
#define VLIB_ERR_NAME_BAD_CHAR    0xA500 /* a character the strict file-name rule forbids */
#define VLIB_ERR_ACL_NOT_SUPPORTED 0xD700 /* (other platforms' ACL layers) no ACL on this file system */
#define VLIB_ERR_ACL_NO_PERMISSION 0xD800 /* (other platforms' ACL layers) the ACL refuses the query */
#define VLIB_ERR_NO_SPACE         0xDD00
#define VLIB_ERR_EXEC_FAILED      0x3100
#define VLIB_ERR_EXEC_TIMEOUT     0x3200

VORN_BEGIN_DECLS

VORN_EXPORT void VLIBCErrSetEx(int code, const char *file, int line);
VORN_EXPORT int VLIBCErrGet(void);
VORN_EXPORT const char *VLIBCErrorGetFile(void);
VORN_EXPORT int VLIBCErrorGetLine(void);

VORN_END_DECLS

#define VLIBCErrSet(code) VLIBCErrSetEx((code), __FILE__, __LINE__)

#endif
