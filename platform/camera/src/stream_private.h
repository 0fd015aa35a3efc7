// A stream over an ArvStream and its buffers. Aravis's pop cannot be
// interrupted, so the stream thread of Aravis hands every completed buffer to
// this object (the stream callback), which puts it in its own output queue.
// Aravis takes one reference per push and gives it back on pop; each buffer
// keeps a reference of its own. Any thread; buffers: owner thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include <arv.h>

#include <camera/KyrCamApi.h>

#include "aravis_support_private.h"
#include "frame_buffer_private.h"
#include "queued_stream_private.h"

namespace KyrCam {

class AravisDevice;
class AravisStream;

// What the camera was set to send when the acquisition started: an
// incomplete frame is described with it, whatever of its leader came.
struct FrameFormat {
    uint32_t pfnc = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    int32_t xOffset = 0;
    int32_t yOffset = 0;
};

// Input: waiting in Aravis's input queue.
class AravisBuffer final : public FrameBuffer
{
public:
    // Null when memory is short.
    static std::unique_ptr<AravisBuffer> create(int64_t size, void *userData);

    ArvBuffer *arv() noexcept { return arv_.get(); }
    // Takes the description of the frame Aravis put in; `frameId` widened.
    // An incomplete frame is described by `acquiring`.
    void takeFrame(uint64_t frameId, const FrameFormat &acquiring) noexcept;
    // Zeroes the memory, so that the packets missing from the next frame
    // read as zero.
    void clear() noexcept;

private:
    AravisBuffer() = default;
    void describe(uint32_t pixelType, uint32_t width, uint32_t height, int32_t xPadding) noexcept;

    GObjectPtr<ArvBuffer> arv_;
};

class AravisStream final : public QueuedStream<AravisBuffer>
{
public:
    // Opens the device's stream channel. Codes: those of Aravis's stream
    // creation (kErrIo, kErrNotAvailable).
    static std::unique_ptr<AravisStream> create(AravisDevice &device, KyrCamErr &code) noexcept;
    ~AravisStream() override;

    ArvStream *arv() noexcept { return stream_.get(); }
    // The device stopped answering: waits end with kErrIo.
    void deviceLost() noexcept;

    void Release() noexcept override;
    int64_t GetBufferSize() noexcept override;
    int64_t GetBufferAlignment() noexcept override;
    int64_t GetMinNumBuffers() noexcept override;
    KyrCamErr StartAcquisition(uint64_t frameCount, const void *reserved) noexcept override;
    KyrCamErr StopAcquisition(int32_t mode) noexcept override;
    KyrCamErr FlushBuffers(int32_t mode) noexcept override;
    KyrCamErr AllocBufferQueue(void *userData, int64_t count) noexcept override;
    KyrCamErr ReleaseBufferQueue() noexcept override;
    KyrCamErr QueueBuffer(Buffer *buffer) noexcept override;
    KyrCamErr RevokeBuffer(Buffer *buffer) noexcept override;
    Buffer *CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept override;

private:
    // What Aravis's stream thread calls back into. The ArvStream owns it, as
    // a lost device's ArvStream outlives this object on the reaper.
    struct CallbackTarget
    {
        std::mutex mutex;  // held while the callback runs
        AravisStream *stream = nullptr;
    };

    AravisStream(AravisDevice &device, GObjectPtr<ArvStream> stream, CallbackTarget &target);
    static void onStreamEvent(void *target, ArvStreamCallbackType type, ArvBuffer *buffer);
    // Hands over every buffer in Aravis's output queue; on Aravis's thread.
    void collect();
    // Callers hold mutex_.
    void pushToInput(AravisBuffer &buffer) noexcept;
    // The frame id to deliver for Aravis's, widened; false for a piece of a
    // frame already delivered.
    bool nextFrameId(uint64_t rawId, uint64_t &frameId) noexcept;
    // Takes every buffer back from Aravis's queues; caller holds no lock.
    void drainAravis() noexcept;
    // Runs AcquisitionStart or AcquisitionStop on the camera; starting
    // first notes the frame format into format_ (caller holds no lock).
    KyrCamErr executeAcquisition(bool start) noexcept;
    // Queues a buffer the script gives back, cleared once the stream has
    // lost packets; caller holds mutex_.
    void requeue(AravisBuffer &buffer) noexcept;

    AravisDevice &device_;
    bool discardLate_ = false;
    // An incomplete frame came: from now on buffers are cleared when queued.
    bool lossSeen_ = false;
    FrameFormat format_;
    uint64_t frameLimit_ = 0;
    uint64_t frameCount_ = 0;
    bool sequenced_ = false;  // lastId_ holds a frame delivered in this acquisition
    uint64_t lastId_ = 0;
    uint64_t lastRawId_ = 0;
    uint64_t idEpoch_ = 0;
    GObjectPtr<ArvStream> stream_;
    CallbackTarget &target_;
};

} // namespace KyrCam
