// What the library's streams share, whatever the transport: their buffers,
// an output queue of our own that the transport's thread fills with the
// frames it hands over, and the GetBuffer waits on that queue. A wait ends
// with a frame, or at once when CancelBuffer, StopAcquisition, a lost device
// or the stream's end asks, whatever the transport's own waits do. `Frame` is
// the transport's FrameBuffer. Any thread; buffers: owner thread only.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include <camera/KyrCamApi.h>

#include "frame_buffer_private.h"
#include "genparam_private.h"

namespace KyrCam {

template <typename Frame>
class QueuedStream : public Stream
{
public:
    int64_t GetBufferQueueSize() noexcept override;
    KyrCamErr CancelBuffer() noexcept override;
    Buffer *GetBuffer(uint64_t timeoutMs, KyrCamErr *err) noexcept override;

protected:
    // Longer waits than this (about 35 years) count as waits without limit,
    // which keeps the deadline arithmetic in range.
    static constexpr uint64_t kLongestTimeoutMs = uint64_t(1) << 40;

    // Callers hold mutex_.
    Frame *find(Buffer *buffer) noexcept;
    // Puts a filled frame at the end of the output queue; the caller wakes
    // the waiters (changed_) once it has handed over what it has.
    void deliver(Frame &frame) noexcept;
    // Every frame of the output queue back to the script's side, unseen.
    void discardOutput() noexcept;
    // Takes the buffer out of every queue and frees it.
    void forget(Frame &frame) noexcept;
    // Ends the waits in progress (kErrAbort) and returns once no caller is
    // inside GetBuffer any more.
    void cancelWaits(std::unique_lock<std::mutex> &lock) noexcept;

    std::mutex mutex_;
    // A frame came, a wait must end, or a waiter left.
    std::condition_variable changed_;
    std::vector<std::unique_ptr<Frame>> buffers_;
    std::deque<Frame *> output_;
    bool acquiring_ = false;
    bool lost_ = false;     // waits end with kErrIo
    bool closing_ = false;  // the last handle is gone: waits end, none start

private:
    unsigned waiters_ = 0;
    uint64_t cancels_ = 0;
};

template <typename Frame>
int64_t QueuedStream<Frame>::GetBufferQueueSize() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::count_if(buffers_.begin(), buffers_.end(),
                         [](const auto &buffer) { return buffer->state == FrameBuffer::State::Input; });
}

template <typename Frame>
KyrCamErr QueuedStream<Frame>::CancelBuffer() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (waiters_ == 0)
            return kOk;
        ++cancels_;
    }
    changed_.notify_all();
    return kOk;
}

template <typename Frame>
Buffer *QueuedStream<Frame>::GetBuffer(uint64_t timeoutMs, KyrCamErr *err) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (closing_) {
        setError(err, kErrAbort);
        return nullptr;
    }
    const uint64_t cancels = cancels_;
    const auto ready = [&] { return !output_.empty() || cancels_ != cancels || lost_ || !acquiring_ || closing_; };
    ++waiters_;
    if (timeoutMs >= kLongestTimeoutMs)
        changed_.wait(lock, ready);
    else
        changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready);
    if (--waiters_ == 0)
        changed_.notify_all();

    Frame *frame = nullptr;
    KyrCamErr code = kErrTimeout;
    if (closing_) {
        code = kErrAbort;
    } else if (!output_.empty()) {
        frame = output_.front();
        output_.pop_front();
        frame->state = FrameBuffer::State::Announced;
        code = kOk;
    } else if (cancels_ != cancels) {
        code = kErrAbort;
    } else if (lost_) {
        code = kErrIo;
    } else if (!acquiring_) {
        code = kErrNotInitialized;
    }
    setError(err, code);
    return frame;
}

template <typename Frame>
Frame *QueuedStream<Frame>::find(Buffer *buffer) noexcept
{
    for (auto &owned : buffers_) {
        if (owned.get() == buffer)
            return owned.get();
    }
    return nullptr;
}

template <typename Frame>
void QueuedStream<Frame>::deliver(Frame &frame) noexcept
{
    frame.state = FrameBuffer::State::Output;
    output_.push_back(&frame);
}

template <typename Frame>
void QueuedStream<Frame>::discardOutput() noexcept
{
    for (Frame *frame : output_)
        frame->state = FrameBuffer::State::Announced;
    output_.clear();
}

template <typename Frame>
void QueuedStream<Frame>::forget(Frame &frame) noexcept
{
    output_.erase(std::remove(output_.begin(), output_.end(), &frame), output_.end());
    buffers_.erase(std::remove_if(buffers_.begin(), buffers_.end(),
                                  [&](const auto &owned) { return owned.get() == &frame; }),
                   buffers_.end());
}

template <typename Frame>
void QueuedStream<Frame>::cancelWaits(std::unique_lock<std::mutex> &lock) noexcept
{
    ++cancels_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return waiters_ == 0; });
}

} // namespace KyrCam
