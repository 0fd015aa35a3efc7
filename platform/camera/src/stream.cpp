#include "stream_private.h"

#include <linux/if_packet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "device_private.h"
#include "system_private.h"

namespace KyrCam {

namespace {

constexpr uint64_t kWithoutLimit = ~uint64_t(0);
// No queue needs more; a script's mistake must not take the machine's memory.
constexpr int64_t kMaxBuffers = 1024;
constexpr int64_t kMinBuffers = 1;
constexpr int64_t kAlignment = 64;

// Aravis receives through a packet socket whenever it may open one, then sets
// up its TPACKET_V3 ring without a way back when that fails (qemu-user, for
// one, answers ENOPROTOOPT): the stream would never see a frame. Whether the
// ring can be had is asked once, as Aravis would ask it.
bool packetRingAvailable() noexcept
{
    static const bool available = [] {
        const int fd = socket(AF_PACKET, SOCK_RAW, 0); // bound to no protocol: receives nothing
        if (fd < 0)
            return true; // no packet socket at all: Aravis sees that too and uses UDP
        int version = TPACKET_V3;
        const bool ring = setsockopt(fd, SOL_PACKET, PACKET_VERSION, &version, sizeof version) == 0;
        close(fd);
        return ring;
    }();
    return available;
}

void applySettings(ArvStream *stream, const TransportSettings &settings)
{
    if (!ARV_IS_GV_STREAM(stream))
        return;
    g_object_set(stream, "packet-timeout", guint(settings.packetTimeoutUs), "frame-retention",
                 guint(settings.frameRetentionUs), nullptr);
    if (settings.packetResend >= 0)
        g_object_set(stream, "packet-resend",
                     settings.packetResend ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS : ARV_GV_STREAM_PACKET_RESEND_NEVER,
                     nullptr);
    if (settings.socketBufferSize > 0)
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     gint(settings.socketBufferSize), nullptr);
}

} // namespace

AravisStream::AravisStream(AravisDevice &device, GObjectPtr<ArvStream> stream, CallbackTarget &target)
    : device_(device), stream_(std::move(stream)), target_(target)
{
}

std::unique_ptr<AravisStream> AravisStream::create(AravisDevice &device, KyrCamErr &code) noexcept
{
    try {
        if (device.gige())
            arv_gv_device_set_stream_options(ARV_GV_DEVICE(device.arv()),
                                             device.settings().packetSocket && packetRingAvailable()
                                                 ? ARV_GV_STREAM_OPTION_NONE
                                                 : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        // Frames come through Aravis's stream callback rather than its
        // "new-buffer" signal, whose emission cost the stream thread more
        // than everything else the library does per frame.
        auto target = std::make_unique<CallbackTarget>();
        AravisError error;
        GObjectPtr<ArvStream> arvStream(
            arv_device_create_stream(device.arv(), onStreamEvent, target.get(), error.out()));
        if (!arvStream) {
            code = error.failed() ? error.code() : kErrNotAvailable;
            return nullptr;
        }
        // Freed with the ArvStream, after its thread has ended.
        CallbackTarget &callbackTarget = *target;
        g_object_set_data_full(G_OBJECT(arvStream.get()), "kyr-callback-target", target.release(),
                               [](gpointer data) { delete static_cast<CallbackTarget *>(data); });
        applySettings(arvStream.get(), device.settings());
        std::unique_ptr<AravisStream> stream(new AravisStream(device, std::move(arvStream), callbackTarget));
        {
            std::lock_guard<std::mutex> lock(callbackTarget.mutex);
            callbackTarget.stream = stream.get();
        }
        code = kOk;
        return stream;
    } catch (...) {
        code = kErrOutOfMemory;
        return nullptr;
    }
}

AravisStream::~AravisStream()
{
    bool running = false;
    bool lost = false;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        lost = lost_;
        // A lost device would only make the stop command time out.
        running = acquiring_ && !lost;
        acquiring_ = false;
        closing_ = true;
        // The waits on other threads end before anything they use goes.
        cancelWaits(lock);
    }
    if (running)
        executeAcquisition(false);
    // Never under mutex_: the callback takes it under the target's lock.
    {
        std::lock_guard<std::mutex> lock(target_.mutex);
        target_.stream = nullptr;
    }
    AravisSystem *system = aravisSystem();
    if (lost && system) {
        // Closing the stream channel of a camera that is gone waits out
        // Aravis's timeouts: the reaper does that. Aravis gives back every
        // buffer here, before they are freed.
        drainAravis();
        system->reaper().drop(G_OBJECT(stream_.release()));
        return;
    }
    // Joins Aravis's stream thread and drops the references Aravis holds.
    stream_.reset();
}

// Aravis calls back once a buffer is in its output queue. The few buffers
// it gives back there without calling back (when it cannot set up a frame
// in them) come out with the next frame.
void AravisStream::onStreamEvent(void *target, ArvStreamCallbackType type, ArvBuffer *)
{
    if (type != ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE)
        return;
    auto &callbackTarget = *static_cast<CallbackTarget *>(target);
    std::lock_guard<std::mutex> lock(callbackTarget.mutex);
    if (callbackTarget.stream)
        callbackTarget.stream->collect();
}

// On Aravis's stream thread. The waiter is woken once, after the last pop:
// woken earlier, it would contend with this thread for Aravis's queues.
void AravisStream::collect()
{
    bool delivered = false;
    for (;;) {
        GObjectPtr<ArvBuffer> popped(arv_stream_try_pop_buffer(stream_.get()));
        if (!popped)
            break;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto *buffer = static_cast<AravisBuffer *>(const_cast<void *>(arv_buffer_get_user_data(popped.get())));
            if (!find(buffer))
                continue;
            const bool limitReached = frameLimit_ != kWithoutLimit && frameCount_ >= frameLimit_;
            if (limitReached || (!acquiring_ && discardLate_)) {
                requeue(*buffer);
                continue;
            }
            uint64_t frameId = 0;
            if (!nextFrameId(arv_buffer_get_frame_id(popped.get()), frameId)) {
                requeue(*buffer);
                continue;
            }
            ++frameCount_;
            const bool complete = arv_buffer_get_status(popped.get()) == ARV_BUFFER_STATUS_SUCCESS;
            lossSeen_ = lossSeen_ || !complete;
            if (complete)
                device_.frameArrived();
            buffer->takeFrame(frameId, format_);
            deliver(*buffer);
            delivered = true;
        }
    }
    if (delivered)
        changed_.notify_all();
}

// GigE Vision block ids have 16 bits and skip 0 when they wrap. When packets
// go missing, Aravis hands over further pieces of a frame it has already
// closed as incomplete, as frames of their own with the same id: a frame is
// delivered once, so an id at or before the last one delivered is dropped.
bool AravisStream::nextFrameId(uint64_t rawId, uint64_t &frameId) noexcept
{
    if (!device_.gige() || rawId > 0xFFFF) {
        frameId = rawId;
        return true;
    }
    if (rawId == 0)
        return false;
    uint64_t id = (idEpoch_ << 16) | rawId;
    if (rawId + 0x8000 < lastRawId_)
        id += 0x10000;
    else if (rawId > lastRawId_ + 0x8000 && idEpoch_ > 0)
        id -= 0x10000;
    if (sequenced_ && id <= lastId_)
        return false;
    sequenced_ = true;
    lastId_ = id;
    lastRawId_ = rawId;
    idEpoch_ = id >> 16;
    frameId = id;
    return true;
}

void AravisStream::pushToInput(AravisBuffer &buffer) noexcept
{
    buffer.state = AravisBuffer::State::Input;
    arv_stream_push_buffer(stream_.get(), addRef(buffer.arv()).release());
}

void AravisStream::requeue(AravisBuffer &buffer) noexcept
{
    // Aravis writes only the packets that came, so a buffer that is not
    // cleared would show an older frame through the gaps of the next
    // incomplete one. Clearing costs a pass over the memory per frame, paid
    // only on a link that has lost packets.
    if (lossSeen_)
        buffer.clear();
    pushToInput(buffer);
}

void AravisStream::drainAravis() noexcept
{
    arv_stream_stop_thread(stream_.get(), TRUE);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        output_.clear();
        for (auto &buffer : buffers_)
            buffer->state = AravisBuffer::State::Announced;
    }
    arv_stream_start_thread(stream_.get());
}

KyrCamErr AravisStream::executeAcquisition(bool start) noexcept
{
    AravisParamArray *camera = device_.camera();
    if (!camera)
        return kErrNotAvailable;
    // A lost device would only make each command time out.
    if (device_.lost())
        return kErrIo;
    std::lock_guard<std::recursive_mutex> lock(camera->mutex());
    // TLParamsLocked, where a camera has it, keeps the geometry fixed while
    // streaming; a camera that refuses it still streams.
    const bool lockable = arv_gc_get_node(camera->gc(), "TLParamsLocked") != nullptr;
    AravisError error;
    if (start && lockable) {
        arv_device_set_integer_feature_value(device_.arv(), "TLParamsLocked", 1, error.out());
        error.code();
    }
    if (start) {
        const auto feature = [&](const char *name) {
            const int64_t value = arv_device_get_integer_feature_value(device_.arv(), name, error.out());
            return error.code() == kOk ? value : 0;
        };
        FrameFormat format;
        format.pfnc = uint32_t(feature("PixelFormat"));
        format.width = uint32_t(std::clamp<int64_t>(feature("Width"), 0, UINT32_MAX));
        format.height = uint32_t(std::clamp<int64_t>(feature("Height"), 0, UINT32_MAX));
        format.xOffset = int32_t(std::clamp<int64_t>(feature("OffsetX"), 0, INT32_MAX));
        format.yOffset = int32_t(std::clamp<int64_t>(feature("OffsetY"), 0, INT32_MAX));
        std::lock_guard<std::mutex> formatLock(mutex_);
        format_ = format;
    }
    arv_device_execute_command(device_.arv(), start ? "AcquisitionStart" : "AcquisitionStop", error.out());
    const KyrCamErr code = error.code();
    if (!start && lockable) {
        arv_device_set_integer_feature_value(device_.arv(), "TLParamsLocked", 0, error.out());
        error.code();
    }
    return code;
}

void AravisStream::deviceLost() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lost_ = true;
    }
    changed_.notify_all();
}

void AravisStream::Release() noexcept { device_.releaseStream(); }

int64_t AravisStream::GetBufferSize() noexcept
{
    AravisParamArray *camera = device_.camera();
    if (!camera || device_.lost())
        return 0;
    std::lock_guard<std::recursive_mutex> lock(camera->mutex());
    AravisError error;
    const int64_t size = arv_device_get_integer_feature_value(device_.arv(), "PayloadSize", error.out());
    return error.code() == kOk ? size : 0;
}

int64_t AravisStream::GetBufferAlignment() noexcept { return kAlignment; }

int64_t AravisStream::GetMinNumBuffers() noexcept { return kMinBuffers; }

KyrCamErr AravisStream::StartAcquisition(uint64_t frameCount, const void *reserved) noexcept
{
    if (reserved || frameCount == 0)
        return kErrInvalidParameter;
    if (device_.readOnly())
        return kErrAccessDenied;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (acquiring_)
            return kErrResourceInUse;
        if (lost_)
            return kErrIo;
        if (int64_t(buffers_.size()) < kMinBuffers)
            return kErrInvalidBuffer;
        acquiring_ = true;
        discardLate_ = false;
        frameLimit_ = frameCount;
        frameCount_ = 0;
        // A camera may count its frames from 1 again.
        sequenced_ = false;
    }
    const KyrCamErr code = executeAcquisition(true);
    if (code != kOk) {
        std::lock_guard<std::mutex> lock(mutex_);
        acquiring_ = false;
    }
    return code;
}

KyrCamErr AravisStream::StopAcquisition(int32_t mode) noexcept
{
    if (mode != kStopDefault && mode != kStopKill)
        return kErrInvalidParameter;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!acquiring_)
            return kErrInvalidState;
        acquiring_ = false;
        // Killing drops the frame in progress: it goes back to the input queue
        // when Aravis hands it over.
        discardLate_ = mode == kStopKill;
    }
    changed_.notify_all();
    return executeAcquisition(false);
}

KyrCamErr AravisStream::FlushBuffers(int32_t mode) noexcept
{
    switch (mode) {
    case kFlushOutputDiscard: {
        std::lock_guard<std::mutex> lock(mutex_);
        discardOutput();
        return kOk;
    }
    case kFlushAllToInput:
    case kFlushUnqueuedToInput: {
        std::lock_guard<std::mutex> lock(mutex_);
        if (mode == kFlushAllToInput)
            discardOutput();
        for (auto &buffer : buffers_) {
            if (buffer->state == AravisBuffer::State::Announced)
                requeue(*buffer);
        }
        return kOk;
    }
    case kFlushAllDiscard:
        drainAravis();
        return kOk;
    default:
        return kErrInvalidParameter;
    }
}

KyrCamErr AravisStream::AllocBufferQueue(void *userData, int64_t count) noexcept
{
    if (count < 1 || count > kMaxBuffers)
        return kErrInvalidParameter;
    const int64_t size = GetBufferSize();
    if (size < 1)
        return kErrNotAvailable;
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!buffers_.empty())
            return kErrResourceInUse;
        std::vector<std::unique_ptr<AravisBuffer>> created;
        for (int64_t i = 0; i < count; ++i) {
            created.push_back(AravisBuffer::create(size, userData));
            if (!created.back())
                return kErrOutOfMemory;
        }
        for (auto &buffer : created) {
            buffers_.push_back(std::move(buffer));
            pushToInput(*buffers_.back());
        }
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr AravisStream::ReleaseBufferQueue() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (acquiring_)
            return kErrBusy;
    }
    drainAravis();
    std::lock_guard<std::mutex> lock(mutex_);
    buffers_.clear();
    return kOk;
}

KyrCamErr AravisStream::QueueBuffer(Buffer *buffer) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    AravisBuffer *own = find(buffer);
    if (!own)
        return kErrInvalidBuffer;
    if (own->state != AravisBuffer::State::Announced)
        return kErrResourceInUse;
    requeue(*own);
    return kOk;
}

KyrCamErr AravisStream::RevokeBuffer(Buffer *buffer) noexcept
{
    bool queued = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        AravisBuffer *own = find(buffer);
        if (!own)
            return kErrInvalidBuffer;
        queued = own->state == AravisBuffer::State::Input;
        if (queued && acquiring_)
            return kErrBusy;
    }
    if (queued) {
        // Aravis cannot give back one queued buffer: take them all, then queue
        // the others again.
        std::vector<AravisBuffer *> requeue;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            for (auto &owned : buffers_) {
                if (owned->state == AravisBuffer::State::Input && owned.get() != buffer)
                    requeue.push_back(owned.get());
            }
        }
        drainAravis();
        std::lock_guard<std::mutex> lock(mutex_);
        for (AravisBuffer *other : requeue)
            pushToInput(*other);
    }
    std::lock_guard<std::mutex> lock(mutex_);
    // Looked for again: the lock was free while Aravis gave its buffers back.
    if (AravisBuffer *own = find(buffer))
        forget(*own);
    return kOk;
}

Buffer *AravisStream::CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept
{
    if (size < 1) {
        setError(err, kErrInvalidParameter);
        return nullptr;
    }
    try {
        std::unique_ptr<AravisBuffer> buffer = AravisBuffer::create(size, userData);
        if (!buffer) {
            setError(err, kErrOutOfMemory);
            return nullptr;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        buffers_.push_back(std::move(buffer));
        setError(err, kOk);
        return buffers_.back().get();
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
}

} // namespace KyrCam
