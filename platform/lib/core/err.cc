// The process-wide last-error record.

#include <vorn/err.h>

#include <stdio.h>

namespace {

struct LastError {
    int code = VLIB_ERR_NONE;
    char file[128] = "";
    int line = 0;
};

LastError g_lastError;

}  // namespace

extern "C" void VLIBCErrSetEx(int code, const char* file, int line)
{
    g_lastError.code = code;
    snprintf(g_lastError.file, sizeof g_lastError.file, "%s", file != nullptr ? file : "");
    g_lastError.line = line;
}

extern "C" int VLIBCErrGet(void)
{
    return g_lastError.code;
}

extern "C" const char* VLIBCErrorGetFile(void)
{
    return g_lastError.file;
}

extern "C" int VLIBCErrorGetLine(void)
{
    return g_lastError.line;
}
