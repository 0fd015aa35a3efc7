// What the wrappers of one native stream share: the stream while it is open,
// and the wrappers that borrow one of its buffers (the stream's PyBuffers and
// the PyImages made from them), so that a buffer the library frees is
// forgotten by every wrapper that still points at it.
#pragma once

#include <CXX/Extensions.hxx>

#include <cstdint>
#include <memory>
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
    // Releases the stream: ends its lifetime (waiting for the native calls
    // still running on it), then gives it back without the interpreter lock.
    void release();

private:
    Borrowed<KyrCam::Stream> stream_;
    uint64_t epoch_ = 0;
    std::vector<BufferUser *> users_;
};

} // namespace KyrCamPy
