/*
 * Uploads: multipart/form-data bodies read as they arrive.
 *
 * A request is an upload when it is a POST with a multipart/form-data body
 * (VornCgiIsUploadRequest, <vorn/cgi.h>).  The body is read from standard
 * input once per process, in pieces, and never held whole: form fields go
 * into the CGI record (read them with VornCgiGetCGIParam), file parts go
 * straight into files.  Whatever the body's size, a process holds at most
 * the read buffer and the form fields (limits below) of it.
 *
 * Files the platform stores are created exclusively (O_EXCL, O_NOFOLLOW),
 * mode 0600, owned by the process's effective identity, under names the
 * platform chooses ("upload_" and 32 hex digits).  The client's file name
 * is never used as a path: only its last element is kept, as a parameter.
 * A request that fails (a truncated or malformed body, a client that went
 * away, a full volume) leaves no file behind and no slice longer than it
 * was.
 *
 * After VornCgiLoadUploadData the record answers, for the n-th stored file
 * (from 0), these parameters, which no form field can take:
 *
 *   _upload_count     the number of files stored
 *   _upload_N_field   the form field's name
 *   _upload_N_name    the client's file name (last path element; "" for
 *                     ".", ".." or a name ending in a separator)
 *   _upload_N_path    the stored file
 *   _upload_N_size    the bytes stored by this request
 *
 * and the file field's own name gives the client's file name, as a form
 * field would (the first occurrence wins).  A file part with an empty file
 * name ("no file chosen") is not stored.
 *
 * Sliced uploads: one file sent as several requests, each a multipart body
 * with the header X-Tmp-File (HTTP_X_TMP_FILE: the client's id of the
 * upload), X-Slice-Offset (the bytes sent before this slice; optional) and
 * X-Slice-Finish: 1 on the last.  The first slice is stored as a new file;
 * the caller keeps its path (the library keeps it by the id) and names it
 * in VORN_SLICE_TMP_FILE for the later slices, which are appended to it.
 */
#ifndef VORN_UPLOAD_H
#define VORN_UPLOAD_H

#include <vorn/cgi.h>
#include <vorn/export.h>

#ifndef VORN_HAVE_BOOL
#define VORN_HAVE_BOOL
typedef int BOOL;
#endif

/* Results of the upload operations. */
#define VORN_UPLOAD_SYSTEM_ERROR -1 /* a file could not be created or written; bad arguments */
#define VORN_UPLOAD_MALFORMED    -2 /* a malformed or truncated body, a client gone, a wrong slice offset */
#define VORN_UPLOAD_OVER_LIMIT   -3 /* more or larger form fields or part headers than allowed */
#define VORN_UPLOAD_NO_SPACE     -4 /* the volume (or the user's quota) is full */

/* Limits of one request. */
#define VORN_UPLOAD_MAX_FIELDS      128      /* form fields */
#define VORN_UPLOAD_MAX_FIELD_SIZE  65536    /* bytes of one field's value */
#define VORN_UPLOAD_MAX_FIELDS_SIZE 262144   /* bytes of all fields' names and values */
#define VORN_UPLOAD_MAX_FILES       256      /* file parts */
#define VORN_UPLOAD_MAX_HEADER_SIZE 8192     /* bytes of one part's header lines */
#define VORN_UPLOAD_TEXT_SIZE       1024     /* a field name, file name or content type, with the terminator */

/* Where an upload stands; the platform updates it as the body is read. */
typedef struct _tag_cgi_upload_progress_ {
    unsigned long long received; /* bytes of the body read so far */
    unsigned long long total;    /* CONTENT_LENGTH */
    unsigned long long stored;   /* bytes written into the current file */
    int files;                   /* files completed */
} VORN_UPLOAD_PROGRESS;

/* Called after every piece of the body read: (bytes read, CONTENT_LENGTH). */
typedef void (*progressCallback)(unsigned long long done, unsigned long long total);

/* The offset check of VornCgiLoadUploadFileNoTruncate: given the file's
 * size, the offset the request names (X-Slice-Offset, or the file's size
 * when it names none) and CONTENT_LENGTH, the offset to write at, or a
 * negative number to refuse the request. */
typedef long long (*VornCgiUploadOffsetCheck)(unsigned long long fileSize, unsigned long long offset,
                                               unsigned long long contentLength);

/* Asked between reads: true stops the upload (as if the client had gone). */
typedef BOOL (*VornCgiUploadCancelled)(void);

VORN_BEGIN_DECLS

/* 1 when the request is an upload carrying one slice (HTTP_X_TMP_FILE is
 * set and not empty), else 0. */
VORN_EXPORT int VornCgiIsSliceUploadRequest(void);

/* 1 when HTTP_X_SLICE_FINISH is "1", else 0. */
VORN_EXPORT int VornCgiIsSliceUploadFinish(void);

/* The file collecting this sliced upload's slices: the path named by the
 * environment variable VORN_SLICE_TMP_FILE when it is one the platform
 * stored: in a volume's upload folder (VOLUME/@sharebin/@tmp), under a name
 * of the platform's form, a regular file with one name, owned by the
 * process's effective user.  NULL otherwise (a path that is set but refused
 * is logged).  The text lives until the next call. */
VORN_EXPORT const char *VornCgiSliceUploadTmpFile(void);

/* Reads the whole multipart body.  target: a directory, where each file
 * part is stored as a new file; or, for a slice of a sliced upload, the
 * path VornCgiSliceUploadTmpFile gives, to which the file parts are
 * appended (X-Slice-Offset, when given, must equal its size; for the first
 * slice, stored in a directory, it must be 0).  A volume's upload folder
 * (VOLUME/@sharebin/@tmp) is created when missing: root's, mode 01733, so
 * that anyone may store files there and nobody may list or remove another's.
 * flags: reserved, 0.
 *
 * Returns the number of files stored or appended to, or VORN_UPLOAD_...;
 * on failure no file of this request remains and an appended slice is cut
 * back to its size before. */
VORN_EXPORT int VornCgiLoadUploadData(VornCgi *cgi, const char *target, int flags);

/* Reading a body part by part.  VornCgiLoadUploadParams reads the form
 * fields up to the first file part, into the record, and writes that part's
 * field name, file name (last path element) and content type into the
 * three buffers (each cut to its size).  Returns 1 when a file part follows,
 * 0 when the body ended without one, or VORN_UPLOAD_....  progress may be
 * NULL, and so may callback. */
VORN_EXPORT int VornCgiLoadUploadParams(VornCgi *cgi, progressCallback callback, VORN_UPLOAD_PROGRESS *progress,
                                        char *field, int fieldSize, char *name, int nameSize, char *type,
                                        int typeSize);

/* Stores the file part that VornCgiLoadUploadParams (or the last call of
 * these) stands at into path: written into a new file beside it and renamed
 * over path when complete, so an existing file is replaced whole or not at
 * all.  Then reads on: form fields into the record, up to the next file
 * part, whose field name, file name and content type are written into
 * field, name and type (each NULL or VORN_UPLOAD_TEXT_SIZE bytes).  Returns
 * 1 when another file part follows, 0 when the body is complete, or
 * VORN_UPLOAD_...; VornCgiGetUploadFileSize tells the bytes stored. */
VORN_EXPORT int VornCgiLoadUploadFile(VornCgi *cgi, const char *path, progressCallback callback,
                                      VORN_UPLOAD_PROGRESS *progress, char *field, char *name, char *type);

/* VornCgiLoadUploadFile at a limited rate: the configuration key named by
 * limitKey (NULL or "": upload_bw_limit) gives KiB per second, 0 or none
 * for no limit. */
VORN_EXPORT int VornCgiLoadUploadFileBW(VornCgi *cgi, const char *path, progressCallback callback,
                                        VORN_UPLOAD_PROGRESS *progress, char *field, char *name, char *type,
                                        const char *limitKey);

/* Stores the current file part into path without truncating it: path is
 * created (0600) when missing, and the part is written at the offset the
 * check allows (check NULL: the offset the request names must equal the
 * file's size).  A regular file with one name only; never through a link.
 * On failure the file is cut back to its size before (a file this call
 * created is removed).  *fileSize, when given, receives the file's size
 * afterwards; cancelled, when given, is asked between reads.  Results as
 * VornCgiLoadUploadFile. */
VORN_EXPORT int VornCgiLoadUploadFileNoTruncate(VornCgi *cgi, const char *path, progressCallback callback,
                                                VORN_UPLOAD_PROGRESS *progress, VornCgiUploadOffsetCheck check,
                                                char *field, char *name, char *type,
                                                unsigned long long *fileSize, VornCgiUploadCancelled cancelled);

/* The bytes stored by the last file part this process stored. */
VORN_EXPORT unsigned long long VornCgiGetUploadFileSize(void);

/* 1 when the client went away during the upload: the body ended before
 * CONTENT_LENGTH, or the web server ended the request (SIGTERM, SIGHUP or
 * SIGPIPE while the body was read); else 0. */
VORN_EXPORT int VornCgiRecvHup(void);

VORN_END_DECLS

#endif
