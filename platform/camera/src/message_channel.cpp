#include "message_channel_private.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace KyrCam {

namespace {

constexpr uint8_t kGvcpKey = 0x42;
constexpr uint8_t kFlagAckRequired = 0x01;
// GigE Vision 2: 64-bit block ids in the event header.
constexpr uint8_t kFlagExtendedId = 0x10;
constexpr uint16_t kEventCmd = 0x00C0;
constexpr uint16_t kEventDataCmd = 0x00C2;
constexpr size_t kHeaderSize = 8;
constexpr size_t kEventHeaderSize = 16;
constexpr size_t kExtendedEventHeaderSize = 24;
// Larger than any GVCP datagram (576 bytes), so a longer one shows as cut.
constexpr size_t kMaxDatagram = 1500;

uint16_t readBe16(const uint8_t *p) { return uint16_t(p[0] << 8 | p[1]); }

void writeBe16(uint8_t *p, uint16_t value)
{
    p[0] = uint8_t(value >> 8);
    p[1] = uint8_t(value);
}

} // namespace

bool parseGvcpMessage(const uint8_t *packet, size_t size, GvcpMessage &message)
{
    if (size < kHeaderSize || packet[0] != kGvcpKey)
        return false;
    const uint8_t flags = packet[1];
    const uint16_t command = readBe16(packet + 2);
    const size_t length = readBe16(packet + 4);
    if ((command != kEventCmd && command != kEventDataCmd) || kHeaderSize + length > size)
        return false;
    const size_t eventHeader = flags & kFlagExtendedId ? kExtendedEventHeaderSize : kEventHeaderSize;
    const uint8_t *payload = packet + kHeaderSize;
    message = GvcpMessage{};
    message.command = command;
    message.requestId = readBe16(packet + 6);
    message.wantsAck = flags & kFlagAckRequired;
    if (command == kEventDataCmd) {
        if (length < eventHeader)
            return false;
        message.events.push_back(GvcpEvent{ readBe16(payload + 2),
                                             std::string(reinterpret_cast<const char *>(payload) + eventHeader,
                                                         length - eventHeader) });
        return true;
    }
    if (length == 0 || length % eventHeader != 0)
        return false;
    for (size_t at = 0; at < length; at += eventHeader) {
        const uint8_t *item = payload + at;
        message.events.push_back(
            GvcpEvent{ readBe16(item + 2), std::string(reinterpret_cast<const char *>(item) + 4, eventHeader - 4) });
    }
    return true;
}

MessageChannel::MessageChannel(int socket, int wake, uint16_t port, Deliver deliver)
    : socket_(socket), wake_(wake), port_(port), deliver_(std::move(deliver))
{
}

std::unique_ptr<MessageChannel> MessageChannel::open(uint32_t host, Deliver deliver, KyrCamErr &code) noexcept
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int wake = eventfd(0, EFD_CLOEXEC);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    socklen_t length = sizeof(address);
    if (fd < 0 || wake < 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        if (fd >= 0)
            close(fd);
        if (wake >= 0)
            close(wake);
        code = kErrIo;
        return nullptr;
    }
    try {
        std::unique_ptr<MessageChannel> channel(new MessageChannel(fd, wake, ntohs(address.sin_port), std::move(deliver)));
        channel->thread_ = std::thread([raw = channel.get()] { raw->run(); });
        code = kOk;
        return channel;
    } catch (...) {
        close(fd);
        close(wake);
        code = kErrOutOfMemory;
        return nullptr;
    }
}

MessageChannel::~MessageChannel()
{
    const uint64_t one = 1;
    if (write(wake_, &one, sizeof(one)) != sizeof(one))
        std::terminate();  // an eventfd write fails only when it would overflow
    if (thread_.joinable())
        thread_.join();
    close(socket_);
    close(wake_);
}

void MessageChannel::run()
{
    bool anySeen = false;
    uint16_t lastRequest = 0;
    uint8_t packet[kMaxDatagram];
    pollfd fds[2] = { { socket_, POLLIN, 0 }, { wake_, POLLIN, 0 } };
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents)
            return;
        sockaddr_in from{};
        socklen_t fromLength = sizeof(from);
        const ssize_t size =
            recvfrom(socket_, packet, sizeof(packet), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&from), &fromLength);
        GvcpMessage message;
        if (size <= 0 || !parseGvcpMessage(packet, size_t(size), message))
            continue;
        if (message.wantsAck) {
            uint8_t ack[kHeaderSize] = {};
            writeBe16(ack + 2, uint16_t(message.command + 1));
            writeBe16(ack + 6, message.requestId);
            sendto(socket_, ack, sizeof(ack), 0, reinterpret_cast<sockaddr *>(&from), fromLength);
        }
        // Request ids only repeat when the camera did not see our acknowledge.
        if (anySeen && message.requestId == lastRequest)
            continue;
        anySeen = true;
        lastRequest = message.requestId;
        for (const GvcpEvent &event : message.events)
            deliver_(event);
    }
}

} // namespace KyrCam
