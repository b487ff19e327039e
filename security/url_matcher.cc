// Loads libarx_pcre on the first match and keeps it for the process.

#include "security/url_matcher.h"

#include <stddef.h>

#include <vorn/log.h>

#include "base/lazy_library.h"
#include "security/log_source.h"

namespace arx::security {

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
    // The helper through the loader's normal search, else beside libarx: a
    // sanitizer's dlopen interceptor hides which object asked, and with it
    // libarx's run path.
    const std::string beside = base::PathBesideObjectOf(reinterpret_cast<const void*>(&FullMatch), kPcreHelper);
    base::LazyLibrary helper(kPcreHelper, beside.empty() ? nullptr : beside.c_str());
    function = helper.Find<FullMatchFunction>({"ArxPcreFullMatch"});
    if (function == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d cannot load %s, every CSP source is refused: %s", kCspRuleLogSource, __LINE__,
                 kPcreHelper, helper.error().c_str());
    }
    return function;
}

}  // namespace

bool FullMatch(const char* pattern, const std::string& text)
{
    const FullMatchFunction function = LoadedFullMatch();
    return function != nullptr && function(pattern, text.data(), text.size()) == 1;
}

}  // namespace arx::security
