/*
 * Volumes: the data volumes of the appliance and their free space.
 *
 * The volumes are the sections of the root's /usr/vorn/etc/volumes.conf, in
 * file order:
 *
 *   [volume1]
 *   path=/volume1
 *   state=normal        (or readonly, crashed)
 *
 * A volume's path is a fixed system path: it is mapped through VORNRootPath,
 * and the paths these operations give back are the mapped ones.
 */
#ifndef VORN_VOLUME_H
#define VORN_VOLUME_H

#include <vorn/export.h>

/* The volumes' configuration (before root mapping). */
#define VORN_VOLUMES_FILE "/usr/vorn/etc/volumes.conf"

/* Status bits of VolumeAvailGet: why no volume qualified. */
#define VORN_VOLUME_STATUS_NO_SPACE  0x1 /* a volume had less free space than asked */
#define VORN_VOLUME_STATUS_MISSING   0x2 /* a volume's directory is missing or no directory */
#define VORN_VOLUME_STATUS_READ_ONLY 0x4 /* a volume is read-only or crashed */

/* Kinds of VolumePathParse. */
#define VORN_VOLUME_KIND_NONE 0 /* the path is on no volume */
#define VORN_VOLUME_KIND_DATA 1 /* /volumeN */
#define VORN_VOLUME_KIND_USB  4 /* /volumeUSBN */
#define VORN_VOLUME_KIND_SATA 8 /* /volumeSATAN */

typedef struct _tag_vorn_volume_info {
    char szPath[4096];              /* the volume's directory, root-mapped */
    char szName[64];                /* its section name ("volume1"), cut to fit */
    unsigned long long availBytes;  /* free space an ordinary writer may use */
    unsigned long long totalBytes;  /* the file system's size */
} VORN_VOLUME_INFO;

VORN_BEGIN_DECLS

/* Picks the first volume, in file order, whose state is normal, whose
 * directory can be examined (statvfs) and is not mounted read-only, and
 * whose free space is at least size and at least atLeast bytes (callers
 * with one figure pass it twice).  *status is set to 0 and collects a
 * VORN_VOLUME_STATUS_... bit for every volume passed over.  flags:
 * reserved, 0.
 *
 * Returns the volume's position (1 for the first section) with volume
 * filled in; 0 when none qualifies (also when the file is missing); -1
 * when an argument is missing or the file cannot be read. */
VORN_EXPORT int VolumeAvailGet(unsigned long long size, VORN_VOLUME_INFO *volume, int *status, int flags,
                               unsigned long long atLeast);

/* The kind of volume path lies on (VORN_VOLUME_KIND_...), judged by its
 * first element below the root: "/volume1/share/x" is on /volume1.  When
 * volume is given, the volume's directory (root-mapped) is written into it
 * (size bytes with the terminator; "" for a path on no volume).  Returns
 * the kind, or -1 when path is missing or not absolute, or the volume's
 * path does not fit. */
VORN_EXPORT int VolumePathParse(const char *path, char *volume, int size);

/* The volume's shared system folder: "VOLUME/@sharebin" for the volume
 * whose directory is volumePath (a trailing '/' is ignored).  Returns the
 * length written into buffer, or -1 when volumePath is not the top
 * directory of a volume (VolumePathParse) or the result does not fit. */
VORN_EXPORT int VORNShareBinPathGet(const char *volumePath, char *buffer, int size);

VORN_END_DECLS

#endif
