#include "StreamLink.h"

#include <algorithm>
#include <chrono>

namespace KyrCamPy {

namespace {

// How long a release waits for the waits it cancelled before cancelling again.
constexpr std::chrono::milliseconds kCancelRepeat{ 5 };

} // namespace

StreamLink::StreamLink(KyrCam::Stream *stream, const Lifetime::Ref &device)
    : native_(stream)
    , stream_(stream, Lifetime::make(device))
{
}

void StreamLink::attach(BufferUser *user)
{
    users_.push_back(user);
}

void StreamLink::detach(BufferUser *user)
{
    users_.erase(std::remove(users_.begin(), users_.end(), user), users_.end());
}

void StreamLink::buffersFreed(KyrCam::Buffer *buffer)
{
    ++epoch_;
    for (BufferUser *user : users_)
        user->forgetBuffer(buffer);
}

void StreamLink::release()
{
    KyrCam::Stream *stream = stream_.get();
    if (!stream)
        return;
    open_ = false;
    // No new call or wait starts from here on.
    stream_.lifetime()->end();
    endWaits();
    buffersFreed(nullptr);
    NativeCall call;
    stream->Release();
}

void StreamLink::deviceReleased()
{
    if (!open_)
        return;
    open_ = false;
    endWaits();
    buffersFreed(nullptr);
}

void StreamLink::endWaits()
{
    NativeCall unlocked;
    std::unique_lock<std::mutex> lock(waitMutex_);
    // A waiter that counted itself but has not entered the library yet misses
    // a cancel: cancel again until every wait has returned.
    while (waits_ > 0) {
        lock.unlock();
        native_->CancelBuffer();
        lock.lock();
        waitLeft_.wait_for(lock, kCancelRepeat, [this] { return waits_ == 0; });
    }
}

StreamLink::Wait::Wait(StreamLink &link)
    : link_(link)
{
    {
        std::lock_guard<std::mutex> lock(link_.waitMutex_);
        ++link_.waits_;
    }
    state_ = PyEval_SaveThread();
}

StreamLink::Wait::~Wait()
{
    {
        std::lock_guard<std::mutex> lock(link_.waitMutex_);
        if (--link_.waits_ == 0)
            link_.waitLeft_.notify_all();
    }
    PyEval_RestoreThread(state_);
}

} // namespace KyrCamPy
