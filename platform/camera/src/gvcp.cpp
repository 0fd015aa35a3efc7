#include "gvcp_private.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

namespace KyrCam {

namespace {

constexpr uint8_t kGvcpKey = 0x42;
constexpr uint8_t kFlagAckRequired = 0x01;
constexpr uint8_t kFlagBroadcastAck = 0x10;
constexpr uint16_t kDiscoveryCmd = 0x0002;
constexpr uint16_t kDiscoveryAck = 0x0003;
constexpr uint16_t kForceIpCmd = 0x0004;
constexpr uint16_t kForceIpAck = 0x0005;
constexpr uint16_t kReadRegCmd = 0x0080;
constexpr uint16_t kReadRegAck = 0x0081;
constexpr size_t kHeaderSize = 8;
constexpr size_t kDiscoveryPayload = 248;

// GVCP status codes of an acknowledge.
constexpr uint16_t kStatusSuccess = 0x0000;
constexpr uint16_t kStatusInvalidAddress = 0x8003;
constexpr uint16_t kStatusAccessDenied = 0x8006;

class Socket
{
public:
    Socket() noexcept : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    int fd() const noexcept { return fd_; }
    bool valid() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

sockaddr_in socketAddress(uint32_t address, uint16_t port) noexcept
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

void put16(uint8_t *at, uint16_t value) noexcept
{
    at[0] = uint8_t(value >> 8);
    at[1] = uint8_t(value);
}

void put32(uint8_t *at, uint32_t value) noexcept
{
    put16(at, uint16_t(value >> 16));
    put16(at + 2, uint16_t(value));
}

uint16_t get16(const uint8_t *at) noexcept { return uint16_t((at[0] << 8) | at[1]); }
uint32_t get32(const uint8_t *at) noexcept { return (uint32_t(get16(at)) << 16) | get16(at + 2); }

std::vector<uint8_t> command(uint8_t flags, uint16_t cmd, uint16_t requestId, size_t payload)
{
    std::vector<uint8_t> packet(kHeaderSize + payload, 0);
    packet[0] = kGvcpKey;
    packet[1] = flags;
    put16(&packet[2], cmd);
    put16(&packet[4], uint16_t(payload));
    put16(&packet[6], requestId);
    return packet;
}

uint16_t nextRequestId() noexcept
{
    static std::atomic<uint16_t> counter{ 1 };
    uint16_t id = counter++;
    return id ? id : counter++;
}

// Sends `packet` to `to` and waits for the acknowledge `ack` of the same
// request id, resending up to three times within `timeoutMs`.
KyrCamErr exchange(Socket &socket, const sockaddr_in &to, const std::vector<uint8_t> &packet, uint16_t ack,
                   int timeoutMs, std::vector<uint8_t> &reply) noexcept
{
    const uint16_t requestId = get16(&packet[6]);
    constexpr int kAttempts = 3;
    const int slice = timeoutMs > kAttempts ? timeoutMs / kAttempts : 1;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (::sendto(socket.fd(), packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr *>(&to),
                     sizeof(to)) < 0)
            return kErrIo;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(slice);
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now()).count();
            if (left <= 0)
                break;
            pollfd waitFor{ socket.fd(), POLLIN, 0 };
            const int ready = ::poll(&waitFor, 1, int(left));
            if (ready < 0 && errno != EINTR)
                return kErrIo;
            if (ready <= 0)
                continue;
            uint8_t buffer[1500];
            const ssize_t got = ::recv(socket.fd(), buffer, sizeof(buffer), 0);
            if (got < ssize_t(kHeaderSize))
                continue;
            if (get16(buffer + 2) != ack || get16(buffer + 6) != requestId)
                continue;
            reply.assign(buffer, buffer + got);
            return kOk;
        }
    }
    return kErrTimeout;
}

std::string textField(const std::vector<uint8_t> &reply, size_t offset, size_t length)
{
    const uint8_t *start = reply.data() + kHeaderSize + offset;
    size_t used = 0;
    while (used < length && start[used] != 0)
        ++used;
    return std::string(reinterpret_cast<const char *>(start), used);
}

} // namespace

KyrCamErr gvcpDiscover(uint32_t device, uint16_t port, int timeoutMs, GvcpDiscovery &out) noexcept
{
    try {
        Socket socket;
        if (!socket.valid())
            return kErrIo;
        std::vector<uint8_t> reply;
        const KyrCamErr code = exchange(socket, socketAddress(device, port),
                                        command(kFlagAckRequired, kDiscoveryCmd, nextRequestId(), 0),
                                        kDiscoveryAck, timeoutMs, reply);
        if (code != kOk)
            return code;
        if (reply.size() < kHeaderSize + kDiscoveryPayload || get16(&reply[0]) != kStatusSuccess)
            return kErrIo;
        const uint8_t *payload = reply.data() + kHeaderSize;
        out.mac = (uint64_t(get16(payload + 10)) << 32) | get32(payload + 12);
        out.address = get32(payload + 36);
        out.mask = get32(payload + 52);
        out.gateway = get32(payload + 68);
        out.vendor = textField(reply, 72, 32);
        out.model = textField(reply, 104, 32);
        out.version = textField(reply, 136, 32);
        out.manufacturerInfo = textField(reply, 168, 48);
        out.serial = textField(reply, 216, 16);
        out.userName = textField(reply, 232, 16);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr gvcpReadRegister(uint32_t device, uint16_t port, uint32_t address, int timeoutMs, uint32_t &value) noexcept
{
    try {
        Socket socket;
        if (!socket.valid())
            return kErrIo;
        std::vector<uint8_t> packet = command(kFlagAckRequired, kReadRegCmd, nextRequestId(), 4);
        put32(&packet[kHeaderSize], address);
        std::vector<uint8_t> reply;
        const KyrCamErr code = exchange(socket, socketAddress(device, port), packet, kReadRegAck, timeoutMs, reply);
        if (code != kOk)
            return code;
        switch (get16(&reply[0])) {
        case kStatusSuccess:
            break;
        case kStatusInvalidAddress:
            return kErrInvalidAddress;
        case kStatusAccessDenied:
            return kErrAccessDenied;
        default:
            return kErrIo;
        }
        if (reply.size() < kHeaderSize + 4)
            return kErrIo;
        value = get32(&reply[kHeaderSize]);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr gvcpForceIp(uint32_t host, uint32_t destination, uint16_t port, uint64_t mac, uint32_t address,
                      uint32_t mask, uint32_t gateway, int timeoutMs) noexcept
{
    try {
        Socket socket;
        if (!socket.valid())
            return kErrIo;
        const int on = 1;
        ::setsockopt(socket.fd(), SOL_SOCKET, SO_BROADCAST, &on, sizeof(on));
        const sockaddr_in local = socketAddress(host, 0);
        if (::bind(socket.fd(), reinterpret_cast<const sockaddr *>(&local), sizeof(local)) < 0)
            return kErrIo;
        std::vector<uint8_t> packet =
            command(kFlagAckRequired | kFlagBroadcastAck, kForceIpCmd, nextRequestId(), 56);
        uint8_t *payload = &packet[kHeaderSize];
        put16(payload + 2, uint16_t(mac >> 32));
        put32(payload + 4, uint32_t(mac));
        put32(payload + 20, address);
        put32(payload + 36, mask);
        put32(payload + 52, gateway);
        std::vector<uint8_t> reply;
        const KyrCamErr code =
            exchange(socket, socketAddress(destination, port), packet, kForceIpAck, timeoutMs, reply);
        if (code != kOk)
            return code;
        return get16(&reply[0]) == kStatusSuccess ? kOk : kErrIo;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

std::string formatIpv4(uint32_t address)
{
    char text[16];
    std::snprintf(text, sizeof(text), "%u.%u.%u.%u", address >> 24, (address >> 16) & 0xFF, (address >> 8) & 0xFF,
                  address & 0xFF);
    return text;
}

bool parseIpv4(const char *text, uint32_t &address) noexcept
{
    if (!text)
        return false;
    in_addr parsed{};
    if (::inet_pton(AF_INET, text, &parsed) != 1)
        return false;
    address = ntohl(parsed.s_addr);
    return true;
}

} // namespace KyrCam
