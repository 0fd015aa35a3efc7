// GigE Vision wire constants and big-endian field access shared by the
// simulated camera's control, stream and message channels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace SimCamera {

constexpr uint16_t kGvcpPort = 3956;
constexpr uint8_t kGvcpKey = 0x42;
constexpr uint8_t kGvcpAckRequired = 0x01;
constexpr size_t kGvcpHeaderSize = 8;
// The largest GVCP datagram the camera takes or sends (GigE Vision's limit).
constexpr size_t kGvcpMaxPacket = 576;

// GVCP commands; an acknowledge is the command plus one.
constexpr uint16_t kDiscoveryCmd = 0x0002;
constexpr uint16_t kForceIpCmd = 0x0004;
constexpr uint16_t kPacketResendCmd = 0x0040;
constexpr uint16_t kReadRegCmd = 0x0080;
constexpr uint16_t kWriteRegCmd = 0x0082;
constexpr uint16_t kReadMemCmd = 0x0084;
constexpr uint16_t kWriteMemCmd = 0x0086;
constexpr uint16_t kEventCmd = 0x00C0;
constexpr uint16_t kEventAck = 0x00C1;
constexpr uint16_t kEventDataCmd = 0x00C2;
constexpr uint16_t kEventDataAck = 0x00C3;

// GVCP and GVSP status codes.
constexpr uint16_t kStatusSuccess = 0x0000;
constexpr uint16_t kStatusNotImplemented = 0x8001;
constexpr uint16_t kStatusInvalidParameter = 0x8002;
constexpr uint16_t kStatusInvalidAddress = 0x8003;
constexpr uint16_t kStatusBadAlignment = 0x8005;
constexpr uint16_t kStatusAccessDenied = 0x8006;
constexpr uint16_t kStatusPacketUnavailable = 0x800C;
constexpr uint16_t kStatusError = 0x8FFF;

// Bootstrap registers.
constexpr uint32_t kRegVersion = 0x0000;
constexpr uint32_t kRegDeviceMode = 0x0004;
constexpr uint32_t kRegMacHigh = 0x0008;
constexpr uint32_t kRegMacLow = 0x000C;
constexpr uint32_t kRegIpConfigOptions = 0x0010;
constexpr uint32_t kRegIpConfigCurrent = 0x0014;
constexpr uint32_t kRegCurrentIp = 0x0024;
constexpr uint32_t kRegSubnetMask = 0x0034;
constexpr uint32_t kRegGateway = 0x0044;
constexpr uint32_t kDiscoveryDataSize = 0xF8;
constexpr uint32_t kRegNetworkInterfaces = 0x0900;
constexpr uint32_t kRegMessageChannels = 0x0904;
constexpr uint32_t kRegStreamChannels = 0x0908;
constexpr uint32_t kRegGvcpCapability = 0x0934;
constexpr uint32_t kRegHeartbeatTimeout = 0x0938;
constexpr uint32_t kRegTickFrequencyHigh = 0x093C;
constexpr uint32_t kRegTickFrequencyLow = 0x0940;
constexpr uint32_t kRegControlPrivilege = 0x0A00;
constexpr uint32_t kRegMessagePort = 0x0B00;
constexpr uint32_t kRegMessageAddress = 0x0B10;
constexpr uint32_t kRegMessageTimeout = 0x0B14;
constexpr uint32_t kRegMessageRetries = 0x0B18;
constexpr uint32_t kRegMessageSourcePort = 0x0B1C;
constexpr uint32_t kRegStreamPort = 0x0D00;
constexpr uint32_t kRegStreamPacketSize = 0x0D04;
constexpr uint32_t kRegStreamPacketDelay = 0x0D08;
constexpr uint32_t kRegStreamAddress = 0x0D18;
constexpr uint32_t kRegStreamSourcePort = 0x0D1C;

// GVCP capability bits (bit 31 of the standard's numbering is the lowest).
constexpr uint32_t kCapabilityConcatenation = 1u << 0;
constexpr uint32_t kCapabilityWriteMem = 1u << 1;
constexpr uint32_t kCapabilityPacketResend = 1u << 2;
constexpr uint32_t kCapabilityEvent = 1u << 3;
constexpr uint32_t kCapabilityEventData = 1u << 4;
constexpr uint32_t kCapabilitySerialNumber = 1u << 30;
constexpr uint32_t kCapabilityUserName = 1u << 31;

constexpr uint32_t kPrivilegeExclusive = 1u << 0;
constexpr uint32_t kPrivilegeControl = 1u << 1;

constexpr uint32_t kPacketSizeFireTest = 1u << 31;
constexpr uint32_t kPacketSizeMask = 0xFFFF;

// The registers that switch an event's notification on, one word per event
// in the order of kEvents; the GenICam description maps EventNotification
// onto them through EventSelector.
constexpr uint32_t kRegEventNotification = 0x0400;

// The events the camera can send, with the ids its description publishes
// (GigE Vision's standard event ids).
struct EventKind {
    const char *name;
    uint16_t id;
};
constexpr EventKind kEvents[] = { { "FrameStart", 0x0001 }, { "ExposureStart", 0x0002 }, { "ExposureEnd", 0x0003 } };
constexpr size_t kEventCount = sizeof kEvents / sizeof kEvents[0];

inline uint16_t get16(const uint8_t *at)
{
    return uint16_t(at[0] << 8 | at[1]);
}

inline uint32_t get32(const uint8_t *at)
{
    return uint32_t(get16(at)) << 16 | get16(at + 2);
}

inline void put16(uint8_t *at, uint16_t value)
{
    at[0] = uint8_t(value >> 8);
    at[1] = uint8_t(value);
}

inline void put32(uint8_t *at, uint32_t value)
{
    put16(at, uint16_t(value >> 16));
    put16(at + 2, uint16_t(value));
}

inline void put64(uint8_t *at, uint64_t value)
{
    put32(at, uint32_t(value >> 32));
    put32(at + 4, uint32_t(value));
}

} // namespace SimCamera
