// A small GigE Vision control protocol (GVCP) client for what Aravis 0.8 does
// not offer: discovery data of one device, register reads without taking
// control, and FORCEIP. Addresses are IPv4 in host byte order. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include <camera/KyrCamErr.h>

namespace KyrCam {

constexpr uint16_t kGvcpPort = 3956;

// Bootstrap registers.
constexpr uint32_t kGvcpRegControlChannelPrivilege = 0x0A00;

// The device's answer to a discovery request (its bootstrap registers).
struct GvcpDiscovery {
    uint64_t mac = 0;
    uint32_t address = 0;
    uint32_t mask = 0;
    uint32_t gateway = 0;
    std::string vendor;
    std::string model;
    std::string version;
    std::string manufacturerInfo;
    std::string serial;
    std::string userName;
};

// Asks one device for its discovery data (unicast to `device`:`port`). Codes:
// kErrTimeout (no answer within `timeoutMs`), kErrIo.
KyrCamErr gvcpDiscover(uint32_t device, uint16_t port, int timeoutMs, GvcpDiscovery &out) noexcept;

// Reads one 32-bit register. Codes: kErrTimeout, kErrIo, kErrAccessDenied,
// kErrInvalidAddress (the device refused the address).
KyrCamErr gvcpReadRegister(uint32_t device, uint16_t port, uint32_t address, int timeoutMs, uint32_t &value) noexcept;

// Sends FORCEIP for `mac` from the host address `host` to `destination` (the
// adapter's broadcast address) and waits for the acknowledge. Codes:
// kErrTimeout, kErrIo.
KyrCamErr gvcpForceIp(uint32_t host, uint32_t destination, uint16_t port, uint64_t mac, uint32_t address,
                      uint32_t mask, uint32_t gateway, int timeoutMs) noexcept;

// Dotted decimal text of an address and back; parseIpv4 fails on anything but
// four decimal bytes.
std::string formatIpv4(uint32_t address);
bool parseIpv4(const char *text, uint32_t &address) noexcept;

} // namespace KyrCam
