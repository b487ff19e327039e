/*
 * The one root of every fixed system path.
 *
 * The platform and the library never open a fixed path such as
 * "/etc/vorninfo.conf" directly: they map it through VORNRootPath, which
 * puts the directory named by the environment variable VORN_ROOT in front.
 * An unset or empty VORN_ROOT means "/", which is what production runs with;
 * tests and the demo point it at a scratch directory.
 */
#ifndef VORN_ROOT_H
#define VORN_ROOT_H

#include <stddef.h>

#include <vorn/export.h>

VORN_BEGIN_DECLS

/* The root directory without a trailing slash: "" when the root is "/".
 * Read once per process (secure_getenv); the text stays valid until
 * VORNRootReload. */
VORN_EXPORT const char *VORNRootDir(void);

/* Writes the root-mapped form of the absolute path into out.  Returns the
 * length of the result, or -1 when path is not absolute, an argument is
 * missing or the result does not fit (out then holds a cut, terminated
 * text). */
VORN_EXPORT int VORNRootPath(const char *path, char *out, size_t size);

/* Reads VORN_ROOT again.  For test fixtures that change the variable inside
 * one process; a CGI process never needs it. */
VORN_EXPORT void VORNRootReload(void);

VORN_END_DECLS

#ifdef __cplusplus
#include <string>

/* The root-mapped form of an absolute path, for C++ callers. */
inline std::string VORNRootPathString(const char *path)
{
    return std::string(VORNRootDir()) + path;
}
#endif

#endif
