#include "StreamLink.h"

#include <algorithm>

namespace KyrCamPy {

StreamLink::StreamLink(KyrCam::Stream *stream, const Lifetime::Ref &device)
    : stream_(stream, Lifetime::make(device))
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
    // A copy: forgetting runs no Python code, but keep the walk independent of
    // what a user does.
    const std::vector<BufferUser *> users = users_;
    for (BufferUser *user : users)
        user->forgetBuffer(buffer);
}

void StreamLink::release()
{
    KyrCam::Stream *stream = stream_.get();
    if (!stream)
        return;
    stream_.lifetime()->end();
    buffersFreed(nullptr);
    // The library ends a GetBuffer still waiting on another thread before it
    // frees the stream.
    NativeCall call;
    stream->Release();
}

} // namespace KyrCamPy
