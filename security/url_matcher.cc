// Loads libarx_pcre on the first match and keeps it for the process.

#include "url_matcher.h"

#include <dlfcn.h>
#include <stddef.h>
#include <string.h>

#include <vorn/log.h>

#include "log_source.h"

namespace arx::csp {

namespace {

using FullMatchFunction = int (*)(const char*, const char*, size_t);

// The helper through the loader's normal search, else beside the object
// that holds this code (libarx): a sanitizer's dlopen interceptor hides
// which object asked, and with it that object's run path.  NULL with the
// reason of the normal search when both fail.
void* OpenHelper(std::string& error)
{
    void* helper = dlopen(kPcreHelper, RTLD_NOW | RTLD_LOCAL);
    if (helper != nullptr)
        return helper;
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "no reason given";
    Dl_info self;
    if (dladdr(reinterpret_cast<void*>(&FullMatch), &self) == 0 || self.dli_fname == nullptr ||
        self.dli_fname[0] != '/')
        return nullptr;
    const std::string beside = std::string(self.dli_fname, strrchr(self.dli_fname, '/') + 1) + kPcreHelper;
    return dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
}

// NULL once loading failed: a process fails closed and says so once.
FullMatchFunction LoadedFullMatch()
{
    static bool tried = false;
    static FullMatchFunction function = nullptr;
    if (tried)
        return function;
    tried = true;
    std::string error;
    if (void* helper = OpenHelper(error)) {
        function = reinterpret_cast<FullMatchFunction>(dlsym(helper, "ArxPcreFullMatch"));
        if (function == nullptr)
            error = "no ArxPcreFullMatch in it";
    }
    if (function == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d cannot load %s, every CSP source is refused: %s", kCspRuleLogSource, __LINE__,
                 kPcreHelper, error.c_str());
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
