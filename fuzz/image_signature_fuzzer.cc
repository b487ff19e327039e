// The first bytes of an uploaded picture and the extension of its name: the
// signature check agrees with the GIF test, and an accepted extension is
// always one of the known ones, stored as a short lower-case name.

#include <ctype.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include <arx/image_selector_utils.h>
#include <arx/image_utils.h>

#include "image/extensions.h"
#include "image/image_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace arx::image;
    const ImageFormat format = FormatOfBytes(data, size);
    if (format == kImageGif && (size < 6 || memcmp(data, "GIF8", 4) != 0))
        abort();

    static char path[] = "/tmp/image_signature_fuzzer.XXXXXX";
    static int fd = mkstemp(path);
    if (fd >= 0 && ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size)) {
        // A file that begins with a GIF signature is a GIF for both.
        if (format == kImageGif && !ImageUtils::IsGif(path))
            abort();
        if (FormatOfFile(path) != format)
            abort();
    }

    const std::string ext(reinterpret_cast<const char*>(data), strnlen(reinterpret_cast<const char*>(data), size));
    const std::string stored = StoredExtension(ext.c_str());
    if (stored.size() > 7)
        abort();
    for (char c : stored) {
        if (isupper(static_cast<unsigned char>(c)))
            abort();
    }
    if (ImageSelectorUtils::CheckFileType(ext.c_str()) && KnownExtension(stored.c_str()) == nullptr)
        abort();
    if (IsPlainType(ext.c_str()) && (ext.find('/') != std::string::npos || (!ext.empty() && ext[0] == '-')))
        abort();
    const std::string argument = AsFileArgument(ext.c_str());
    if (!argument.empty() && argument[0] == '-')
        abort();
    return 0;
}
