// The one logging function: format, then hand to syslog (or the test sink).

#include <vorn/log.h>

#include <errno.h>
#include <stdio.h>

namespace {

VLIBCLogSink g_sink = nullptr;
void* g_sinkContext = nullptr;

}  // namespace

extern "C" void VLIBCLogV(int priority, const char* format, va_list args)
{
    // Callers format %m from the errno of their failure: keep it intact for
    // the formatting and for the caller afterwards.
    const int savedErrno = errno;
    char line[8192];
    vsnprintf(line, sizeof line, format, args);
    if (g_sink != nullptr)
        g_sink(priority, line, g_sinkContext);
    else
        syslog(priority, "%s", line);
    errno = savedErrno;
}

extern "C" void VLIBCLog(int priority, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    VLIBCLogV(priority, format, args);
    va_end(args);
}

extern "C" void VLIBCLogSetSink(VLIBCLogSink sink, void* context)
{
    g_sink = sink;
    g_sinkContext = context;
}
