// The browser of a request, from its user-agent text.
#ifndef ARX_WEBMAN_BROWSER_INFO_H
#define ARX_WEBMAN_BROWSER_INFO_H

#include <vorn/cgi.h>

namespace arx::webman {

// What WebMan::GetBrowserInfo answers for a user agent (NULL: the request
// has none).  0, or -1 (logged) when no version can be read.
int DescribeBrowser(const char* userAgent, _tag_vorn_browser_info_* info);

}  // namespace arx::webman

#endif
