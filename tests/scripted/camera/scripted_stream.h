// The scripted camera library's streams and buffers. A stream answers from the
// script under keys that start with its name ("device-stream0.GetBufferSize");
// each GetBuffer delivers the frame that its answer describes into a queued
// buffer, and with no answer waits until CancelBuffer or the timeout. A frame
// is one line of key=value fields (kyrscript.frame() writes it):
//
//   width=4 height=2 pixel=0x01080101 offset=16 size=8 data=0001020304050607
//
// Other fields: id, timestamp, incomplete, xoffset, yoffset, xpadding,
// ypadding. `size` defaults to the length of `data`; the buffer memory holds
// `offset` filler bytes (0xEE), then `data`, then zeros up to `size`.
//
// Threads: a stream answers from any thread; a GetBuffer may wait on one thread
// while another calls CancelBuffer. Buffer getters are not logged.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <camera/KyrCamApi.h>
#include <image/KyrImage.h>

namespace Scripted {

struct Frame {
    uint32_t width = 0;
    uint32_t height = 0;
    uint64_t pixelType = 0;
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t frameId = 0;
    uint64_t timestamp = 0;
    bool incomplete = false;
    int32_t xOffset = 0;
    int32_t yOffset = 0;
    int32_t xPadding = 0;
    int32_t yPadding = 0;
    std::vector<uint8_t> data;
};

// Reads a frame line; false (and a line on stderr) when it does not parse.
bool parseFrame(const std::string &text, Frame &frame);

class ScriptedBuffer : public KyrCam::Buffer
{
public:
    ScriptedBuffer(int index, int64_t size);

    int index() const { return index_; }
    // Puts `frame` into the buffer's memory and description; false when
    // there is no memory for it.
    bool deliver(const Frame &frame);

    KyrImage *GetImage() noexcept override;
    uint8_t *GetBufferPtr() noexcept override;
    uint64_t GetImageOffset() noexcept override;
    uint64_t GetBufferSize() noexcept override;
    uint64_t GetPixelFormat() noexcept override;
    uint64_t GetFrameID() noexcept override;
    uint64_t GetTimestamp() noexcept override;
    bool IsIncomplete() noexcept override;
    uint32_t GetWidth() noexcept override;
    uint32_t GetHeight() noexcept override;
    int32_t GetXOffset() noexcept override;
    int32_t GetYOffset() noexcept override;
    int32_t GetXPadding() noexcept override;
    int32_t GetYPadding() noexcept override;

    ~ScriptedBuffer() override = default;

private:
    int index_;
    std::vector<uint8_t> memory_;
    Frame frame_;
    KyrImage image_{};
    bool delivered_ = false;
};

class ScriptedStream : public KyrCam::Stream
{
public:
    // Counts as an object the caller must release.
    explicit ScriptedStream(std::string name);

    void Release() noexcept override;
    int64_t GetBufferSize() noexcept override;
    int64_t GetBufferAlignment() noexcept override;
    int64_t GetMinNumBuffers() noexcept override;
    int64_t GetBufferQueueSize() noexcept override;
    KyrCamErr StartAcquisition(uint64_t frameCount, const void *reserved) noexcept override;
    KyrCamErr StopAcquisition(int32_t mode) noexcept override;
    KyrCamErr FlushBuffers(int32_t mode) noexcept override;
    KyrCamErr AllocBufferQueue(void *userData, int64_t count) noexcept override;
    KyrCamErr ReleaseBufferQueue() noexcept override;
    KyrCamErr CancelBuffer() noexcept override;
    KyrCamErr QueueBuffer(KyrCam::Buffer *buffer) noexcept override;
    KyrCamErr RevokeBuffer(KyrCam::Buffer *buffer) noexcept override;
    KyrCam::Buffer *GetBuffer(uint64_t timeoutMs, KyrCamErr *err) noexcept override;
    KyrCam::Buffer *CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept override;

private:
    ~ScriptedStream() override = default;

    // Records `call` and answers the code scripted under `op`, else `natural`.
    KyrCamErr reply(const std::string &op, const std::string &call, KyrCamErr natural);
    // The announced buffer behind `buffer`; null for a foreign one. Under mutex_.
    ScriptedBuffer *find(KyrCam::Buffer *buffer) const;
    bool queued(const ScriptedBuffer *buffer) const;
    // A new buffer of `size` bytes, or null when memory is short.
    ScriptedBuffer *announce(int64_t size);
    // Waits for CancelBuffer at most `timeoutMs`: kErrAbort or kErrTimeout.
    KyrCamErr waitForCancel(uint64_t timeoutMs, const std::string &call);

    const std::string name_;
    std::mutex mutex_;
    std::condition_variable cancelled_;
    int waiters_ = 0;
    uint64_t cancels_ = 0;
    bool acquiring_ = false;
    int nextIndex_ = 0;
    std::vector<std::unique_ptr<ScriptedBuffer>> buffers_;  // announced
    std::deque<ScriptedBuffer *> queue_;                     // input queue
};

} // namespace Scripted
