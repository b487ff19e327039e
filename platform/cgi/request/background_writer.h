// Writes a large file part on a second thread while the caller reads on:
// reading the body, looking for its delimiter and writing the file then
// share the machine's cores instead of taking turns.  The first bytes of a
// part (kAtOnceBytes) are written at once, so that a small upload never
// starts a thread; nor does a process that cannot start one, which writes
// everything at once.
//
// Data handed to Write must stay as it is until the writer is done with it:
// until Release says so for the region, or until Drain.  The thread lives
// from the first queued write to Stop, and receives no signals.
#ifndef VORN_PLATFORM_BACKGROUND_WRITER_H
#define VORN_PLATFORM_BACKGROUND_WRITER_H

#include <stddef.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vorn {

class BackgroundWriter {
public:
    static constexpr unsigned long long kAtOnceBytes = 1 << 20;

    BackgroundWriter() = default;
    ~BackgroundWriter() { Stop(); }
    BackgroundWriter(const BackgroundWriter&) = delete;
    BackgroundWriter& operator=(const BackgroundWriter&) = delete;

    // Writes data to fd, or queues it when before holds the bytes of the
    // part given already.  false with errno when this write or one queued
    // before failed; a failed write drops those queued after it, and every
    // Write fails until Drain.
    bool Write(int fd, const char* data, size_t size, unsigned long long before);
    // Returns when no queued write reads from [region, region + size).
    void Release(const char* region, size_t size);
    // Returns when every queued write is done: false with errno of the
    // first that failed since the last Drain.
    bool Drain();
    // Drains and ends the thread.
    void Stop();

private:
    struct Item {
        int fd;
        const char* data;
        size_t size;
    };
    static constexpr size_t kQueue = 4;

    bool StartThread();
    void Loop();
    bool Failed();

    std::mutex mutex_;
    std::condition_variable queued_;  // an item came, or the end
    std::condition_variable done_;  // an item was written
    Item items_[kQueue] = {};
    size_t head_ = 0;
    size_t count_ = 0;
    int error_ = 0;
    bool stopping_ = false;
    bool unavailable_ = false;  // no thread could be started
    std::thread thread_;
};

}  // namespace vorn

#endif
