// What a file's first bytes say it is.  Only the raster formats the image
// selector accepts are recognised; everything else (vector drawings,
// scripts, PostScript, text) is kImageUnknown and never reaches the tool.
#ifndef ARX_IMAGE_IMAGE_FORMAT_H
#define ARX_IMAGE_IMAGE_FORMAT_H

#include <stddef.h>

namespace arx::image {

enum ImageFormat { kImageUnknown, kImageJpeg, kImagePng, kImageGif, kImageBmp };

// The bytes needed to tell every accepted format.
constexpr size_t kSignatureBytes = 18;

ImageFormat FormatOfBytes(const unsigned char* bytes, size_t size);

// The format of a regular file's first bytes (never through a FIFO or a
// device); kImageUnknown when it cannot be read.
ImageFormat FormatOfFile(const char* path);

// The same for a file open in fd, read from its start (its offset does not
// move).
ImageFormat FormatOfDescriptor(int fd);

}  // namespace arx::image

#endif
