// A UDP socket bound to one of the camera's addresses, closed with its owner.
// Sending is safe from any thread; receiving belongs to one thread.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace SimCamera {

class UdpSocket
{
public:
    // A socket on `address`:`port` (host order; port 0 picks one). `shared`
    // lets other sockets bind the same pair, as each camera on an adapter
    // does for the broadcast addresses. Null when the pair cannot be bound.
    static std::unique_ptr<UdpSocket> bind(uint32_t address, uint16_t port, bool shared = false);
    ~UdpSocket();

    UdpSocket(const UdpSocket &) = delete;
    UdpSocket &operator=(const UdpSocket &) = delete;

    int fd() const { return fd_; }
    // The bound port (host order).
    uint16_t port() const;
    bool sendTo(const uint8_t *data, size_t size, const sockaddr_in &to) const;

private:
    explicit UdpSocket(int fd) : fd_(fd) {}

    const int fd_;
};

sockaddr_in socketAddress(uint32_t address, uint16_t port);

} // namespace SimCamera
