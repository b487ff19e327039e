// The full match of CSP sources against the URL pattern, through the PCRE
// helper library libarx_pcre, loaded on first use.
#ifndef ARX_SECURITY_URL_MATCHER_H
#define ARX_SECURITY_URL_MATCHER_H

#include <string>

namespace arx::security {

// The helper's file name, found through the loader's normal search (beside
// libarx in the build tree, through libarx's run path).
inline constexpr char kPcreHelper[] = "libarx_pcre.so.7";

// Whether the whole of text matches pattern.  false when the helper cannot
// be loaded (logged once per process) or the pattern does not compile.
bool FullMatch(const char* pattern, const std::string& text);

}  // namespace arx::security

#endif
