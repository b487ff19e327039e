/*
 * Key-value files, section (INI) files and file tests.
 *
 * Key-value format: one key="value" per line (an unquoted value is accepted
 * on read), '#' starts a comment line, the last occurrence of a key wins.
 * Writes replace the file atomically (temporary file, fsync, rename) while
 * holding an exclusive flock on the lock file "FILE.lock" beside it, so a
 * reader never sees half a file and no concurrent update is lost.
 *
 * Paths are used as given: map fixed system paths with VORNRootPath first.
 */
#ifndef VORN_FILE_H
#define VORN_FILE_H

#include <vorn/export.h>
#include <vorn/hash.h>

/* The system configuration and its factory defaults (before root mapping). */
#define VORN_INFO_FILE "/etc/vorninfo.conf"
#define VORN_INFO_DEFAULTS_FILE "/etc.defaults/vorninfo.conf"

VORN_BEGIN_DECLS

/* Nonzero when something exists at path. */
VORN_EXPORT int VLIBCFileExist(const char *path);

/* Reads key's value into buffer (size bytes with the terminator; a longer
 * value is cut).  Returns -1 when the file cannot be read or an argument is
 * bad, 0 when the key is missing or its value empty, else the length of the
 * text in buffer.  flags: reserved, pass 0. */
VORN_EXPORT int VLIBCFileGetKeyValue(const char *file, const char *key,
                                     char *buffer, int size, int flags);

/* Sets key to value, adding the key or creating the file when missing.
 * Refuses keys with blanks, '=', '#', '"' or control characters, and values
 * with CR or LF.  Returns 0, or -1 on failure (the file is then unchanged). */
VORN_EXPORT int VLIBCFileSetKeyValue(const char *file, const char *key,
                                     const char *value, int flags);

/* 1 when key's value equals value ignoring ASCII case, 0 when it differs or
 * is missing, -1 when the file cannot be read or an argument is bad. */
VORN_EXPORT int VLIBCFileCheckKeyValue(const char *file, const char *key,
                                       const char *value, int flags);

/* VLIBCFileSetKeyValue on the root's /etc/vorninfo.conf. */
VORN_EXPORT int VLIBCINFOSetKeyValue(const char *key, const char *value);

/* A key of the system configuration: the root's /etc/vorninfo.conf, and
 * when the key has no value there, /etc.defaults/vorninfo.conf.  Results as
 * VLIBCFileGetKeyValue. */
VORN_EXPORT int VLIBCINFOGetKeyValue(const char *key, char *buffer, int size);

/* Calls visit(key, value, context) for every key line of a key-value file,
 * in file order (a key set twice is visited twice; the later line wins).
 * Returns the number of lines visited, or -1 when the file cannot be read. */
typedef void (*VLIBCKeyValueVisitor)(const char *key, const char *value, void *context);
VORN_EXPORT int VLIBCFileEnumKeyValue(const char *file, VLIBCKeyValueVisitor visit, void *context);

/* Reads key of [section] from an INI file (the "strings" format: optional
 * byte-order mark, '#' comments, values optionally in double quotes; a
 * section named twice keeps only the keys after its last header).  Returns
 * the value's length, or -1 when the file cannot be read, an argument is bad
 * or the key is missing; on -1 the buffer holds the reason. */
VORN_EXPORT int VLIBCFileGetSectionValue(const char *file, const char *section,
                                         const char *key, char *buffer, int size);

/* Calls visit(key, value, context) for every key of the last occurrence of
 * [section] in an INI file, in file order (a later key of the same name
 * wins).  Returns the number of keys visited (0 when the section is
 * missing), or -1 when the file cannot be read or an argument is bad. */
VORN_EXPORT int VLIBCFileEnumSection(const char *file, const char *section,
                                     VLIBCKeyValueVisitor visit, void *context);

/* Reads every key="value" line of a key-value file into hash (a key set
 * twice keeps its last value; keys already in the hash stay unless the file
 * sets them).  A file larger than VLIB_PAIR_LARGEST_FILE, or with a line
 * longer than VLIB_PAIR_LONGEST_LINE bytes or holding a control character
 * other than a tab (a binary file), is refused whole.  Returns the number
 * of key lines read, or -1 (the file cannot be read: VLIB_ERR_OPEN_FAILED;
 * refused: VLIB_ERR_FORMAT; a missing argument). */
#define VLIB_PAIR_LARGEST_FILE 65536
#define VLIB_PAIR_LONGEST_LINE 4096
VORN_EXPORT int VLIBCFileGetPair(const char *file, VLIBSZHASH *hash);

VORN_END_DECLS

#endif
