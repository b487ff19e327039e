// libarx_pcre: the one part of libarx that needs the PCRE library.  libarx
// loads it with dlopen the first time a CSP source is validated, so that an
// ordinary request never maps libpcre and libpcrecpp.
//
// One C function: a full match of a pattern compiled with PCRE's default
// options.  The compiled pattern is kept for the process.

#include <limits.h>
#include <stddef.h>

#include <memory>
#include <string>

#include <pcrecpp.h>

namespace {

// PCRE's own limits let a pattern with nested repeats recurse once per
// repeat: a 50 KiB source of dotted labels exhausts the stack of the process.
// These limits make such input fail, in bounded time and stack, long before
// that; no real source comes near them.
constexpr int kMatchLimit = 100000;
constexpr int kRecursionLimit = 1000;

struct Compiled {
    std::string pattern;
    std::unique_ptr<pcrecpp::RE> re;
};

const pcrecpp::RE* CompiledPattern(const char* pattern)
{
    static Compiled compiled;
    if (compiled.re == nullptr || compiled.pattern != pattern) {
        pcrecpp::RE_Options options;
        options.set_match_limit(kMatchLimit);
        options.set_match_limit_recursion(kRecursionLimit);
        compiled.re.reset(new pcrecpp::RE(pattern, options));
        compiled.pattern = pattern;
    }
    return compiled.re->error().empty() ? compiled.re.get() : nullptr;
}

}  // namespace

// 1 when the whole of text[0, length) matches pattern, 0 when it does not
// (or a limit was reached), -1 when the pattern does not compile.
extern "C" __attribute__((visibility("default"))) int ArxPcreFullMatch(const char* pattern, const char* text,
                                                                       size_t length) noexcept
{
    if (pattern == nullptr || (text == nullptr && length != 0))
        return -1;
    if (length > static_cast<size_t>(INT_MAX))
        return 0;
    try {
        const pcrecpp::RE* re = CompiledPattern(pattern);
        if (re == nullptr)
            return -1;
        return re->FullMatch(pcrecpp::StringPiece(text, static_cast<int>(length))) ? 1 : 0;
    } catch (...) {
        return -1;
    }
}
