// A file descriptor closed at the end of its scope.
#ifndef ARX_BASE_DESCRIPTOR_H
#define ARX_BASE_DESCRIPTOR_H

#include <unistd.h>

namespace base {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) { }
    ~Descriptor() { reset(-1); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    // Closes the descriptor held, if any, and holds fd.
    void reset(int fd)
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

}  // namespace base

#endif
