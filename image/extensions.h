// The extensions of image files and the names of image types.
#ifndef ARX_IMAGE_EXTENSIONS_H
#define ARX_IMAGE_EXTENSIONS_H

#include <string>

namespace arx::image {

// In the order in which a slot's files are looked for.
constexpr const char* kKnownExtensions[] = {".jpg", ".jpeg", ".jpe", ".bmp", ".gif", ".png"};

// The known extension ext names ignoring case, or nullptr.
const char* KnownExtension(const char* ext);

// ext lower-cased, at most seven characters kept.
std::string StoredExtension(const char* ext);

// A type that can stand in a file name and a configuration key: letters,
// digits, '_' and '-', not beginning with '-', at most 32 characters; ""
// (the wallpaper set's type) included.
bool IsPlainType(const char* type);

// A path the image tools take as a file name: a relative path that begins
// with '-' (an option) or holds ':' before any '/' (a "format:" prefix)
// gets "./" in front.
std::string AsFileArgument(const char* path);

}  // namespace arx::image

#endif
