// URL-encoded text: query strings and form bodies.
#ifndef VORN_PLATFORM_URL_CODEC_H
#define VORN_PLATFORM_URL_CODEC_H

#include <string>
#include <string_view>

#include "cgi/request/param_list.h"

namespace vorn {

// Decodes one name or value: '+' is a space, %HH a byte; a '%' that does
// not start two hex digits stays as written.
std::string DecodeURLComponent(std::string_view text);

// Adds the pairs of line ("a=1&b=2") to params and returns how many were
// kept.  A pair without '=' has an empty value; pairs whose decoded name or
// value holds a NUL, and pairs with an empty name, are dropped.
int ParseURLEncodedPairs(std::string_view line, ParamList& params);

// RFC 3986 percent-encoding: unreserved characters kept, every other byte
// %HH in upper case.
std::string EncodeURLComponent(std::string_view text);

}  // namespace vorn

#endif
