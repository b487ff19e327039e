// The family's last error and the class's life: WebmanFileShare adds no
// data to VornConf.

#include <arx/webman_file_share.h>

namespace {

// One per process, as the family's callers expect: not per object.
WEBFMERR g_lastError = WEBFM_ERR_NONE;

}  // namespace

void WfmLibSetErr(WEBFMERR error)
{
    g_lastError = error;
}

WEBFMERR WfmLibGetErr()
{
    return g_lastError;
}

WebmanFileShare::WebmanFileShare() = default;

WebmanFileShare::~WebmanFileShare() = default;
