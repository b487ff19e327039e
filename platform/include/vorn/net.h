/*
 * Network address texts.
 */
#ifndef VORN_NET_H
#define VORN_NET_H

#include <vorn/export.h>

VORN_BEGIN_DECLS

/* Nonzero when text is an IPv4 network mask in dotted-decimal form: four
 * decimal numbers from 0 to 255 separated by dots, whose 32 bits are ones
 * followed by zeros ("255.255.255.0", "0.0.0.0", "255.255.255.255").  0 for
 * anything else, NULL included. */
VORN_EXPORT int BlVLIBIsIpMask(const char *text);

VORN_END_DECLS

#endif
