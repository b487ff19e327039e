// Response headers: queued in the record, printed once.

#include <stdio.h>
#include <strings.h>

#include <string>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/cgi_private.h"
#include "cgi/request/header_rules.h"
#include "lib/core/no_throw.h"

namespace {

bool SameName(const std::string& a, const char* b)
{
    return strcasecmp(a.c_str(), b) == 0;
}

bool PrintLine(const std::string& name, const std::string& value)
{
    return fprintf(stdout, "%s: %s\r\n", name.c_str(), value.c_str()) >= 0;
}

// Prints the queued headers but those named in skip, then the empty line.
bool PrintQueued(VornCgiPrivate& priv, const char* const* skip)
{
    bool ok = true;
    for (const auto& [name, value] : priv.response.headers) {
        bool skipped = false;
        for (const char* const* s = skip; *s != nullptr; ++s)
            skipped = skipped || SameName(name, *s);
        if (!skipped)
            ok = PrintLine(name, value) && ok;
    }
    ok = fputs("\r\n", stdout) >= 0 && ok;
    priv.response.headersPrinted = true;
    return ok;
}

}  // namespace

extern "C" int VornCgiSetHTTPHeader(VornCgi* cgi, const char* name, const char* value)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || name == nullptr || value == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return 0;
    }
    if (priv->response.headersPrinted) {
        VLIBCErrSet(VLIB_ERR_HEADERS_SENT);
        return 0;
    }
    if (!vorn::IsHttpToken(name) || !vorn::IsHeaderValue(value)) {
        VLIBCErrSet(VLIB_ERR_HEADER_REFUSED);
        return 0;
    }
    return vorn::NoThrow(0, [&] {
        if (strcasecmp(name, "Set-Cookie") != 0) {
            for (auto& header : priv->response.headers) {
                if (SameName(header.first, name)) {
                    header.second = value;
                    return 1;
                }
            }
        }
        priv->response.headers.emplace_back(name, value);
        return 1;
    });
}

extern "C" int VornCgiPrintHTTPHeader(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return 0;
    }
    if (priv->response.headersPrinted) {
        VLIBCErrSet(VLIB_ERR_HEADERS_SENT);
        return 0;
    }
    static const char* const kNone[] = {nullptr};
    if (!PrintQueued(*priv, kNone)) {
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return 0;
    }
    return 1;
}

extern "C" int VornCgiRedirect(VornCgi* cgi, const char* target)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || target == nullptr || *target == '\0' || !vorn::IsHeaderValue(target)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    if (priv->response.headersPrinted) {
        VLIBCErrSet(VLIB_ERR_HEADERS_SENT);
        return -1;
    }
    static const char* const kReplaced[] = {"Status", "Location", nullptr};
    const bool ok = fprintf(stdout, "Status: 302 Found\r\nLocation: %s\r\n", target) >= 0;
    if (!PrintQueued(*priv, kReplaced) || !ok) {
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return -1;
    }
    return 0;
}
