// ImageUtils: the GIF signature test and re-encoding to progressive JPEG
// with the image tool "/usr/bin/convert" (looked up under the system root).
//
//   if (ImageUtils::IsGif(path)) ...                           // animation kept as it is
//   if (ImageUtils::CompressImageToProgressive(src, dst, false) != 0) ...  // small JPEG
//
// The tool only ever sees a file whose first bytes are a JPEG, PNG, GIF or
// BMP signature, and runs under the appliance's image policy
// ("/etc/ImageMagick-6/policy.xml"); without that file it is not run.
#ifndef ARX_IMAGE_UTILS_H
#define ARX_IMAGE_UTILS_H

#include <arx/export.h>

class ARX_EXPORT ImageUtils {
public:
    // True when the file's first six characters, blanks skipped, spell
    // "GIF87a" or "GIF89a" (each position may match either).
    static bool IsGif(const char* path);

    // Re-encodes src as a progressive JPEG into dst; unless keepQuality,
    // at quality 25 and at most 256 KB.  0, or -1 (logged).
    static int CompressImageToProgressive(const char* src, const char* dst, bool keepQuality);
};

#endif
