// The Cookie header: parsing never crashes, and a cookie that is set back
// with the parsed value is either refused or printed without CR or LF.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <vorn/cgi.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string header(reinterpret_cast<const char*>(data), size);
    setenv("HTTP_COOKIE", header.c_str(), 1);
    VornCgi cgi;
    VornCgiInit("", &cgi);
    VornCgiLoadInCookies(&cgi);
    const char* id = VornCgiGetInCookies(&cgi, "id", nullptr);
    if (id != nullptr && VornCgiSetCookies(&cgi, "id", id, 0, nullptr, nullptr, 0) == 1) {
        for (const char* c = id; *c != '\0'; ++c) {
            if (*c == '\r' || *c == '\n' || *c == ';')
                abort();
        }
    }
    VornCgiFree(&cgi);
    return 0;
}
