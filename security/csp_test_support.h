// Helpers of the rule store's tests: JSON text, file trees, the demo-like
// default rule.
#ifndef ARX_SECURITY_CSP_TEST_SUPPORT_H
#define ARX_SECURITY_CSP_TEST_SUPPORT_H

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <json/json.h>

#include "testing/temp_root.h"

namespace csp_testing {

inline Json::Value ParseJson(const std::string& text)
{
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr))
        throw std::runtime_error("test JSON does not parse: " + text);
    return value;
}

inline std::string CompactJson(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

// Every file below dir (hidden ones included) with its content, by path
// relative to dir.
inline std::map<std::string, std::string> FilesBelow(const std::string& dir)
{
    std::map<std::string, std::string> files;
    if (!std::filesystem::is_directory(dir))
        return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        if (entry.is_regular_file())
            files[std::filesystem::relative(entry.path(), dir).string()] =
                arx_testing::ReadWholeFile(entry.path().string());
    }
    return files;
}

// Copies a tree of test data into the root.
inline void CopyInto(const arx_testing::TempRoot& root, const std::string& from)
{
    std::filesystem::copy(from, root.dir(),
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
}

inline constexpr char kDefaultRule[] =
    R"({"script-src": ["'self'"], "img-src": ["'self'", "data:"], "child-src": ["'self'"],)"
    R"( "frame-src": ["'self'"], "connect-src": ["'self'"], "object-src": ["'none'"]})";

}  // namespace csp_testing

#endif
