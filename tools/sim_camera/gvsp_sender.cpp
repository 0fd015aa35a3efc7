#include "gvsp_sender.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>

#include "event_channel.h"
#include "wire.h"

namespace SimCamera {

namespace {

constexpr size_t kGvspHeaderSize = 8;
// IP and UDP headers, which GevSCPSPacketSize counts.
constexpr uint32_t kIpUdpOverhead = 28;
constexpr uint32_t kMinPacketSize = 128;
constexpr uint32_t kMaxPacketSize = 65535;
constexpr uint8_t kFormatLeader = 1;
constexpr uint8_t kFormatTrailer = 2;
constexpr uint8_t kFormatPayload = 3;
constexpr uint16_t kPayloadImage = 0x0001;
constexpr size_t kLeaderSize = 36;
constexpr size_t kTrailerSize = 8;
// Packets handed to the kernel in one call when no pacing applies.
constexpr size_t kBatch = 64;
// A pause between packets never exceeds this, whatever GevSCPD says, so
// stopping stays prompt.
constexpr uint64_t kMaxPacketDelayNs = 100'000'000;
// The most one frame and all frames kept for resends may take: the
// description can allow huge frames (tests widen it to 30000 pixels).
constexpr size_t kMaxFrameBytes = size_t(256) << 20;
constexpr size_t kResendBudgetBytes = size_t(512) << 20;
// Longest idle wait before the stream looks at the registers again.
constexpr uint64_t kIdleWaitUs = 1'000'000;

using Clock = std::chrono::steady_clock;

void putHeader(uint8_t *header, uint16_t status, uint16_t blockId, uint8_t format, uint32_t packetId)
{
    put16(header, status);
    put16(header + 2, blockId);
    put32(header + 4, packetId & 0xFFFFFF);
    header[4] = format;
}

} // namespace

GvspSender::GvspSender(DeviceModel &model, EventChannel &events, const Options &options)
    : model_(model)
    , events_(events)
    , options_(options)
    , dropFirst_(options.seed)
    , dropResend_(options.seed ^ 0x5EED)
{
    for (unsigned i = 0; i <= options.resendFrames; ++i)
        slots_.push_back(std::make_unique<Slot>());
}

GvspSender::~GvspSender()
{
    stop();
}

bool GvspSender::start(uint32_t address)
{
    stop();
    std::shared_ptr<UdpSocket> socket = UdpSocket::bind(address, 0);
    if (!socket)
        return false;
    model_.writeRegister(kRegStreamSourcePort, socket->port());
    {
        std::lock_guard<std::mutex> lock(socketMutex_);
        socket_ = std::move(socket);
    }
    stopping_ = false;
    thread_ = std::thread(&GvspSender::run, this);
    return true;
}

void GvspSender::stop()
{
    if (thread_.joinable()) {
        stopping_ = true;
        model_.interrupt();
        thread_.join();
    }
    std::lock_guard<std::mutex> lock(socketMutex_);
    socket_.reset();
}

bool GvspSender::destination(sockaddr_in &to)
{
    const uint32_t port = model_.value(kRegStreamPort) & 0xFFFF;
    const uint32_t address = model_.value(kRegStreamAddress);
    to = socketAddress(address, uint16_t(port));
    return port != 0 && address != 0;
}

std::shared_ptr<UdpSocket> GvspSender::socket()
{
    std::lock_guard<std::mutex> lock(socketMutex_);
    return socket_;
}

void GvspSender::run()
{
    while (!stopping_) {
        if (!waitForFrame())
            continue;
        const size_t payload = model_.payload();
        if (payload == 0 || payload > kMaxFrameBytes)
            continue;
        const size_t kept = keptSlots(payload);
        Slot &slot = *slots_[nextSlot_ % kept];
        nextSlot_ = (nextSlot_ % kept + 1) % kept;
        uint64_t timestamp = 0;
        {
            std::lock_guard<std::mutex> lock(slot.mutex);
            slot.blockId = 0;
            if (slot.allocated < payload) {
                slot.buffer.reset(arv_buffer_new_allocate(payload));
                slot.allocated = payload;
            }
            const uint16_t blockId = nextBlockId_;
            model_.fill(slot.buffer.get(), blockId);
            ArvBuffer *buffer = slot.buffer.get();
            // The geometry may have changed since payload() was read: the
            // frame's size is what the fill used.
            const ArvPixelFormat format = arv_buffer_get_image_pixel_format(buffer);
            const size_t size = size_t(arv_buffer_get_image_width(buffer)) * size_t(arv_buffer_get_image_height(buffer)) *
                                ARV_PIXEL_FORMAT_BIT_PER_PIXEL(format) / 8;
            if (arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS || size == 0 || size > slot.allocated)
                continue;
            // Block id 0 means none in GVSP: the count goes from 65535 to 1.
            nextBlockId_ = blockId == 0xFFFF ? 1 : blockId + 1;
            const uint32_t packetSize =
                std::clamp(model_.value(kRegStreamPacketSize) & kPacketSizeMask, kMinPacketSize, kMaxPacketSize);
            timestamp = arv_buffer_get_timestamp(buffer);
            slot.size = size;
            slot.dataPerPacket = packetSize - kIpUdpOverhead - kGvspHeaderSize;
            slot.packets = uint32_t((slot.size + slot.dataPerPacket - 1) / slot.dataPerPacket) + 2;
            slot.leader.assign(kLeaderSize, 0);
            put16(&slot.leader[2], kPayloadImage);
            put64(&slot.leader[4], timestamp);
            put32(&slot.leader[12], format);
            put32(&slot.leader[16], uint32_t(arv_buffer_get_image_width(buffer)));
            put32(&slot.leader[20], uint32_t(arv_buffer_get_image_height(buffer)));
            put32(&slot.leader[24], uint32_t(arv_buffer_get_image_x(buffer)));
            put32(&slot.leader[28], uint32_t(arv_buffer_get_image_y(buffer)));
            slot.trailer.assign(kTrailerSize, 0);
            put16(&slot.trailer[2], kPayloadImage);
            put32(&slot.trailer[4], uint32_t(arv_buffer_get_image_height(buffer)));
            slot.blockId = blockId;
        }
        for (size_t i = 0; i < kEventCount; ++i) {
            if (model_.value(kRegEventNotification + 4 * uint32_t(i)) != 0)
                events_.post(kEvents[i].id, slot.blockId, timestamp);
        }
        sendFrame(slot, socket());
    }
}

size_t GvspSender::keptSlots(size_t payload)
{
    const size_t usable = std::clamp<size_t>(kResendBudgetBytes / payload, 1, slots_.size());
    for (size_t i = usable; i < slots_.size(); ++i) {
        Slot &unused = *slots_[i];
        std::lock_guard<std::mutex> lock(unused.mutex);
        unused.blockId = 0;
        unused.buffer.reset();
        unused.allocated = 0;
    }
    return usable;
}

bool GvspSender::waitForFrame()
{
    // The write count is taken before the registers are read, so that a
    // write in between ends the wait at once.
    const uint64_t seen = model_.writes();
    if (!model_.acquiring()) {
        model_.waitForWrite(seen, kIdleWaitUs);
        return false;
    }
    if (model_.softwareTriggerMode()) {
        if (model_.takeSoftwareTrigger())
            return true;
        model_.waitForWrite(seen, kIdleWaitUs);
        return false;
    }
    // The pace is a grid of frame periods: after an early wake-up the next
    // call finds the same frame time again.
    const uint64_t waitUs = model_.microsecondsToNextFrame();
    const Clock::time_point due = Clock::now() + std::chrono::microseconds(waitUs);
    model_.waitForWrite(seen, waitUs);
    return Clock::now() >= due && !stopping_;
}

const uint8_t *GvspSender::packet(const Slot &slot, uint32_t id, uint8_t *header, size_t &size) const
{
    const uint8_t *data = static_cast<const uint8_t *>(arv_buffer_get_data(slot.buffer.get(), nullptr));
    if (id == 0) {
        putHeader(header, kStatusSuccess, slot.blockId, kFormatLeader, id);
        size = slot.leader.size();
        return slot.leader.data();
    }
    if (id + 1 == slot.packets) {
        putHeader(header, kStatusSuccess, slot.blockId, kFormatTrailer, id);
        size = slot.trailer.size();
        return slot.trailer.data();
    }
    putHeader(header, kStatusSuccess, slot.blockId, kFormatPayload, id);
    const size_t offset = size_t(id - 1) * slot.dataPerPacket;
    size = std::min<size_t>(slot.dataPerPacket, slot.size - offset);
    return data + offset;
}

uint64_t GvspSender::packetDelayNs(size_t bytes)
{
    const uint64_t frequency =
        uint64_t(model_.value(kRegTickFrequencyHigh)) << 32 | model_.value(kRegTickFrequencyLow);
    const uint64_t ticks = model_.value(kRegStreamPacketDelay);
    uint64_t delay = options_.packetDelayNs;
    if (frequency != 0)
        delay += ticks * 1'000'000'000u / frequency;
    if (options_.bandwidthMbps > 0)
        delay += uint64_t(double(bytes + kIpUdpOverhead) * 8000.0 / options_.bandwidthMbps);
    return std::min(delay, kMaxPacketDelayNs);
}

void GvspSender::sendFrame(Slot &slot, const std::shared_ptr<UdpSocket> &socket)
{
    sockaddr_in to{};
    if (!socket || !destination(to))
        return;
    const bool paced = packetDelayNs(0) > 0;
    const uint64_t fullDelayNs = packetDelayNs(slot.dataPerPacket + kGvspHeaderSize);
    std::uniform_real_distribution<double> chance(0.0, 1.0);

    uint8_t headers[kBatch][kGvspHeaderSize];
    iovec parts[kBatch][2];
    mmsghdr messages[kBatch] = {};
    size_t queued = 0;
    const auto flush = [&] {
        for (size_t sent = 0; sent < queued;) {
            const int n = sendmmsg(socket->fd(), messages + sent, unsigned(queued - sent), 0);
            if (n <= 0)
                break;
            sent += size_t(n);
        }
        queued = 0;
    };
    Clock::time_point next = Clock::now();
    for (uint32_t id = 0; id < slot.packets && !stopping_; ++id) {
        const bool dropped = options_.drop > 0 && chance(dropFirst_) < options_.drop;
        if (!dropped) {
            size_t size = 0;
            const uint8_t *data = packet(slot, id, headers[queued], size);
            parts[queued][0] = { headers[queued], kGvspHeaderSize };
            parts[queued][1] = { const_cast<uint8_t *>(data), size };
            messages[queued].msg_hdr.msg_name = &to;
            messages[queued].msg_hdr.msg_namelen = sizeof to;
            messages[queued].msg_hdr.msg_iov = parts[queued];
            messages[queued].msg_hdr.msg_iovlen = 2;
            ++queued;
        }
        if (paced) {
            flush();
            // Pacing, not waiting on anything: each pause is bounded and the
            // loop checks for a stop after it.
            next += std::chrono::nanoseconds(fullDelayNs);
            if (next > Clock::now())
                std::this_thread::sleep_until(next);
            else
                next = Clock::now();
        } else if (queued == kBatch) {
            flush();
        }
    }
    flush();
}

void GvspSender::resend(uint16_t blockId, uint32_t first, uint32_t last)
{
    const std::shared_ptr<UdpSocket> socket = this->socket();
    sockaddr_in to{};
    if (!socket || !destination(to) || blockId == 0)
        return;
    uint8_t datagram[kGvspHeaderSize + kMaxPacketSize];
    std::uniform_real_distribution<double> chance(0.0, 1.0);
    for (const std::unique_ptr<Slot> &kept : slots_) {
        std::lock_guard<std::mutex> lock(kept->mutex);
        if (kept->blockId != blockId)
            continue;
        const uint32_t end = std::min(last, kept->packets - 1);
        for (uint32_t id = first; id <= end; ++id) {
            {
                std::lock_guard<std::mutex> dropLock(resendMutex_);
                if (options_.dropResends && options_.drop > 0 && chance(dropResend_) < options_.drop)
                    continue;
            }
            size_t size = 0;
            const uint8_t *data = packet(*kept, id, datagram, size);
            std::copy(data, data + size, datagram + kGvspHeaderSize);
            socket->sendTo(datagram, kGvspHeaderSize + size, to);
        }
        if (first <= end)
            return;
        break;
    }
    putHeader(datagram, kStatusPacketUnavailable, blockId, kFormatPayload, first);
    socket->sendTo(datagram, kGvspHeaderSize, to);
}

void GvspSender::sendTestPacket(uint32_t packetSize)
{
    const std::shared_ptr<UdpSocket> socket = this->socket();
    sockaddr_in to{};
    packetSize &= kPacketSizeMask;
    if (!socket || !destination(to) || packetSize < kIpUdpOverhead + kGvspHeaderSize)
        return;
    const std::vector<uint8_t> datagram(packetSize - kIpUdpOverhead, 0);
    socket->sendTo(datagram.data(), datagram.size(), to);
}

} // namespace SimCamera
