// The request context: the security headers of the response.

#include <arx/security_options.h>
#include <arx/webman.h>

#include <json/value.h>

void WebMan::AddSecurityHeaders(const char* name)
{
    try {
        VORN::ARX::SecurityOptions options(name);
        const Json::Value headers = options.GetSecurityHeaders();
        for (const std::string& header : headers.getMemberNames())
            AddHeader(header.c_str(), headers[header].asCString());
    } catch (...) {
        // Out of memory: the response goes without the headers, as it does
        // when no policy can be read.
    }
}
