/*
 * The single logging function of the platform and the library.
 *
 * Every line is formatted here (printf conventions, %m included) and handed
 * to syslog with the priority given, e.g. LOG_ERR or LOG_AUTH|LOG_CRIT.
 */
#ifndef VORN_LOG_H
#define VORN_LOG_H

#include <stdarg.h>
#include <syslog.h>

#include <vorn/export.h>

VORN_BEGIN_DECLS

VORN_EXPORT void VLIBCLog(int priority, const char *format, ...) VORN_PRINTF(2, 3);
VORN_EXPORT void VLIBCLogV(int priority, const char *format, va_list args);

/* Test support: while a sink is installed, formatted lines go to it instead
 * of syslog.  NULL removes it. */
typedef void (*VLIBCLogSink)(int priority, const char *line, void *context);
VORN_EXPORT void VLIBCLogSetSink(VLIBCLogSink sink, void *context);

VORN_END_DECLS

#endif
