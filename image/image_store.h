// Storing a new image into a slot: copy, re-encode when needed, thumbnail.
#ifndef ARX_IMAGE_IMAGE_STORE_H
#define ARX_IMAGE_IMAGE_STORE_H

namespace arx::image {

struct StoreRequest {
    const char* dir;
    const char* type;  // "" for wallpapers
    const char* src;
    const char* ext;
    char* outPath;
    char* outThumb;
    char* outHd;  // wallpapers: receives the HD copy's name when given
    int pathLen;
    int thumbLen;
    int hdLen;
    int slot;
    int thumbEdge;
    // The source open for reading, or -1: read through this descriptor
    // (and copied by the library rather than by the copy tool), src then
    // only names it in the log.  A caller that acts as another user opens
    // the source first, as itself.
    int srcFd = -1;
};

// false (logged) when the image could not be stored; the slot may then
// hold part of it, but the current slot has not moved.
bool StoreImage(const StoreRequest& request);

}  // namespace arx::image

#endif
