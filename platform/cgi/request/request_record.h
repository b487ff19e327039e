// What the CGI record keeps of the request and its response.
#ifndef VORN_PLATFORM_REQUEST_RECORD_H
#define VORN_PLATFORM_REQUEST_RECORD_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cgi/request/param_list.h"

namespace vorn {

struct RequestRecord {
    ParamList params;         // filled by VornCgiParseCGIParam
    ParamList requestParams;  // query string, then a URL-encoded body
    bool queryParsed = false;
    bool bodyParsed = false;
    ParamList cookies;
};

struct ResponseRecord {
    std::vector<std::pair<std::string, std::string>> headers;  // in queue order
    bool headersPrinted = false;
};

// The configuration handle: key -> value, empty values left out.
struct ConfigRecord {
    std::unordered_map<std::string, std::string> current;
    std::unordered_map<std::string, std::string> defaults;
};

// UI texts: sections in load order, each key -> text.
struct TextRecord {
    std::string base;  // the module's UI directory given to VornCgiInit
    std::vector<std::pair<std::string, std::unordered_map<std::string, std::string>>> sections;
};

}  // namespace vorn

#endif
