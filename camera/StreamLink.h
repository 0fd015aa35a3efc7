// What the wrappers of one native stream share: the stream while it is open,
// the GetBuffer waits on it, and the wrappers that borrow one of its buffers
// (the stream's PyBuffers and the PyImages made from them), so that a buffer
// the library frees is forgotten by every wrapper that still points at it.
#pragma once

#include <CXX/Extensions.hxx>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <camera/KyrCamApi.h>

#include "Lifetime.h"

namespace KyrCamPy {

// A wrapper that borrows a native buffer of a stream.
class BufferUser
{
public:
    // The library freed `buffer` (null: every buffer of the stream).
    virtual void forgetBuffer(KyrCam::Buffer *buffer) = 0;

protected:
    ~BufferUser() = default;
};

class StreamLink
{
public:
    // `stream` is open; its lifetime ends with `device`'s too.
    StreamLink(KyrCam::Stream *stream, const Lifetime::Ref &device);

    // The stream; null once it or its device was released.
    KyrCam::Stream *stream() const { return stream_.get(); }
    const Lifetime::Ref &lifetime() const { return stream_.lifetime(); }

    // Changes whenever the library may have freed buffers of the stream: a
    // buffer taken before a change may be gone.
    uint64_t epoch() const { return epoch_; }

    void attach(BufferUser *user);
    void detach(BufferUser *user);

    // The library freed `buffer` (null: all of them, as with the queue).
    void buffersFreed(KyrCam::Buffer *buffer);
    // Releases the stream: ends its lifetime, ends the GetBuffer waits on it
    // and waits for the native calls still running on it, then gives it back.
    void release();
    // The device is being released, and the stream with it: ends the waits on
    // it. Called once the device's lifetime has ended.
    void deviceReleased();

    // A GetBuffer wait on the stream for its scope, with the interpreter lock
    // released. Counted apart from other native calls: a release ends these
    // instead of waiting for them.
    class Wait
    {
    public:
        explicit Wait(StreamLink &link);
        ~Wait();

        Wait(const Wait &) = delete;
        Wait &operator=(const Wait &) = delete;

    private:
        StreamLink &link_;
        PyThreadState *state_;
    };

private:
    // Cancels the waits on the stream until none is left, without the
    // interpreter lock.
    void endWaits();

    KyrCam::Stream *const native_;
    Borrowed<KyrCam::Stream> stream_;
    bool open_ = true;  // not yet released, by itself or with its device
    uint64_t epoch_ = 0;
    std::vector<BufferUser *> users_;
    std::mutex waitMutex_;
    std::condition_variable waitLeft_;
    int waits_ = 0;  // under waitMutex_
};

} // namespace KyrCamPy
