// ImageSelectorUtils: extensions, sizes, transparency and slot files.

#include <arx/image_selector_utils.h>

#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include <string>

#include <vorn/log.h>

#include "image/extensions.h"
#include "image/image_tool.h"
#include "image/slot_files.h"

using namespace arx::image;

namespace {

constexpr long long kLogoLimit = 1048576;
constexpr long long kBackgroundLimit = 26214400;
constexpr long long kCompressAbove = 2097152;

// The "Channel depth:" section of the tool's description, up to "Channel
// statistics:", names an alpha channel.
bool DescribesAlpha(const std::string& description)
{
    bool inDepth = false;
    size_t start = 0;
    while (start < description.size()) {
        size_t end = description.find('\n', start);
        if (end == std::string::npos)
            end = description.size();
        const std::string line = description.substr(start, end - start);
        start = end + 1;
        if (line.find("Channel depth:") != std::string::npos)
            inDepth = true;
        else if (line.find("Channel statistics:") != std::string::npos)
            return false;
        if (inDepth && line.find("alpha:") != std::string::npos)
            return true;
    }
    return false;
}

}  // namespace

bool ImageSelectorUtils::CheckFileType(const char* ext)
{
    return KnownExtension(ext) != nullptr;
}

bool ImageSelectorUtils::CheckLogoFileSize(const char* path)
{
    long long size;
    return FileSize(path, size) && size <= kLogoLimit;
}

bool ImageSelectorUtils::CheckBackgroundFileSize(const char* path)
{
    long long size;
    return FileSize(path, size) && size <= kBackgroundLimit;
}

bool ImageSelectorUtils::IsImageNeededCompress(const char* path)
{
    long long size;
    return FileSize(path, size) && size > kCompressAbove;
}

bool ImageSelectorUtils::IsImageTransparent(const char* path)
{
    if (path == nullptr)
        return false;
    try {
        std::string description;
        if (!ReadImageTool(kSelectorSource, path, {AsFileArgument(path), "-verbose", "info:"}, description)) {
            VLIBCLog(LOG_ERR, "%s:%d Failed to open pipe", kSelectorSource, __LINE__);
            return false;
        }
        return DescribesAlpha(description);
    } catch (...) {
        return false;
    }
}

bool ImageSelectorUtils::GetFilePathByIndex(const char* dir, int index, const char* type, bool thumb, char* out,
                                            int outLen, bool hd)
{
    if (out == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong return extension.", kSelectorSource, __LINE__);
        return false;
    }
    if (outLen < 1) {
        VLIBCLog(LOG_ERR, "%s:%d Wrong extension size.", kSelectorSource, __LINE__);
        return false;
    }
    std::string path;
    const char* ext;
    if (!FindSlotFile(dir, type, index, hd ? kSlotHd : thumb ? kSlotThumb : kSlotImage, path, &ext))
        return false;
    snprintf(out, static_cast<size_t>(outLen), "%s", path.c_str());
    return true;
}
