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
// Released streams and freed buffers are kept: a call that reaches one counts
// as a use after release (script.h). Releasing a stream, or the device
// that opened it, first ends a GetBuffer waiting on it, as the library does.
// Buffers are at most kMaxBufferSize bytes, queues at most kMaxBuffers.
//
// Threads: a stream answers from any thread; a GetBuffer may wait on one thread
// while another calls CancelBuffer or Release. Buffer getters are not logged.
#pragma once

#include <atomic>
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
    // Freed, as far as callers go: its memory is gone and every later call
    // counts as a use after release.
    void retire();

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
    // True, with the use counted, once retired.
    bool gone(const char *getter) const;

    int index_;
    std::vector<uint8_t> memory_;
    Frame frame_;
    KyrImage image_{};
    bool delivered_ = false;
    bool retired_ = false;
};

class ScriptedStream : public KyrCam::Stream
{
public:
    // Counts as an object the caller must release.
    explicit ScriptedStream(std::string name);

    // Closes the stream as Release does, without the call of it; false when
    // it was closed already.
    bool close();

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

    // Records `call`, a use after release once closed.
    void logCall(const std::string &call);
    // Records `call` and answers the code scripted under `op`, else `natural`.
    KyrCamErr reply(const std::string &op, const std::string &call, KyrCamErr natural);
    // The announced buffer behind `buffer`; null for a foreign one. Under mutex_.
    ScriptedBuffer *find(KyrCam::Buffer *buffer) const;
    bool queued(const ScriptedBuffer *buffer) const;
    // A new buffer of `size` bytes, or null when memory is short.
    ScriptedBuffer *announce(int64_t size);
    // Waits for CancelBuffer at most `timeoutMs`: kErrAbort or kErrTimeout.
    KyrCamErr waitForCancel(uint64_t timeoutMs, const std::string &call);
    // Retires every announced buffer. Under mutex_.
    void retireBuffers();

    const std::string name_;
    std::mutex mutex_;
    std::condition_variable cancelled_;  // also: a waiter left
    int waiters_ = 0;
    std::atomic<bool> closed_{ false };
    uint64_t cancels_ = 0;
    bool acquiring_ = false;
    int nextIndex_ = 0;
    std::vector<std::unique_ptr<ScriptedBuffer>> buffers_;  // announced
    std::deque<ScriptedBuffer *> queue_;                     // input queue
    std::vector<std::unique_ptr<ScriptedBuffer>> retired_;   // freed, as callers see it
};

} // namespace Scripted
