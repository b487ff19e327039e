// User-agent texts: describing the browser never crashes, the version is
// always a terminated text of at most 31 characters, and outside Edge it
// holds only digits and dots.

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <vorn/log.h>

#include "webman/browser_info.h"

namespace {

void Quiet(int, const char*, void*) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool quiet = (VLIBCLogSetSink(Quiet, nullptr), true);
    (void)quiet;
    const std::string userAgent(reinterpret_cast<const char*>(data), size);
    _tag_vorn_browser_info_ info;
    memset(&info, 'x', sizeof info);
    const int result = arx::webman::DescribeBrowser(userAgent.c_str(), &info);
    if (result != 0 && result != -1)
        abort();
    if (info.type < VORN_BROWSER_IE || info.type > VORN_BROWSER_OTHER)
        abort();
    if (memchr(info.szVersion, '\0', sizeof info.szVersion) == nullptr)
        abort();
    if (info.type != VORN_BROWSER_EDGE && strspn(info.szVersion, "0123456789.") != strlen(info.szVersion))
        abort();
    return 0;
}
