// What the CGI record keeps of the request and its response.
#ifndef VORN_PLATFORM_REQUEST_RECORD_H
#define VORN_PLATFORM_REQUEST_RECORD_H

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <vorn/hash.h>

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

// UI texts: sections in load order, each key -> text, and the text table
// that lookups read: "key" (the first section that has it) and
// "section:key", rebuilt at every load, where callers may store texts.
struct TextRecord {
    std::string base;  // the module's UI directory given to VornCgiInit
    std::vector<std::pair<std::string, std::unordered_map<std::string, std::string>>> sections;
    std::unique_ptr<VLIBSZHASH, void (*)(VLIBSZHASH*)> table{nullptr, VLIBCSzHashFree};
};

}  // namespace vorn

#endif
