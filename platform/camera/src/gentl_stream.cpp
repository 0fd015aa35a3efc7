#include "gentl_device_private.h"

#include <algorithm>

#include "pixel_format_private.h"

namespace KyrCam {

namespace {

constexpr uint64_t kWithoutLimit = ~uint64_t(0);
// More buffers than this in one queue is a caller's mistake, not a need.
constexpr int64_t kBufferLimit = 1024;
constexpr uint64_t kEventWaitMs = 250;

} // namespace

std::unique_ptr<GenTLBuffer> GenTLBuffer::create(int64_t size, void *userData)
{
    std::unique_ptr<GenTLBuffer> buffer(new GenTLBuffer);
    if (!buffer->allocate(size, userData))
        return nullptr;
    return buffer;
}

void GenTLBuffer::takeFrame(const GenTLFunctions &fn, DS_HANDLE stream) noexcept
{
    const auto info = [&](BUFFER_INFO_CMD command, uint64_t fallback) {
        uint64_t value = fallback;
        if (!gentlInteger(
                [&](INFO_DATATYPE *type, void *out, size_t *size) {
                    return gentlCall(fn.DSGetBufferInfo, stream, handle, command, type, out, size);
                },
                value))
            return fallback;
        return value;
    };
    startFrame();
    incomplete_ = info(BUFFER_INFO_IS_INCOMPLETE, 0) != 0;
    frameId_ = info(BUFFER_INFO_FRAMEID, 0);
    timestamp_ = info(BUFFER_INFO_TIMESTAMP, 0);
    imageOffset_ = std::min<uint64_t>(info(BUFFER_INFO_IMAGEOFFSET, 0), size());
    const uint64_t filled = std::min<uint64_t>(info(BUFFER_INFO_SIZE_FILLED, size()), size());
    validSize_ = filled > imageOffset_ ? filled - imageOffset_ : 0;
    xOffset_ = int32_t(info(BUFFER_INFO_XOFFSET, 0));
    yOffset_ = int32_t(info(BUFFER_INFO_YOFFSET, 0));
    xPadding_ = int32_t(info(BUFFER_INFO_XPADDING, 0));
    yPadding_ = int32_t(info(BUFFER_INFO_YPADDING, 0));
    const uint32_t pixelType = pixelTypeFromPfnc(uint32_t(info(BUFFER_INFO_PIXELFORMAT, 0)));
    image_.pixelType = pixelType;
    image_.width = uint32_t(info(BUFFER_INFO_WIDTH, 0));
    image_.height = uint32_t(info(BUFFER_INFO_HEIGHT, 0));
    // A producer's geometry that does not fit the buffer is not believed; an
    // incomplete frame keeps it, with fewer valid bytes.
    if (pixelType == 0 || imageOffset_ + lineBytes(pixelType, image_.width) * image_.height > size()) {
        image_.width = image_.height = 0;
        return;
    }
    finishImage();
}

GenTLStream::GenTLStream(GenTLDevice &device, DS_HANDLE handle, EVENT_HANDLE event)
    : device_(device), fn_(device.fn()), handle_(handle), event_(event)
{
}

KyrCamErr GenTLStream::open(GenTLDevice &device, uint32_t index, std::unique_ptr<GenTLStream> &stream) noexcept
{
    const GenTLFunctions &fn = device.fn();
    try {
        const std::string id = gentlText([&](INFO_DATATYPE *, void *buffer, size_t *size) {
            return gentlCall(fn.DevGetDataStreamID, device.handle(), index, static_cast<char *>(buffer), size);
        });
        if (id.empty())
            return kErrNotAvailable;
        DS_HANDLE handle = nullptr;
        GC_ERROR code = gentlCall(fn.DevOpenDataStream, device.handle(), id.c_str(), &handle);
        if (code != GC_ERR_SUCCESS || !handle)
            return code == GC_ERR_SUCCESS ? kErrNotAvailable : gentlCode(code);
        EVENT_HANDLE event = nullptr;
        code = gentlCall(fn.GCRegisterEvent, handle, EVENT_TYPE(EVENT_NEW_BUFFER), &event);
        if (code != GC_ERR_SUCCESS || !event || !fn.EventGetData || !fn.EventKill) {
            gentlCall(fn.DSClose, handle);
            return kErrNotAvailable;
        }
        std::unique_ptr<GenTLStream> made(new GenTLStream(device, handle, event));
        made->thread_ = std::thread([self = made.get()] { self->run(); });
        stream = std::move(made);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

GenTLStream::~GenTLStream()
{
    endWaits();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        closing_ = true;
    }
    if (acquiring_) {
        device_.streamStopped();
        gentlCall(fn_.DSStopAcquisition, handle_, ACQ_STOP_FLAGS(ACQ_STOP_FLAGS_KILL));
    }
    gentlCall(fn_.EventKill, event_);
    thread_.join();
    gentlCall(fn_.DSFlushQueue, handle_, ACQ_QUEUE_TYPE(ACQ_QUEUE_ALL_DISCARD));
    for (auto &buffer : buffers_)
        gentlCall(fn_.DSRevokeBuffer, handle_, buffer->handle, static_cast<void **>(nullptr),
                  static_cast<void **>(nullptr));
    gentlCall(fn_.GCUnregisterEvent, handle_, EVENT_TYPE(EVENT_NEW_BUFFER));
    gentlCall(fn_.DSClose, handle_);
}

void GenTLStream::run()
{
    for (;;) {
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof data;
        // A bounded wait: a producer may lose an EventKill that comes before
        // the wait starts, and closing must not depend on it.
        const GC_ERROR code = gentlCall(fn_.EventGetData, event_, static_cast<void *>(&data), &size, kEventWaitMs);
        std::unique_lock<std::mutex> lock(mutex_);
        if (closing_)
            return;
        if (code == GC_ERR_ABORT || code == GC_ERR_TIMEOUT)
            continue;
        if (code != GC_ERR_SUCCESS) {
            // The producer cannot deliver any more: the device is gone.
            lost_ = true;
            changed_.notify_all();
            lock.unlock();
            device_.lost();
            return;
        }
        GenTLBuffer *buffer = findHandle(data.BufferHandle);
        if (!buffer)
            continue;
        buffer->takeFrame(fn_, handle_);
        deliver(*buffer);
        changed_.notify_all();
    }
}

void GenTLStream::endWaits() noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    cancelWaits(lock);
}

void GenTLStream::Release() noexcept
{
    endWaits();
    device_.releaseStream(this);
}

int64_t GenTLStream::streamInfo(STREAM_INFO_CMD command, int64_t fallback) noexcept
{
    uint64_t value = 0;
    if (!gentlInteger(
            [&](INFO_DATATYPE *type, void *buffer, size_t *size) {
                return gentlCall(fn_.DSGetInfo, handle_, command, type, buffer, size);
            },
            value))
        return fallback;
    return int64_t(value);
}

int64_t GenTLStream::GetBufferSize() noexcept
{
    int64_t size = streamInfo(STREAM_INFO_PAYLOAD_SIZE, 0);
    if (size > 0)
        return size;
    // A producer that leaves the payload size to the device.
    AravisParamArray *camera = device_.camera();
    KyrCamErr err = kOk;
    size = camera ? camera->GetIntegerValue("PayloadSize", &err) : 0;
    return err == kOk ? size : 0;
}

int64_t GenTLStream::GetBufferAlignment() noexcept { return std::max<int64_t>(streamInfo(STREAM_INFO_BUF_ALIGNMENT, 1), 1); }

int64_t GenTLStream::GetMinNumBuffers() noexcept { return std::max<int64_t>(streamInfo(STREAM_INFO_BUF_ANNOUNCE_MIN, 1), 1); }

KyrCamErr GenTLStream::StartAcquisition(uint64_t frameCount, const void *reserved) noexcept
{
    if (reserved)
        return kErrInvalidParameter;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (lost_)
            return kErrIo;
        if (acquiring_)
            return kErrResourceInUse;
        if (int64_t(buffers_.size()) < GetMinNumBuffers())
            return kErrInvalidBuffer;
    }
    // The data stream first, so that no frame of the camera finds it closed.
    GC_ERROR code = gentlCall(fn_.DSStartAcquisition, handle_, ACQ_START_FLAGS(ACQ_START_FLAGS_DEFAULT),
                              frameCount == kWithoutLimit ? GENTL_INFINITE : frameCount);
    if (code != GC_ERR_SUCCESS)
        return gentlCode(code);
    const KyrCamErr started = device_.streamStarted();
    if (started != kOk) {
        gentlCall(fn_.DSStopAcquisition, handle_, ACQ_STOP_FLAGS(ACQ_STOP_FLAGS_KILL));
        return started;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    acquiring_ = true;
    return kOk;
}

KyrCamErr GenTLStream::StopAcquisition(int32_t mode) noexcept
{
    if (mode != kStopDefault && mode != kStopKill)
        return kErrInvalidParameter;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!acquiring_)
            return kErrInvalidState;
        acquiring_ = false;
    }
    // Waits in progress end now: with a frame still queued, else with
    // kErrNotInitialized.
    changed_.notify_all();
    const KyrCamErr stopped = device_.streamStopped();
    const GC_ERROR code = gentlCall(fn_.DSStopAcquisition, handle_,
                                    ACQ_STOP_FLAGS(mode == kStopKill ? ACQ_STOP_FLAGS_KILL : ACQ_STOP_FLAGS_DEFAULT));
    if (code != GC_ERR_SUCCESS && code != GC_ERR_RESOURCE_IN_USE)
        return gentlCode(code);
    return stopped;
}

KyrCamErr GenTLStream::FlushBuffers(int32_t mode) noexcept
{
    if (mode < kFlushOutputDiscard || mode > kFlushAllDiscard)
        return kErrInvalidParameter;
    std::lock_guard<std::mutex> lock(mutex_);
    // Our flush modes are GenTL's queue operations by number.
    const GC_ERROR code = gentlCall(fn_.DSFlushQueue, handle_, ACQ_QUEUE_TYPE(mode));
    if (code != GC_ERR_SUCCESS)
        return gentlCode(code);
    using State = GenTLBuffer::State;
    for (auto &buffer : buffers_) {
        State &state = buffer->state;
        if (mode == kFlushOutputDiscard && state == State::Output)
            state = State::Announced;
        else if (mode == kFlushAllToInput)
            state = State::Input;
        else if (mode == kFlushUnqueuedToInput && state == State::Announced)
            state = State::Input;
        else if (mode == kFlushAllDiscard)
            state = State::Announced;
    }
    if (mode != kFlushUnqueuedToInput)
        output_.clear();
    return kOk;
}

KyrCamErr GenTLStream::announce(std::unique_ptr<GenTLBuffer> buffer, bool queue) noexcept
{
    try {
        buffers_.reserve(buffers_.size() + 1);
    } catch (...) {
        return kErrOutOfMemory;
    }
    GC_ERROR code = gentlCall(fn_.DSAnnounceBuffer, handle_, static_cast<void *>(buffer->memory()), buffer->size(),
                              static_cast<void *>(buffer.get()), &buffer->handle);
    if (code != GC_ERR_SUCCESS)
        return gentlCode(code);
    if (queue) {
        code = gentlCall(fn_.DSQueueBuffer, handle_, buffer->handle);
        if (code != GC_ERR_SUCCESS) {
            gentlCall(fn_.DSRevokeBuffer, handle_, buffer->handle, static_cast<void **>(nullptr),
                      static_cast<void **>(nullptr));
            return gentlCode(code);
        }
        buffer->state = GenTLBuffer::State::Input;
    }
    buffers_.push_back(std::move(buffer));
    return kOk;
}

KyrCamErr GenTLStream::AllocBufferQueue(void *userData, int64_t count) noexcept
{
    if (count < 1 || count > kBufferLimit)
        return kErrInvalidParameter;
    const int64_t size = GetBufferSize();
    if (size < 1)
        return kErrNotAvailable;
    std::lock_guard<std::mutex> lock(mutex_);
    if (!buffers_.empty())
        return kErrResourceInUse;
    for (int64_t i = 0; i < count; ++i) {
        std::unique_ptr<GenTLBuffer> buffer;
        try {
            buffer = GenTLBuffer::create(size, userData);
        } catch (...) {
        }
        const KyrCamErr code = buffer ? announce(std::move(buffer), true) : kErrOutOfMemory;
        if (code != kOk) {
            while (!buffers_.empty()) {
                revoke(*buffers_.back());
                buffers_.pop_back();
            }
            return code;
        }
    }
    return kOk;
}

KyrCamErr GenTLStream::revoke(GenTLBuffer &buffer) noexcept
{
    const GC_ERROR code = gentlCall(fn_.DSRevokeBuffer, handle_, buffer.handle, static_cast<void **>(nullptr),
                                    static_cast<void **>(nullptr));
    return gentlCode(code);
}

KyrCamErr GenTLStream::ReleaseBufferQueue() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (acquiring_)
        return kErrBusy;
    gentlCall(fn_.DSFlushQueue, handle_, ACQ_QUEUE_TYPE(ACQ_QUEUE_ALL_DISCARD));
    for (auto &buffer : buffers_)
        revoke(*buffer);
    output_.clear();
    buffers_.clear();
    return kOk;
}

GenTLBuffer *GenTLStream::findHandle(BUFFER_HANDLE handle) noexcept
{
    for (auto &owned : buffers_) {
        if (owned->handle == handle)
            return owned.get();
    }
    return nullptr;
}

KyrCamErr GenTLStream::QueueBuffer(Buffer *buffer) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    GenTLBuffer *owned = find(buffer);
    if (!owned)
        return kErrInvalidBuffer;
    if (owned->state == GenTLBuffer::State::Input)
        return kErrResourceInUse;
    const GC_ERROR code = gentlCall(fn_.DSQueueBuffer, handle_, owned->handle);
    if (code != GC_ERR_SUCCESS)
        return gentlCode(code);
    if (owned->state == GenTLBuffer::State::Output)
        output_.erase(std::remove(output_.begin(), output_.end(), owned), output_.end());
    owned->state = GenTLBuffer::State::Input;
    return kOk;
}

KyrCamErr GenTLStream::RevokeBuffer(Buffer *buffer) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    GenTLBuffer *owned = find(buffer);
    if (!owned)
        return kErrInvalidBuffer;
    if (owned->state == GenTLBuffer::State::Input && acquiring_)
        return kErrBusy;
    const KyrCamErr code = revoke(*owned);
    if (code != kOk)
        return code;
    forget(*owned);
    return kOk;
}

Buffer *GenTLStream::CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept
{
    if (size < 1) {
        setError(err, kErrInvalidParameter);
        return nullptr;
    }
    std::unique_ptr<GenTLBuffer> buffer;
    try {
        buffer = GenTLBuffer::create(size, userData);
    } catch (...) {
    }
    if (!buffer) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
    GenTLBuffer *raw = buffer.get();
    std::lock_guard<std::mutex> lock(mutex_);
    const KyrCamErr code = announce(std::move(buffer), false);
    setError(err, code);
    return code == kOk ? raw : nullptr;
}

} // namespace KyrCam
