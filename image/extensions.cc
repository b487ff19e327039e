#include "image/extensions.h"

#include <ctype.h>
#include <string.h>
#include <strings.h>

namespace arx::image {

const char* KnownExtension(const char* ext)
{
    if (ext == nullptr)
        return nullptr;
    for (const char* known : kKnownExtensions) {
        if (strcasecmp(ext, known) == 0)
            return known;
    }
    return nullptr;
}

std::string StoredExtension(const char* ext)
{
    std::string stored(ext, strnlen(ext, 7));
    for (char& c : stored)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return stored;
}

bool IsPlainType(const char* type)
{
    if (type == nullptr || *type == '-' || strlen(type) > 32)
        return false;
    for (const char* p = type; *p != '\0'; ++p) {
        if (!isalnum(static_cast<unsigned char>(*p)) && *p != '_' && *p != '-')
            return false;
    }
    return true;
}

std::string AsFileArgument(const char* path)
{
    const char* colon = strchr(path, ':');
    const char* slash = strchr(path, '/');
    const bool prefixed = colon != nullptr && (slash == nullptr || colon < slash);
    return *path != '/' && (*path == '-' || prefixed) ? std::string("./") + path : std::string(path);
}

}  // namespace arx::image
