// ImageUtils: the GIF signature test and re-encoding to progressive JPEG.

#include <arx/image_utils.h>

#include <ctype.h>
#include <stdio.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <vorn/log.h>

#include "base/safe_open.h"
#include "image/extensions.h"
#include "image/image_tool.h"

namespace {

constexpr const char* kSource = "image_utils";

}  // namespace

bool ImageUtils::IsGif(const char* path)
{
    const int fd = path != nullptr ? base::OpenForReading(path, base::Links::kFollow) : -1;
    FILE* file = fd >= 0 ? fdopen(fd, "r") : nullptr;
    if (file == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to open file, path=[%s] err=[%m]", kSource, __LINE__,
                 path != nullptr ? path : "(null)");
        if (fd >= 0)
            close(fd);
        return false;
    }
    // Blanks before the signature are skipped, as callers have always had it.
    static const char kGif87[] = "GIF87a", kGif89[] = "GIF89a";
    int matched = 0, c;
    while (matched < 6 && (c = fgetc(file)) != EOF) {
        if (isspace(c))
            continue;
        if (c != kGif87[matched] && c != kGif89[matched])
            break;
        ++matched;
    }
    fclose(file);
    return matched == 6;
}

int ImageUtils::CompressImageToProgressive(const char* src, const char* dst, bool keepQuality)
{
    if (src == nullptr || dst == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%d Path is null", kSource, __LINE__);
        return -1;
    }
    try {
        std::vector<std::string> args {arx::image::AsFileArgument(src), "-interlace", "plane"};
        if (!keepQuality)
            args.insert(args.end(), {"-quality", "25", "-define", "jpeg:extent=256KB"});
        args.push_back(arx::image::AsFileArgument(dst));
        if (arx::image::RunImageTool(kSource, src, args) == 0)
            return 0;
        VLIBCLog(LOG_ERR, "%s:%d Fail to execute %s, %s %s", kSource, __LINE__, arx::image::kImageTool, src, dst);
    } catch (...) {
        VLIBCLog(LOG_ERR, "%s:%d Out of memory", kSource, __LINE__);
    }
    return -1;
}
