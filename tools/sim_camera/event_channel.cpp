#include "event_channel.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>

#include "device_model.h"
#include "wire.h"

namespace SimCamera {

namespace {

// Events not yet acknowledged; a client that never answers must not grow it.
constexpr size_t kMaxPending = 256;
constexpr uint32_t kLongestTimeoutMs = 10000;
constexpr uint32_t kMostRetries = 100;
constexpr size_t kEventSize = 16;
constexpr size_t kEventDataSize = 32;

using Clock = std::chrono::steady_clock;

} // namespace

EventChannel::EventChannel(DeviceModel &model, bool plain)
    : model_(model)
    , plain_(plain)
{
}

EventChannel::~EventChannel()
{
    stop();
}

bool EventChannel::start(uint32_t address)
{
    stop();
    std::unique_ptr<UdpSocket> socket = UdpSocket::bind(address, 0);
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!socket || wake < 0) {
        if (wake >= 0)
            close(wake);
        return false;
    }
    model_.writeRegister(kRegMessageSourcePort, socket->port());
    {
        std::lock_guard<std::mutex> lock(mutex_);
        socket_ = std::move(socket);
        wake_ = wake;
        stopping_ = false;
    }
    thread_ = std::thread(&EventChannel::run, this);
    return true;
}

void EventChannel::stop()
{
    if (thread_.joinable()) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
            const uint64_t one = 1;
            (void)!write(wake_, &one, sizeof one);
        }
        thread_.join();
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (wake_ >= 0)
        close(wake_);
    wake_ = -1;
    socket_.reset();
    pending_.clear();
}

void EventChannel::post(uint16_t id, uint16_t blockId, uint64_t timestampNs)
{
    const uint32_t port = model_.value(kRegMessagePort) & 0xFFFF;
    const uint32_t address = model_.value(kRegMessageAddress);
    if (port == 0 || address == 0)
        return;
    const uint32_t timeoutMs = std::clamp<uint32_t>(model_.value(kRegMessageTimeout), 1, kLongestTimeoutMs);
    const uint32_t retries = std::min(model_.value(kRegMessageRetries), kMostRetries);

    const size_t payload = plain_ ? kEventSize : kEventDataSize;
    Pending event{ 0, std::vector<uint8_t>(kGvcpHeaderSize + payload, 0), socketAddress(address, uint16_t(port)),
                   std::chrono::milliseconds(timeoutMs), Clock::time_point(), retries + 1 };
    uint8_t *packet = event.packet.data();
    packet[0] = kGvcpKey;
    packet[1] = kGvcpAckRequired;
    put16(packet + 2, plain_ ? kEventCmd : kEventDataCmd);
    put16(packet + 4, uint16_t(payload));
    uint8_t *data = packet + kGvcpHeaderSize;
    put16(data + 2, id);
    put16(data + 6, blockId);
    put64(data + 8, timestampNs);
    if (!plain_) {
        put64(data + 16, blockId);
        put64(data + 24, timestampNs);
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!socket_)
            return;
        event.requestId = nextRequestId_;
        nextRequestId_ = nextRequestId_ == 0xFFFF ? 1 : nextRequestId_ + 1;
        put16(packet + 6, event.requestId);
        if (pending_.size() >= kMaxPending)
            pending_.pop_front();
        pending_.push_back(std::move(event));
        const uint64_t one = 1;
        (void)!write(wake_, &one, sizeof one);
    }
}

void EventChannel::reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.clear();
}

void EventChannel::run()
{
    for (;;) {
        const Clock::time_point next = sendDue();
        int timeoutMs = -1;
        if (next != Clock::time_point::max()) {
            const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
            timeoutMs = int(std::max<int64_t>(wait.count(), 0));
        }
        pollfd fds[2] = { { socket_->fd(), POLLIN, 0 }, { wake_, POLLIN, 0 } };
        poll(fds, 2, timeoutMs);
        if (fds[1].revents & POLLIN) {
            uint64_t count = 0;
            (void)!read(wake_, &count, sizeof count);
        }
        if (fds[0].revents & POLLIN)
            takeAcknowledge();
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_)
            return;
    }
}

void EventChannel::takeAcknowledge()
{
    uint8_t ack[kGvcpMaxPacket];
    const ssize_t got = recv(socket_->fd(), ack, sizeof ack, 0);
    if (got < ssize_t(kGvcpHeaderSize))
        return;
    const uint16_t command = get16(ack + 2);
    if (command != kEventAck && command != kEventDataAck)
        return;
    const uint16_t requestId = get16(ack + 6);
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(),
                                  [requestId](const Pending &event) { return event.requestId == requestId; }),
                   pending_.end());
}

Clock::time_point EventChannel::sendDue()
{
    const Clock::time_point now = Clock::now();
    Clock::time_point next = Clock::time_point::max();
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto event = pending_.begin(); event != pending_.end();) {
        if (event->deadline > now) {
            next = std::min(next, event->deadline);
            ++event;
            continue;
        }
        if (event->triesLeft == 0) {
            event = pending_.erase(event);
            continue;
        }
        socket_->sendTo(event->packet.data(), event->packet.size(), event->to);
        --event->triesLeft;
        event->deadline = now + event->timeout;
        next = std::min(next, event->deadline);
        ++event;
    }
    return next;
}

} // namespace SimCamera
