/*
 * String hashes: texts by key, such as the UI text table of a CGI record.
 *
 *   VLIBSZHASH *hash = VLIBCSzHashAlloc(512);
 *   VLIBCSzHashSetValue(hash, "no_pw", "No password");
 *   const char *text = VLIBCSzHashGetValue(hash, "no_pw");
 *   VLIBCSzHashFree(hash);
 */
#ifndef VORN_HASH_H
#define VORN_HASH_H

#include <vorn/export.h>

typedef struct VLIBSzHash VLIBSZHASH;

VORN_BEGIN_DECLS

/* A new, empty hash; size is the number of entries expected (a hint).
 * NULL when memory is short or size is negative. */
VORN_EXPORT VLIBSZHASH *VLIBCSzHashAlloc(int size);

/* Frees the hash and its texts; NULL is ignored. */
VORN_EXPORT void VLIBCSzHashFree(VLIBSZHASH *hash);

/* Stores a copy of value under a copy of key, replacing an earlier value.
 * 0, or -1 (a missing argument, no memory). */
VORN_EXPORT int VLIBCSzHashSetValue(VLIBSZHASH *hash, const char *key, const char *value);

/* The text stored under key, or NULL.  It lives until the key is set
 * again, the hash is emptied or freed. */
VORN_EXPORT const char *VLIBCSzHashGetValue(const VLIBSZHASH *hash, const char *key);

/* The number of keys, or -1 for no hash. */
VORN_EXPORT int VLIBCSzHashCount(const VLIBSZHASH *hash);

/* Removes every key; 0, or -1 for no hash. */
VORN_EXPORT int VLIBCHashRemoveAll(VLIBSZHASH *hash);

VORN_END_DECLS

#endif
