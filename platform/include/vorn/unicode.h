/*
 * Comparing UTF-8 texts as people read them.
 */
#ifndef VORN_UNICODE_H
#define VORN_UNICODE_H

#include <vorn/export.h>

VORN_BEGIN_DECLS

/* Compares two UTF-8 texts ignoring case: each is brought to Unicode
 * normalisation form C and case-folded (libutf8proc, loaded on first use),
 * and the results compare byte by byte.  ASCII texts are compared without
 * the library.  A text that is not valid UTF-8 compares as its bytes.
 * Below, equal to or above 0, as strcmp; NULL sorts first.  The order is a
 * total one, fit for sorting. */
VORN_EXPORT int VLIBCUnicodeUTF8StrCaseCmp(const char *a, const char *b);

VORN_END_DECLS

#endif
