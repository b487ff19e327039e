/* Export and linkage macros shared by the platform headers. */
#ifndef VORN_EXPORT_H
#define VORN_EXPORT_H

#define VORN_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define VORN_BEGIN_DECLS extern "C" {
#define VORN_END_DECLS }
#else
#define VORN_BEGIN_DECLS
#define VORN_END_DECLS
#endif

#define VORN_PRINTF(fmt_index, args_index) \
    __attribute__((format(printf, fmt_index, args_index)))

#endif
