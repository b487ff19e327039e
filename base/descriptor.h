// A file descriptor closed at the end of its scope.
#ifndef ARX_BASE_DESCRIPTOR_H
#define ARX_BASE_DESCRIPTOR_H

#include <unistd.h>

namespace base {

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) { }
    ~Descriptor()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

}  // namespace base

#endif
