/*
 * String lists, and splitting a text into one.
 *
 *   VLIBSZLIST *list = VLIBCSzListAlloc(16);
 *   VLIBCStrTok("/public/photos/", "/", &list);   (2 items: "public", "photos")
 *   const char *share = VLIBCSzListGet(list, 0);
 *   VLIBCSzListFree(list);
 */
#ifndef VORN_LIST_H
#define VORN_LIST_H

#include <vorn/export.h>

typedef struct _tag_vlib_sz_list {
    int nAlloc;      /* room for this many items before the list grows */
    int nItem;       /* items held */
    char **ppszItem; /* the items, each its own copy */
} VLIBSZLIST, *PVLIBSZLIST;

VORN_BEGIN_DECLS

/* A new, empty list with room for capacity items (at least 1); NULL when
 * memory is short or capacity is negative. */
VORN_EXPORT VLIBSZLIST *VLIBCSzListAlloc(int capacity);

/* Frees the list and its items; NULL is ignored. */
VORN_EXPORT void VLIBCSzListFree(VLIBSZLIST *list);

/* Appends a copy of item, growing the list (and replacing *list) when it
 * is full.  The item's index, or -1 (a missing argument, no memory). */
VORN_EXPORT int VLIBCSzListPush(VLIBSZLIST **list, const char *item);

/* The item at index, or NULL when there is none. */
VORN_EXPORT const char *VLIBCSzListGet(const VLIBSZLIST *list, int index);

/* Appends the tokens of text to the list: the pieces between characters of
 * delimiters, empty pieces left out ("/a//b/" gives "a" and "b").  The
 * number of tokens appended, or -1 (a missing argument, no memory). */
VORN_EXPORT int VLIBCStrTok(const char *text, const char *delimiters, VLIBSZLIST **list);

VORN_END_DECLS

#endif
