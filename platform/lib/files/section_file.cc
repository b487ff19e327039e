// Section (INI) files.

#include <stdio.h>
#include <string.h>

#include <string>

#include <vorn/err.h>
#include <vorn/file.h>

#include "base/file_read.h"
#include "lib/core/no_throw.h"
#include "lib/files/section_format.h"

namespace {

int Fail(char* buffer, int size, int code, const char* reason)
{
    if (buffer != nullptr && size > 0)
        snprintf(buffer, static_cast<size_t>(size), "%s", reason);
    VLIBCErrSet(code);
    return -1;
}

}  // namespace

extern "C" int VLIBCFileGetSectionValue(const char* file, const char* section, const char* key, char* buffer,
                                        int size)
{
    if (file == nullptr || section == nullptr || key == nullptr || buffer == nullptr || size <= 0)
        return Fail(buffer, size, VLIB_ERR_BAD_PARAMETERS, "bad parameter");
    std::string content;
    if (!base::ReadWholeFile(file, content))
        return Fail(buffer, size, VLIB_ERR_OPEN_FAILED, strerror(errno));
    std::string_view value;
    switch (vorn::FindSectionValue(content, section, key, value)) {
    case vorn::SectionLookup::kNoSection:
        return Fail(buffer, size, VLIB_ERR_NOT_FOUND, "no such section");
    case vorn::SectionLookup::kNoKey:
        return Fail(buffer, size, VLIB_ERR_NOT_FOUND, "no such key");
    case vorn::SectionLookup::kFound:
        break;
    }
    const size_t length = value.size() < static_cast<size_t>(size) ? value.size() : static_cast<size_t>(size) - 1;
    memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int VLIBCFileEnumSection(const char* file, const char* section, VLIBCKeyValueVisitor visit,
                                    void* context)
{
    if (file == nullptr || section == nullptr || visit == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string content;
        if (!base::ReadWholeFile(file, content)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        return vorn::ForEachSectionKey(content, section, [&](std::string_view key, std::string_view value) {
            visit(std::string(key).c_str(), std::string(value).c_str(), context);
        });
    });
}
