#include "image/image_store.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

#include <arx/image_selector_utils.h>
#include <arx/image_utils.h>
#include <vorn/log.h>

#include "base/descriptor.h"
#include "base/file_write.h"
#include "base/safe_open.h"

#include "image/extensions.h"
#include "image/image_format.h"
#include "image/image_tool.h"
#include "image/slot_files.h"

namespace arx::image {
namespace {

constexpr const char* S = kSelectorSource;

void Put(char* out, int size, const std::string& text)
{
    if (out != nullptr && size > 0)
        snprintf(out, static_cast<size_t>(size), "%s", text.c_str());
}

bool ArgumentsUsable(const StoreRequest& r)
{
    const char* wrong = r.dir == nullptr                            ? "Dir is null"
                        : r.type == nullptr || !IsPlainType(r.type) ? "Wrong type."
                        : r.src == nullptr                          ? "Wrong file path."
                        : KnownExtension(r.ext) == nullptr          ? "Wrong file extension."
                        : r.outPath == nullptr                      ? "Wrong return path."
                        : r.outThumb == nullptr                     ? "Wrong return thumb path."
                        : r.pathLen < 1                             ? "Wrong Path length."
                        : r.thumbLen < 1                            ? "Wrong Thumb Path length."
                                                                    : nullptr;
    if (wrong != nullptr)
        VLIBCLog(LOG_ERR, "%s:%d %s", S, __LINE__, wrong);
    return wrong == nullptr;
}

// The source must be an accepted image, and a GIF exactly when its
// extension says so: a GIF's frames are kept as they are, while any other
// picture is re-encoded as one frame.
bool ContentMatches(const StoreRequest& r, const std::string& ext)
{
    const char* src = r.src;
    const ImageFormat format = r.srcFd >= 0 ? FormatOfDescriptor(r.srcFd) : FormatOfFile(src);
    if (format == kImageUnknown) {
        VLIBCLog(LOG_ERR, "%s:%d Not a JPEG, PNG, GIF or BMP image: %s", S, __LINE__, src);
        return false;
    }
    if ((format == kImageGif) != (ext == ".gif")) {
        VLIBCLog(LOG_ERR, "%s:%d The content of %s does not match its extension %s", S, __LINE__, src, ext.c_str());
        return false;
    }
    return true;
}

// The source copied to the slot's image: from its descriptor when the
// caller opened it, never writing through a link or into a file with
// another name; else by the copy tool.
bool CopySource(const StoreRequest& r, const std::string& image)
{
    if (r.srcFd < 0)
        return CopyWithTool(r.src, image.c_str()) == 0;
    const base::Descriptor to(base::OpenForWriting(image.c_str(), 0644));
    if (to.get() >= 0 && base::OverwriteWithFile(to.get(), r.srcFd))
        return true;
    VLIBCLog(LOG_ERR, "%s:%d Failed to copy %s to %s, %m", S, __LINE__, r.src, image.c_str());
    return false;
}

int Reencode(const std::string& from, const std::string& to, bool small)
{
    std::vector<std::string> args {AsFileArgument(from.c_str()), "-strip", "-interlace", "plane"};
    if (small)
        args.insert(args.end(), {"-quality", "25", "-define", "jpeg:extent=256KB"});
    args.push_back(AsFileArgument(to.c_str()));
    return RunImageTool(S, from.c_str(), args);
}

// Replaces image by its ".jpg" re-encoding in the slot; false on failure.
bool ReplaceByJpeg(const StoreRequest& r, std::string& image, std::string& ext, bool small)
{
    const std::string jpg = SlotFileName(r.dir, r.type, r.slot, kSlotImage, ".jpg");
    if (Reencode(image, jpg, small) != 0) {
        if (small)
            VLIBCLog(LOG_ERR, "%s:%d Fail to execute %s, %s %s", S, __LINE__, kImageTool, image.c_str(), jpg.c_str());
        else
            VLIBCLog(LOG_ERR, "%s:%d Failed to compress", S, __LINE__);
        return false;
    }
    if (jpg != image && unlink(image.c_str()) != 0)
        VLIBCLog(LOG_ERR, "%s:%d Failed to unlink: %s", S, __LINE__, image.c_str());
    image = jpg;
    ext = ".jpg";
    return true;
}

bool IsBackground(const char* type)
{
    return strncmp(type, "background", 10) == 0;
}

// Login sets: false on failure; done is set when nothing more is to be made.
bool ShrinkLoginImage(const StoreRequest& r, std::string& image, std::string& ext, bool& done)
{
    if (IsBackground(r.type) && ext != ".gif")
        return ReplaceByJpeg(r, image, ext, false);
    if (!ImageSelectorUtils::IsImageNeededCompress(image.c_str()) ||
        ImageSelectorUtils::IsImageTransparent(image.c_str()))
        return true;
    if (ext == ".gif") {
        Put(r.outThumb, r.thumbLen, image);
        done = true;
        return true;
    }
    // The re-encoding becomes the image, but the uploaded copy and its
    // extension stay, so the thumbnail keeps that extension (as it always has).
    const std::string jpg = SlotFileName(r.dir, r.type, r.slot, kSlotImage, ".jpg");
    if (Reencode(image, jpg, false) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to compress", S, __LINE__);
        return false;
    }
    image = jpg;
    return true;
}

// Wallpapers: the full picture as the HD copy, a small progressive JPEG as
// the image (a GIF is copied as it is).
bool MakeWallpaper(const StoreRequest& r, std::string& image, std::string& ext)
{
    bool ok;
    std::string hd;
    if (ext == ".gif") {
        hd = SlotFileName(r.dir, r.type, r.slot, kSlotHd, ".gif");
        const int status = CopyWithTool(image.c_str(), hd.c_str());
        ok = status == 0;
        if (!ok) {
            VLIBCLog(LOG_ERR, "%s:(%d) : failed to copy %s to %s, r=%d", S, __LINE__, image.c_str(), hd.c_str(),
                     status);
            VLIBCLog(LOG_ERR, "%s:%d Failed to copy from %s to %s", S, __LINE__, image.c_str(), hd.c_str());
        }
    } else {
        hd = SlotFileName(r.dir, r.type, r.slot, kSlotHd, ".jpg");
        ok = ImageUtils::CompressImageToProgressive(image.c_str(), hd.c_str(), true) == 0;
        if (!ok)
            VLIBCLog(LOG_ERR, "%s:%d Failed to compress", S, __LINE__);
        ok = ok && ReplaceByJpeg(r, image, ext, true);
    }
    if (!ok) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to compress progressive jpeg", S, __LINE__);
        return false;
    }
    if (r.outHd != nullptr)
        Put(r.outHd, r.hdLen, hd);
    return true;
}

void MakeThumbnail(const StoreRequest& r, const std::string& image, const std::string& ext)
{
    if (ext == ".gif") {
        Put(r.outThumb, r.thumbLen, image);
        return;
    }
    const std::string thumb = SlotFileName(r.dir, r.type, r.slot, kSlotThumb, ext.c_str());
    Put(r.outThumb, r.thumbLen, thumb);
    char size[32];
    snprintf(size, sizeof size, "%dx%d", r.thumbEdge, r.thumbEdge);
    const std::vector<std::string> args {"-size",
                                         size,
                                         "-thumbnail",
                                         size,
                                         "-quality",
                                         "90",
                                         "-unsharp",
                                         "0.5x0.5+1.25+0.0",
                                         AsFileArgument(image.c_str()),
                                         AsFileArgument(thumb.c_str())};
    if (RunImageTool(S, image.c_str(), args) != 0)
        VLIBCLog(LOG_ERR, "%s:%d Fail to execute %s, %s %s", S, __LINE__, kImageTool, image.c_str(), thumb.c_str());
}

bool Store(const StoreRequest& r)
{
    if (!ArgumentsUsable(r))
        return false;
    std::string ext = StoredExtension(r.ext);
    struct stat st;
    if (stat(r.dir, &st) != 0 && mkdir(r.dir, 0755) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to mkdir %s, %m", S, __LINE__, r.dir);
        return false;
    }
    if (!ContentMatches(r, ext))
        return false;
    std::string image = SlotFileName(r.dir, r.type, r.slot, kSlotImage, ext.c_str());
    if (!CopySource(r, image))
        return false;
    if (chmod(image.c_str(), 0644) != 0)
        VLIBCLog(LOG_ERR, "%s:%d Failed to chmod, %m", S, __LINE__);
    bool done = false;
    const bool ok = *r.type != '\0' ? ShrinkLoginImage(r, image, ext, done) : MakeWallpaper(r, image, ext);
    if (!ok)
        return false;
    if (!done)
        MakeThumbnail(r, image, ext);
    Put(r.outPath, r.pathLen, image);
    return true;
}

}  // namespace

bool StoreImage(const StoreRequest& request)
{
    try {
        return Store(request);
    } catch (...) {
        VLIBCLog(LOG_ERR, "%s:%d Out of memory", S, __LINE__);
        return false;
    }
}

}  // namespace arx::image
