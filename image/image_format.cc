#include "image/image_format.h"

#include <initializer_list>
#include <string.h>
#include <unistd.h>

#include "base/safe_open.h"

namespace arx::image {
namespace {

// A Windows bitmap: "BM", then at offset 14 the size of one of the known
// information headers (core, V1 to V5), so that any text that happens to
// begin with "BM" is not taken for one.
bool IsBmp(const unsigned char* b, size_t size)
{
    if (size < kSignatureBytes || b[0] != 'B' || b[1] != 'M')
        return false;
    const unsigned header = b[14] | b[15] << 8 | b[16] << 16 | static_cast<unsigned>(b[17]) << 24;
    for (unsigned known : {12u, 40u, 52u, 56u, 64u, 108u, 124u}) {
        if (header == known)
            return true;
    }
    return false;
}

bool StartsWith(const unsigned char* bytes, size_t size, const char* signature, size_t length)
{
    return size >= length && memcmp(bytes, signature, length) == 0;
}

}  // namespace

ImageFormat FormatOfBytes(const unsigned char* bytes, size_t size)
{
    if (bytes == nullptr)
        return kImageUnknown;
    if (StartsWith(bytes, size, "\xFF\xD8\xFF", 3))
        return kImageJpeg;
    if (StartsWith(bytes, size, "\x89PNG\r\n\x1A\n", 8))
        return kImagePng;
    if (StartsWith(bytes, size, "GIF87a", 6) || StartsWith(bytes, size, "GIF89a", 6))
        return kImageGif;
    return IsBmp(bytes, size) ? kImageBmp : kImageUnknown;
}

ImageFormat FormatOfDescriptor(int fd)
{
    unsigned char bytes[kSignatureBytes];
    size_t have = 0;
    while (fd >= 0 && have < sizeof bytes) {
        const ssize_t n = pread(fd, bytes + have, sizeof bytes - have, static_cast<off_t>(have));
        if (n <= 0)
            break;
        have += static_cast<size_t>(n);
    }
    return FormatOfBytes(bytes, have);
}

ImageFormat FormatOfFile(const char* path)
{
    const int fd = path != nullptr ? base::OpenForReading(path, base::Links::kFollow) : -1;
    if (fd < 0)
        return kImageUnknown;
    const ImageFormat format = FormatOfDescriptor(fd);
    close(fd);
    return format;
}

}  // namespace arx::image
