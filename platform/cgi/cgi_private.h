// What the CGI record keeps behind its private pointer.
#ifndef VORN_PLATFORM_CGI_PRIVATE_H
#define VORN_PLATFORM_CGI_PRIVATE_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <vorn/cgi.h>

#include "param_list.h"

struct VornCgiPrivate {
    std::string base;  // the module's UI directory given to VornCgiInit

    vorn::ParamList params;         // filled by VornCgiParseCGIParam
    vorn::ParamList requestParams;  // query string, then a URL-encoded body
    bool queryParsed = false;
    bool bodyParsed = false;

    vorn::ParamList cookies;

    // The configuration handle: key -> value, empty values left out.
    std::unordered_map<std::string, std::string> infoValues;
    std::unordered_map<std::string, std::string> defaultValues;

    std::vector<std::pair<std::string, std::string>> headers;  // in queue order
    bool headersPrinted = false;
};

namespace vorn {

// The private part of a usable record, or nullptr.
inline VornCgiPrivate* PrivateOf(VornCgi* cgi)
{
    return cgi != nullptr ? cgi->priv : nullptr;
}

}  // namespace vorn

#endif
