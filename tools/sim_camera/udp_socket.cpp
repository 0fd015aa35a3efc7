#include "udp_socket.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace SimCamera {

sockaddr_in socketAddress(uint32_t address, uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

std::unique_ptr<UdpSocket> UdpSocket::bind(uint32_t address, uint16_t port, bool shared)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return nullptr;
    std::unique_ptr<UdpSocket> made(new UdpSocket(fd));
    const int on = 1;
    if (shared)
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // Discovery may be answered by broadcast when the client is on another subnet.
    setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    const sockaddr_in local = socketAddress(address, port);
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0)
        return nullptr;
    return made;
}

UdpSocket::~UdpSocket()
{
    close(fd_);
}

uint16_t UdpSocket::port() const
{
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (getsockname(fd_, reinterpret_cast<sockaddr *>(&local), &length) != 0)
        return 0;
    return ntohs(local.sin_port);
}

bool UdpSocket::sendTo(const uint8_t *data, size_t size, const sockaddr_in &to) const
{
    return ::sendto(fd_, data, size, 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) == ssize_t(size);
}

} // namespace SimCamera
