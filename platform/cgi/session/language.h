// The appliance's three-letter UI language codes and the browser's
// Accept-Language header.
#ifndef VORN_PLATFORM_LANGUAGE_H
#define VORN_PLATFORM_LANGUAGE_H

#include <string>
#include <string_view>

namespace vorn {

bool IsSupportedLanguage(std::string_view code);

// The code of the most wanted language of an Accept-Language value that
// the appliance has (by q-value, then in order; "q=0" means not wanted), or
// "" when none is.
std::string LanguageFromAcceptLanguage(std::string_view header);

}  // namespace vorn

#endif
