// Setting up and freeing the CGI record.

#include <stdlib.h>
#include <string.h>

#include <new>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/cgi_private.h"

extern "C" int VornCgiInit(const char* base, VornCgi* cgi)
{
    if (cgi == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    memset(cgi, 0, sizeof *cgi);
    cgi->priv = new (std::nothrow) VornCgiPrivate;
    if (cgi->priv == nullptr) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    try {
        cgi->priv->texts.base = base != nullptr ? base : "";
    } catch (...) {
        VornCgiFree(cgi);
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    return 0;
}

extern "C" void VornCgiFree(VornCgi* cgi)
{
    if (cgi == nullptr)
        return;
    delete cgi->priv;
    free(cgi->session_file);
    free(cgi->lock_file);
    memset(cgi, 0, sizeof *cgi);
}
