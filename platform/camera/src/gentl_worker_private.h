// Runs one device's producer calls, one after another, on a thread of its
// own, so that a caller waits at most its timeout whatever the producer does:
// a call that outlives the wait finishes later on the worker, into memory the
// call owns. Workers belong to their producer, which is never unloaded, so a
// call in flight outlives the device that made it safely. Any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <camera/KyrCamErr.h>

#include "gentl_api_private.h"

namespace KyrCam {

class GenTLWorker
{
public:
    // Starts the thread and returns once it runs.
    GenTLWorker();
    // Joins the thread; the owner destroys only a finished worker.
    ~GenTLWorker();
    GenTLWorker(const GenTLWorker &) = delete;
    GenTLWorker &operator=(const GenTLWorker &) = delete;

    // Runs `call` after the calls queued before it and waits for it at most
    // `timeoutMs`. `call` must own or share everything it touches. Codes:
    // the call's, kErrTimeout (it goes on without the caller),
    // kErrOutOfMemory, kErrIo (the worker is retired).
    KyrCamErr run(std::function<GC_ERROR()> call, uint64_t timeoutMs) noexcept;
    // Queues `last` after every call; the thread ends after it. Waits for it
    // at most `timeoutMs`.
    void retire(std::function<void()> last, uint64_t timeoutMs) noexcept;
    bool finished() noexcept;

private:
    struct Job {
        std::function<GC_ERROR()> call;
        GC_ERROR result = GC_ERR_SUCCESS;
        bool done = false;
    };

    void loop();
    KyrCamErr queue(const std::shared_ptr<Job> &job, uint64_t timeoutMs) noexcept;

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::deque<std::shared_ptr<Job>> jobs_;
    bool started_ = false;
    bool retiring_ = false;
    bool finished_ = false;
    std::thread thread_;
};

} // namespace KyrCam
