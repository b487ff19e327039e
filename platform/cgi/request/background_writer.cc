#include "cgi/request/background_writer.h"

#include <errno.h>
#include <signal.h>

#include <string_view>
#include <system_error>

#include "base/file_write.h"

namespace vorn {

namespace {

// The two threads hand pieces to each other every few dozen microseconds:
// a short spin before sleeping spares the wake-up (a futex call and, in a
// virtual machine, an interrupt between processors) most of the time.
template <class Ready> void Await(std::condition_variable& wake, std::unique_lock<std::mutex>& lock, Ready ready)
{
    for (int spin = 0; spin < 4000 && !ready(); ++spin) {
        lock.unlock();
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
        lock.lock();
    }
    wake.wait(lock, ready);
}

}  // namespace

bool BackgroundWriter::StartThread()
{
    if (unavailable_)
        return false;
    // Signals stay the reading thread's: it is the one they must interrupt.
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    try {
        stopping_ = false;
        thread_ = std::thread([this] { Loop(); });
    } catch (const std::system_error&) {
        unavailable_ = true;
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return !unavailable_;
}

bool BackgroundWriter::Failed()
{
    errno = error_;
    return false;
}

bool BackgroundWriter::Write(int fd, const char* data, size_t size, unsigned long long before)
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (error_ != 0)
        return Failed();
    const bool atOnce = before + size <= kAtOnceBytes && count_ == 0;
    if (atOnce || (!thread_.joinable() && !StartThread())) {
        lock.unlock();
        // Whatever was queued is written: writes stay in order.
        return base::WriteAll(fd, std::string_view(data, size));
    }
    Await(done_, lock, [this] { return count_ < kQueue; });
    if (error_ != 0)
        return Failed();
    items_[(head_ + count_) % kQueue] = {fd, data, size};
    ++count_;
    queued_.notify_one();
    return true;
}

void BackgroundWriter::Release(const char* region, size_t size)
{
    std::unique_lock<std::mutex> lock(mutex_);
    Await(done_, lock, [&] {
        for (size_t i = 0; i < count_; ++i) {
            const Item& item = items_[(head_ + i) % kQueue];
            if (item.data < region + size && region < item.data + item.size)
                return false;
        }
        return true;
    });
}

bool BackgroundWriter::Drain()
{
    std::unique_lock<std::mutex> lock(mutex_);
    Await(done_, lock, [this] { return count_ == 0; });
    if (error_ == 0)
        return true;
    Failed();
    error_ = 0;
    return false;
}

void BackgroundWriter::Stop()
{
    if (!thread_.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    queued_.notify_one();
    thread_.join();
}

void BackgroundWriter::Loop()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        Await(queued_, lock, [this] { return count_ > 0 || stopping_; });
        if (count_ == 0)
            return;
        const Item item = items_[head_];
        const bool skip = error_ != 0;
        lock.unlock();
        int error = 0;
        if (!skip && !base::WriteAll(item.fd, std::string_view(item.data, item.size)))
            error = errno != 0 ? errno : EIO;
        lock.lock();
        if (error != 0 && error_ == 0)
            error_ = error;
        head_ = (head_ + 1) % kQueue;
        --count_;
        done_.notify_all();
    }
}

}  // namespace vorn
