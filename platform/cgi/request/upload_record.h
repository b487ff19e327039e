// What the CGI record keeps of an upload: the files it stored, as the
// parameters "_upload_...", which no form field can take.
#ifndef VORN_PLATFORM_UPLOAD_RECORD_H
#define VORN_PLATFORM_UPLOAD_RECORD_H

#include <string_view>

#include "cgi/request/param_list.h"

namespace vorn {

inline constexpr std::string_view kUploadParamPrefix = "_upload_";

struct UploadRecord {
    ParamList files;  // "_upload_count", "_upload_N_field", "_upload_N_name", ...
};

inline bool IsUploadParamName(std::string_view name)
{
    return name.substr(0, kUploadParamPrefix.size()) == kUploadParamPrefix;
}

}  // namespace vorn

#endif
