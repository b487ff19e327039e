// Loads libarx_pcre on the first match and keeps it for the process.

#include "url_matcher.h"

#include <dlfcn.h>
#include <stddef.h>

#include <vorn/log.h>

#include "log_source.h"

namespace arx::csp {

namespace {

using FullMatchFunction = int (*)(const char*, const char*, size_t);

// NULL once loading failed: a process fails closed and says so once.
FullMatchFunction LoadedFullMatch()
{
    static bool tried = false;
    static FullMatchFunction function = nullptr;
    if (tried)
        return function;
    tried = true;
    void* helper = dlopen(kPcreHelper, RTLD_NOW | RTLD_LOCAL);
    if (helper != nullptr)
        function = reinterpret_cast<FullMatchFunction>(dlsym(helper, "ArxPcreFullMatch"));
    if (function == nullptr) {
        const char* error = dlerror();
        VLIBCLog(LOG_ERR, "%s:%d cannot load %s, every CSP source is refused: %s", kCspRuleLogSource, __LINE__,
                 kPcreHelper, error != nullptr ? error : "no reason given");
    }
    return function;
}

}  // namespace

bool FullMatch(const char* pattern, const std::string& text)
{
    const FullMatchFunction function = LoadedFullMatch();
    return function != nullptr && function(pattern, text.data(), text.size()) == 1;
}

}  // namespace arx::csp
