#include "force_ip.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include <glib-unix.h>

namespace SimCamera {

namespace {

constexpr uint16_t kGvcpPort = 3956;
constexpr uint8_t kGvcpKey = 0x42;
constexpr uint16_t kForceIpCmd = 0x0004;
constexpr uint16_t kForceIpAck = 0x0005;
constexpr size_t kHeaderSize = 8;
constexpr size_t kForceIpPayload = 56;
constexpr uint16_t kStatusSuccess = 0x0000;
constexpr uint16_t kStatusError = 0x8FFF;

uint16_t get16(const uint8_t *at) { return uint16_t(at[0] << 8 | at[1]); }
uint32_t get32(const uint8_t *at) { return uint32_t(get16(at)) << 16 | get16(at + 2); }

void put16(uint8_t *at, uint16_t value)
{
    at[0] = uint8_t(value >> 8);
    at[1] = uint8_t(value);
}

struct Adapter {
    std::string name;
    uint32_t address = 0;
    uint32_t mask = 0;
};

// The adapter that holds `address` (host byte order), if one does.
bool findAdapter(uint32_t address, Adapter &found)
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    bool any = false;
    for (const ifaddrs *entry = list; entry && !any; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET || !entry->ifa_netmask)
            continue;
        const uint32_t held = ntohl(reinterpret_cast<const sockaddr_in *>(entry->ifa_addr)->sin_addr.s_addr);
        if (held != address)
            continue;
        found.name = entry->ifa_name;
        found.address = held;
        found.mask = ntohl(reinterpret_cast<const sockaddr_in *>(entry->ifa_netmask)->sin_addr.s_addr);
        any = true;
    }
    freeifaddrs(list);
    return any;
}

uint32_t parseAddress(const std::string &text)
{
    in_addr parsed{};
    return inet_pton(AF_INET, text.c_str(), &parsed) == 1 ? ntohl(parsed.s_addr) : 0;
}

sockaddr_in socketAddress(uint32_t address, uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

int prefixLength(uint32_t mask)
{
    int length = 0;
    for (; mask & 0x80000000u; mask <<= 1)
        ++length;
    return length;
}

} // namespace

std::string formatAddress(uint32_t address)
{
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                  address & 0xFF);
    return text;
}

bool addAddress(const std::string &current, const ForcedAddress &wanted)
{
    Adapter adapter;
    if (findAdapter(wanted.address, adapter))
        return true;
    if (!findAdapter(parseAddress(current), adapter))
        return false;
    const std::string cidr = formatAddress(wanted.address) + "/" + std::to_string(prefixLength(wanted.mask));
    const pid_t child = fork();
    if (child == 0) {
        execlp("ip", "ip", "addr", "add", cidr.c_str(), "dev", adapter.name.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return false;
    return findAdapter(wanted.address, adapter);
}

ForceIpResponder::ForceIpResponder(uint64_t mac, std::function<bool(const ForcedAddress &)> move)
    : mac_(mac)
    , move_(std::move(move))
{
}

ForceIpResponder::~ForceIpResponder()
{
    stop();
}

void ForceIpResponder::stop()
{
    if (source_)
        g_source_remove(source_);
    source_ = 0;
    if (fd_ >= 0)
        close(fd_);
    fd_ = -1;
}

bool ForceIpResponder::listen(const std::string &address)
{
    stop();
    Adapter adapter;
    if (!findAdapter(parseAddress(address), adapter))
        return false;
    // Every simulated camera on the adapter gets each broadcast.
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in local = socketAddress(adapter.address | ~adapter.mask, kGvcpPort);
    if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        stop();
        return false;
    }
    source_ = g_unix_fd_add(fd_, G_IO_IN, reinterpret_cast<GUnixFDSourceFunc>(&ForceIpResponder::onPacket), this);
    return true;
}

int ForceIpResponder::onPacket(int, unsigned, void *self)
{
    static_cast<ForceIpResponder *>(self)->answer();
    return G_SOURCE_CONTINUE;
}

void ForceIpResponder::answer()
{
    uint8_t packet[1500];
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t got = recvfrom(fd_, packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&from), &fromLength);
    if (got < ssize_t(kHeaderSize + kForceIpPayload) || packet[0] != kGvcpKey || get16(packet + 2) != kForceIpCmd)
        return;
    const uint8_t *payload = packet + kHeaderSize;
    const uint64_t mac = uint64_t(get16(payload + 2)) << 32 | get32(payload + 4);
    if (mac != mac_)
        return;
    const ForcedAddress wanted{ get32(payload + 20), get32(payload + 36), get32(payload + 52) };
    const uint16_t requestId = get16(packet + 6);
    // Moving closes this socket and opens another: the acknowledge goes
    // from a socket of its own.
    const bool moved = wanted.address != 0 && move_(wanted);

    uint8_t ack[kHeaderSize] = {};
    put16(ack, moved ? kStatusSuccess : kStatusError);
    put16(ack + 2, kForceIpAck);
    put16(ack + 6, requestId);
    const int reply = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (reply < 0)
        return;
    sendto(reply, ack, sizeof ack, 0, reinterpret_cast<const sockaddr *>(&from), sizeof from);
    close(reply);
}

} // namespace SimCamera
