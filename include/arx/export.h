// The export macro of libarx: the library is built with hidden symbols and
// exports only what carries ARX_EXPORT.
#ifndef ARX_EXPORT_H
#define ARX_EXPORT_H

#define ARX_EXPORT __attribute__((visibility("default")))

#endif
