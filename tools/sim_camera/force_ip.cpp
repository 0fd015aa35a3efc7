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

#include "wire.h"

namespace SimCamera {

namespace {

constexpr size_t kForceIpPayload = 56;

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

int prefixLength(uint32_t mask)
{
    int length = 0;
    for (; mask & 0x80000000u; mask <<= 1)
        ++length;
    return length;
}

} // namespace

uint32_t parseAddress(const std::string &text)
{
    in_addr parsed{};
    return inet_pton(AF_INET, text.c_str(), &parsed) == 1 ? ntohl(parsed.s_addr) : 0;
}

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

bool parseForceIp(const uint8_t *packet, size_t size, uint64_t mac, ForcedAddress &wanted)
{
    if (size < kGvcpHeaderSize + kForceIpPayload || packet[0] != kGvcpKey || get16(packet + 2) != kForceIpCmd)
        return false;
    const uint8_t *payload = packet + kGvcpHeaderSize;
    if ((uint64_t(get16(payload + 2)) << 32 | get32(payload + 4)) != mac)
        return false;
    wanted = ForcedAddress{ get32(payload + 20), get32(payload + 36), get32(payload + 52) };
    return true;
}

bool adapterMask(uint32_t address, uint32_t &mask)
{
    Adapter adapter;
    if (!findAdapter(address, adapter))
        return false;
    mask = adapter.mask;
    return true;
}

} // namespace SimCamera
