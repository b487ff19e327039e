// Helpers of the rule store's tests.
#ifndef ARX_SECURITY_CSP_TEST_SUPPORT_H
#define ARX_SECURITY_CSP_TEST_SUPPORT_H

#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include <json/json.h>

#include "testing/temp_root.h"

namespace csp_testing {

inline Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::istringstream in(text);
    if (!Json::parseFromStream(Json::CharReaderBuilder(), in, &value, nullptr))
        throw std::runtime_error("test JSON does not parse: " + text);
    return value;
}

// Every file below dir (hidden ones included) with its content, by path
// relative to dir.
inline std::map<std::string, std::string> FilesBelow(const std::string& dir)
{
    std::map<std::string, std::string> files;
    if (std::filesystem::is_directory(dir)) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
            if (entry.is_regular_file())
                files[entry.path().lexically_relative(dir).string()] = arx_testing::ReadWholeFile(entry.path());
        }
    }
    return files;
}

// A default rule like the demo's.
inline constexpr char kDefaultRule[] =
    R"({"script-src": ["'self'"], "img-src": ["'self'", "data:"], "child-src": ["'self'"],)"
    R"( "frame-src": ["'self'"], "connect-src": ["'self'"], "object-src": ["'none'"]})";

}  // namespace csp_testing

#endif
