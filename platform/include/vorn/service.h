/*
 * Services: the ports the appliance's services use, and its membership of
 * a Windows domain or workgroup.
 *
 * The services' ports are the sections of the root's
 * /usr/vorn/etc/ports.conf:
 *
 *   [ftp]
 *   tcp=21,55536:55899    single ports and from:to ranges, comma separated
 *   udp=
 *
 * The section [reserved] holds the ports no service may take.
 */
#ifndef VORN_SERVICE_H
#define VORN_SERVICE_H

#include <vorn/export.h>

/* The services' ports (before root mapping). */
#define VORN_PORTS_FILE "/usr/vorn/etc/ports.conf"

/* What VLIBIsPortConflict compares against. */
#define VORN_PORT_CHECK_SERVICES 0x04 /* the services of ports.conf */
#define VORN_PORT_CHECK_WEB_UI   0x08 /* the UI's http_port and https_port, as the service "webui" */
#define VORN_PORT_CHECK_RESERVED 0x10 /* the [reserved] section of ports.conf */
#define VORN_PORT_CHECK_ALL      0x1C

/* One service's port or range that a check found taken. */
typedef struct _tag_vorn_service_port {
    char szService[64];   /* the service (section) name, cut to fit */
    char szProtocol[8];   /* "tcp" or "udp" */
    int from;             /* the range taken, from <= to */
    int to;
    struct _tag_vorn_service_port *next;
} VORN_SERVICE_PORT;

VORN_BEGIN_DECLS

/* Whether the ports (a port "22", a range "5000:5010", or a comma list of
 * them) of protocol ("tcp" or "udp") are taken by another service: the
 * sources that checks names (VORN_PORT_CHECK_...), leaving out the
 * services named in excluded (a comma list; blanks around names ignored).
 * Returns how many ports or ranges of other services overlap (0: none) and,
 * when conflicts is given, a list of them (NULL when none), freed with
 * VORNServiceConfPortsFree; -1 when an argument is bad (ports that are not
 * numbers from 1 to 65535, a range from above to) or ports.conf cannot be
 * read (a missing file has no services). */
VORN_EXPORT int VLIBIsPortConflict(const char *excluded, const char *ports, const char *protocol, int checks,
                                   VORN_SERVICE_PORT **conflicts);

/* Frees a list of VLIBIsPortConflict; NULL is ignored. */
VORN_EXPORT void VORNServiceConfPortsFree(VORN_SERVICE_PORT *list);

/* Domain membership, from the system configuration: domain_joined (yes),
 * domain_type ("ads" for an Active Directory domain, "workgroup"),
 * ads_realm, workgroup. */

/* 1 when the appliance has joined a domain or workgroup, else 0. */
VORN_EXPORT int VORNWinsIsJoined(void);

/* 1 when it has joined an Active Directory domain, else 0. */
VORN_EXPORT int VORNWinsADSJoined(void);

/* The domain's realm, or the workgroup's name, into buffer (size bytes with
 * the terminator).  Its length, or -1 when none is configured or it does
 * not fit (VLIB_ERR_NOT_FOUND, VLIB_ERR_BUFFER_TOO_SMALL,
 * VLIB_ERR_BAD_PARAMETERS). */
VORN_EXPORT int VORNWinsRealmGet(char *buffer, int size);
VORN_EXPORT int VORNWorkgroupGet(char *buffer, int size);

VORN_END_DECLS

#endif
