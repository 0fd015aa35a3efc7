// A device, its data streams and their buffers over a GenTL producer. The
// stream's library thread waits for EVENT_NEW_BUFFER and fills the stream's
// output queue. Any thread; calls back on the stream thread; buffers: owner
// thread only.
#pragma once

#include "frame_buffer_private.h"
#include "gentl_private.h"
#include "queued_stream_private.h"

namespace KyrCam {

class GenTLDevice;

// Input: announced to the producer and queued there.
class GenTLBuffer final : public FrameBuffer
{
public:
    // Null when memory is short.
    static std::unique_ptr<GenTLBuffer> create(int64_t size, void *userData);

    BUFFER_HANDLE handle = nullptr;
    // Reads the frame's description from the producer.
    void takeFrame(const GenTLFunctions &fn, DS_HANDLE stream) noexcept;

private:
    GenTLBuffer() = default;
};

class GenTLStream final : public QueuedStream<GenTLBuffer>
{
public:
    // Opens the device's data stream `index` and its new-buffer event. Codes:
    // kErrNotAvailable (no stream, or the producer gives no event), the
    // producer's codes.
    static KyrCamErr open(GenTLDevice &device, uint32_t index, std::unique_ptr<GenTLStream> &stream) noexcept;
    ~GenTLStream() override;

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

    // Ends every wait and waits until no caller is inside GetBuffer.
    void endWaits() noexcept;

private:
    GenTLStream(GenTLDevice &device, DS_HANDLE handle, EVENT_HANDLE event);
    void run();
    // Callers hold mutex_.
    GenTLBuffer *findHandle(BUFFER_HANDLE handle) noexcept;
    KyrCamErr announce(std::unique_ptr<GenTLBuffer> buffer, bool queue) noexcept;
    KyrCamErr revoke(GenTLBuffer &buffer) noexcept;
    int64_t streamInfo(STREAM_INFO_CMD command, int64_t fallback) noexcept;

    GenTLDevice &device_;
    const GenTLFunctions &fn_;
    const DS_HANDLE handle_;
    const EVENT_HANDLE event_;
    std::thread thread_;
};

// The remote device's events: EVENT_REMOTE_DEVICE on the device module, read
// on a library thread and posted to the dispatcher under the event's id with
// its EVENT_DATA_VALUE, as GigE Vision events come with their data alone. Any
// thread.
class GenTLRemoteEvents
{
public:
    // Codes: kErrNotImplemented (the producer lacks the event functions or
    // the event), the producer's codes.
    static KyrCamErr open(GenTLDevice &device, std::unique_ptr<GenTLRemoteEvents> &events) noexcept;
    // Ends the wait, joins the thread and unregisters the event.
    ~GenTLRemoteEvents();

private:
    GenTLRemoteEvents(GenTLDevice &device, EVENT_HANDLE event);
    void run();
    // The event's numeric id, from EVENT_DATA_NUMID or the hexadecimal
    // EVENT_DATA_ID of older producers.
    bool idOf(const std::string &raw, uint64_t &id) noexcept;

    GenTLDevice &device_;
    const GenTLFunctions &fn_;
    const EVENT_HANDLE event_;
    std::atomic<bool> closing_{ false };
    std::thread thread_;
};

class GenTLDevice final : public Device
{
public:
    static KyrCamErr open(GenTLDeviceInfo &info, int32_t mode, std::unique_ptr<GenTLDevice> &device) noexcept;
    ~GenTLDevice() override;

    const GenTLFunctions &fn() const noexcept { return info_.owner().producer().fn(); }
    DEV_HANDLE handle() const noexcept { return handle_; }
    AravisParamArray *camera() noexcept { return remote_ ? remote_->array() : nullptr; }
    // The camera's AcquisitionStart when the first stream starts and its
    // AcquisitionStop when the last one stops; kOk for a camera without them.
    KyrCamErr streamStarted() noexcept;
    KyrCamErr streamStopped() noexcept;
    // The producer reports the device gone (from a library thread).
    void lost() noexcept;
    // Hands an event of the remote device to the dispatcher.
    void post(uint32_t eventId, std::string data) noexcept;
    // Drops a handle of `stream`; the last one closes it.
    void releaseStream(GenTLStream *stream) noexcept;

    void Release() noexcept override;
    DeviceInfo *GetInfo() noexcept override;
    uint32_t GetNumStreams() noexcept override;
    Stream *GetStreamByIndex(uint32_t index) noexcept override;
    Stream *GetStreamById(const char *id) noexcept override;
    KyrCamErr ReadMem(int64_t address, void *buffer, int64_t size) noexcept override;
    KyrCamErr WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept override;
    KyrCamErr RegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept override;
    KyrCamErr UnRegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept override;
    KyrGenParam::Array *GetTransportParameters(KyrCamErr *err) noexcept override;
    KyrGenParam::Array *GetCameraParameters(KyrCamErr *err) noexcept override;
    KyrCamErr SaveConfiguration(const char *path) noexcept override;
    KyrCamErr LoadConfiguration(const char *path) noexcept override;

private:
    GenTLDevice(GenTLDeviceInfo &info, DEV_HANDLE handle, GenTLWorker &worker);
    KyrCamErr execute(const char *command) noexcept;

    // An open data stream and the handles given out for it.
    struct StreamSlot {
        std::unique_ptr<GenTLStream> stream;
        uint32_t handles = 0;
    };

    GenTLDeviceInfo &info_;
    const DEV_HANDLE handle_;
    // The producer's; retired when the device closes.
    GenTLWorker &worker_;
    std::atomic<bool> lost_{ false };
    std::unique_ptr<GenTLNodeMap> remote_;
    std::mutex eventsMutex_;
    std::unique_ptr<GenTLRemoteEvents> events_;
    std::mutex moduleMutex_;
    std::unique_ptr<GenTLNodeMap> module_;
    std::mutex streamMutex_;
    std::vector<StreamSlot> streams_;
    std::mutex acquisitionMutex_;
    uint32_t acquiringStreams_ = 0;
};

} // namespace KyrCam
