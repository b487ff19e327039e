// The files of one slot of an image set, and the log source of the image
// selector.
#ifndef ARX_IMAGE_SLOT_FILES_H
#define ARX_IMAGE_SLOT_FILES_H

#include <string>

namespace arx::image {

constexpr const char* kSelectorSource = "image_selector_utils";
constexpr int kSlots = 8;

enum SlotFile { kSlotImage, kSlotThumb, kSlotHd };

// DIR/TYPE N EXT, DIR/TYPE N thumb EXT or DIR/TYPE N _hd EXT.
std::string SlotFileName(const char* dir, const char* type, int index, SlotFile kind, const char* ext);

// The first existing file of the slot in the order of the known extensions
// (a negative index is slot 0), with the extension it has; false when none
// exists.  Logs bad arguments.
bool FindSlotFile(const char* dir, const char* type, int index, SlotFile kind, std::string& path, const char** ext);

// Deletes every file of the slot; false only for bad arguments (logged).
bool RemoveSlot(const char* dir, const char* type, int index);

// The size of the file at path by stat, logged when it cannot be had.
bool FileSize(const char* path, long long& size);

// Holds the set's lock ("DIR/.slots.lock") while alive, so that adds to
// one set from parallel requests take slots one after the other.  The
// directory is made (0755) when missing; ok() false (logged) when the lock
// could not be had within its time.
class SetLock {
public:
    explicit SetLock(const char* dir);
    ~SetLock();
    SetLock(const SetLock&) = delete;
    SetLock& operator=(const SetLock&) = delete;
    bool ok() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// Runs body, turning an exception (an allocation that failed) into result.
template <typename Result, typename Body> Result Guarded(Result result, Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return result;
    }
}

}  // namespace arx::image

#endif
