// Text replacement and the product-name placeholders of UI text.

#include <arx/string_parser.h>

#include <vorn/file.h>
#include <vorn/root.h>

namespace VORN {
namespace PAD {

namespace {

struct CachedName {
    bool filled = false;
    std::string value;
};

// A key of the factory defaults, or fallback when it is missing or empty.
std::string DefaultsValue(const char* key, const char* fallback)
{
    char buffer[1024] = "";
    const std::string path = VORNRootPathString(VORN_INFO_DEFAULTS_FILE);
    if (VLIBCFileGetKeyValue(path.c_str(), key, buffer, sizeof buffer, 0) < 1)
        return fallback;
    return buffer;
}

// Read on the first use in the process and kept: a change of the defaults
// file is seen by the next process.
const std::string& ProductName()
{
    static CachedName name;
    if (!name.filled) {
        name.value = DefaultsValue("product", "Harbor");
        name.filled = true;
    }
    return name.value;
}

const std::string& OsName()
{
    static CachedName name;
    if (!name.filled) {
        name.value = DefaultsValue("os_name", "ARX");
        name.filled = true;
    }
    return name.value;
}

}  // namespace

std::string StringParser::ReplaceString(const std::string& text, const std::string& from, const std::string& to)
{
    if (from.empty()) {
        // The search would find the empty text again at once, forever.
        std::string result;
        result.reserve(text.size() * (to.size() + 1) + to.size());
        for (char c : text)
            result.append(to).push_back(c);
        return result.append(to);
    }
    std::string result = text;
    size_t position = 0;
    while ((position = result.find(from, position)) != std::string::npos) {
        result.replace(position, from.size(), to);
        position += to.size();
    }
    return result;
}

std::string StringParser::ReplaceStringText(const std::string& text)
{
    const std::string& product = ProductName();
    const std::string& os = OsName();
    std::string result = ReplaceString(text, "_HARBOR_", product);
    result = ReplaceString(result, "%HARBOR%", product);
    result = ReplaceString(result, "_OSNAME_", os);
    return ReplaceString(result, "%OSNAME%", os);
}

}  // namespace PAD
}  // namespace VORN
