#include "gvcp_server.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>

#include <glib-unix.h>

#include "device_model.h"
#include "event_channel.h"
#include "force_ip.h"
#include "gvsp_sender.h"
#include "wire.h"

namespace SimCamera {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint8_t kDiscoveryBroadcastAck = 0x10;
constexpr uint32_t kLimitedBroadcast = 0xFFFFFFFF;
// The most data one READMEM or WRITEMEM carries (GigE Vision's limit).
constexpr uint32_t kMaxMemoryBlock = 536;
constexpr uint32_t kHeartbeatCheckMs = 50;
constexpr uint32_t kShortestHeartbeatMs = 100;
constexpr uint32_t kRegAcquisition = ARV_FAKE_CAMERA_REGISTER_ACQUISITION;

bool sameEndpoint(const sockaddr_in &a, const sockaddr_in &b)
{
    return a.sin_addr.s_addr == b.sin_addr.s_addr && a.sin_port == b.sin_port;
}

// Whether [address, address + size) covers the privilege register.
bool coversPrivilege(uint32_t address, uint32_t size)
{
    return address <= kRegControlPrivilege && kRegControlPrivilege - address < size;
}

} // namespace

GvcpServer::GvcpServer(DeviceModel &model, GvspSender &stream, EventChannel &events, uint64_t mac)
    : model_(model)
    , stream_(stream)
    , events_(events)
    , mac_(mac)
{
    heartbeatSource_ = g_timeout_add(kHeartbeatCheckMs, &GvcpServer::onHeartbeatCheck, this);
}

GvcpServer::~GvcpServer()
{
    close();
    g_source_remove(heartbeatSource_);
}

void GvcpServer::close()
{
    for (Listener &listener : listeners_)
        g_source_remove(listener.source);
    listeners_.clear();
}

bool GvcpServer::listen(uint32_t address, uint32_t gateway)
{
    uint32_t mask = 0;
    if (!adapterMask(address, mask))
        return false;
    std::vector<std::unique_ptr<UdpSocket>> sockets;
    sockets.push_back(UdpSocket::bind(address, kGvcpPort));
    if (!sockets.back())
        return false;
    // Every camera on the adapter gets each broadcast: these are shared.
    if (~mask != 0)
        sockets.push_back(UdpSocket::bind(address | ~mask, kGvcpPort, true));
    sockets.push_back(UdpSocket::bind(kLimitedBroadcast, kGvcpPort, true));
    // The new address is bound: the old sockets go, and the stream and
    // message channel follow.
    close();
    for (std::unique_ptr<UdpSocket> &socket : sockets) {
        if (!socket)
            continue;
        const guint source = g_unix_fd_add(socket->fd(), G_IO_IN, &GvcpServer::onPacket, this);
        listeners_.push_back(Listener{ std::move(socket), source });
    }
    address_ = address;
    model_.setAddress(address, mask, gateway);
    return stream_.start(address) && events_.start(address);
}

gboolean GvcpServer::onPacket(gint fd, GIOCondition, gpointer self)
{
    static_cast<GvcpServer *>(self)->receive(fd);
    return G_SOURCE_CONTINUE;
}

gboolean GvcpServer::onHeartbeatCheck(gpointer self)
{
    static_cast<GvcpServer *>(self)->checkHeartbeat();
    return G_SOURCE_CONTINUE;
}

void GvcpServer::receive(int fd)
{
    uint8_t packet[kGvcpMaxPacket];
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t got =
        recvfrom(fd, packet, sizeof packet, MSG_TRUNC, reinterpret_cast<sockaddr *>(&from), &fromLength);
    if (got < ssize_t(kGvcpHeaderSize) || size_t(got) > sizeof packet || packet[0] != kGvcpKey)
        return;
    const uint8_t flags = packet[1];
    const uint16_t command = get16(packet + 2);
    const size_t length = get16(packet + 4);
    const uint16_t requestId = get16(packet + 6);
    if (length > size_t(got) - kGvcpHeaderSize)
        return;
    const uint8_t *data = packet + kGvcpHeaderSize;
    const bool own = !listeners_.empty() && fd == listeners_.front().socket->fd();
    if (controlled_ && sameEndpoint(from, controller_))
        lastHeard_ = Clock::now();

    Reply reply;
    switch (command) {
    case kDiscoveryCmd:
        reply.payload.assign(kDiscoveryDataSize, 0);
        model_.readMemory(0, kDiscoveryDataSize, reply.payload.data());
        acknowledge(from, flags | kGvcpAckRequired, command, requestId, reply);
        return;
    case kForceIpCmd: {
        ForcedAddress wanted{};
        if (!parseForceIp(packet, size_t(got), mac_, wanted))
            return;
        reply.status = wanted.address != 0 && forceIp(wanted) ? kStatusSuccess : kStatusError;
        acknowledge(from, flags | kGvcpAckRequired, command, requestId, reply);
        return;
    }
    default:
        break;
    }
    // The rest is for the camera's own address only.
    if (!own)
        return;
    switch (command) {
    case kReadRegCmd:
        reply = readRegisters(from, data, length);
        break;
    case kWriteRegCmd:
        reply = writeRegisters(from, data, length);
        break;
    case kReadMemCmd:
        reply = readMemory(from, data, length);
        break;
    case kWriteMemCmd:
        reply = writeMemory(from, data, length);
        break;
    case kPacketResendCmd:
        packetResend(data, length);
        return;
    default:
        reply.status = kStatusNotImplemented;
        break;
    }
    acknowledge(from, flags, command, requestId, reply);
}

bool GvcpServer::fromController(const sockaddr_in &from) const
{
    return controlled_ && sameEndpoint(from, controller_);
}

bool GvcpServer::mayAccess(const sockaddr_in &from, bool write) const
{
    if (fromController(from))
        return true;
    if (write)
        return false;
    return !controlled_ || !(model_.value(kRegControlPrivilege) & kPrivilegeExclusive);
}

GvcpServer::Reply GvcpServer::readRegisters(const sockaddr_in &from, const uint8_t *data, size_t size)
{
    Reply reply;
    if (size == 0 || size % 4 != 0) {
        reply.status = kStatusInvalidParameter;
        return reply;
    }
    for (size_t at = 0; at < size; at += 4) {
        const uint32_t address = get32(data + at);
        uint32_t value = 0;
        if (address % 4 != 0)
            reply.status = kStatusBadAlignment;
        // Anyone may see who holds control, even under exclusive access.
        else if (address != kRegControlPrivilege && !mayAccess(from, false))
            reply.status = kStatusAccessDenied;
        else if (!model_.readRegister(address, value))
            reply.status = kStatusInvalidAddress;
        if (reply.status != kStatusSuccess) {
            reply.payload.clear();
            return reply;
        }
        reply.payload.resize(at + 4);
        put32(&reply.payload[at], value);
    }
    return reply;
}

GvcpServer::Reply GvcpServer::writeRegisters(const sockaddr_in &from, const uint8_t *data, size_t size)
{
    Reply reply;
    if (size == 0 || size % 8 != 0) {
        reply.status = kStatusInvalidParameter;
        return reply;
    }
    // Pairs of address and value, written in order up to the first failure;
    // the acknowledge counts the ones written.
    uint16_t written = 0;
    for (size_t at = 0; at < size && reply.status == kStatusSuccess; at += 8) {
        reply.status = writeRegister(from, get32(data + at), get32(data + at + 4));
        if (reply.status == kStatusSuccess)
            ++written;
    }
    reply.payload.assign(4, 0);
    put16(&reply.payload[2], written);
    return reply;
}

uint16_t GvcpServer::writeRegister(const sockaddr_in &from, uint32_t address, uint32_t value)
{
    if (address % 4 != 0)
        return kStatusBadAlignment;
    if (address == kRegControlPrivilege)
        return writePrivilege(from, value);
    if (!mayAccess(from, true))
        return kStatusAccessDenied;
    if (address == kRegStreamPacketSize && (value & kPacketSizeFireTest)) {
        if (!model_.writeRegister(address, value & ~kPacketSizeFireTest))
            return kStatusInvalidAddress;
        stream_.sendTestPacket(value);
        return kStatusSuccess;
    }
    return model_.writeRegister(address, value) ? kStatusSuccess : kStatusInvalidAddress;
}

uint16_t GvcpServer::writePrivilege(const sockaddr_in &from, uint32_t value)
{
    const uint32_t wanted = value & (kPrivilegeExclusive | kPrivilegeControl);
    if (controlled_ && !fromController(from))
        return kStatusAccessDenied;
    if (wanted == 0) {
        if (controlled_)
            dropControl();
        return kStatusSuccess;
    }
    controlled_ = true;
    controller_ = from;
    lastHeard_ = Clock::now();
    // Exclusive access implies control.
    model_.writeRegister(kRegControlPrivilege, wanted | kPrivilegeControl);
    return kStatusSuccess;
}

GvcpServer::Reply GvcpServer::readMemory(const sockaddr_in &from, const uint8_t *data, size_t size)
{
    Reply reply;
    if (size < 8) {
        reply.status = kStatusInvalidParameter;
        return reply;
    }
    const uint32_t address = get32(data);
    const uint32_t count = get16(data + 6);
    if (address % 4 != 0 || count % 4 != 0)
        reply.status = kStatusBadAlignment;
    else if (count == 0 || count > kMaxMemoryBlock)
        reply.status = kStatusInvalidParameter;
    else if (!coversPrivilege(address, count) && !mayAccess(from, false))
        reply.status = kStatusAccessDenied;
    if (reply.status != kStatusSuccess)
        return reply;
    reply.payload.assign(4 + count, 0);
    put32(reply.payload.data(), address);
    if (!model_.readMemory(address, count, reply.payload.data() + 4)) {
        reply.status = kStatusInvalidAddress;
        reply.payload.clear();
    }
    return reply;
}

GvcpServer::Reply GvcpServer::writeMemory(const sockaddr_in &from, const uint8_t *data, size_t size)
{
    Reply reply;
    const uint32_t address = size >= 4 ? get32(data) : 0;
    const uint32_t count = size >= 4 ? uint32_t(size - 4) : 0;
    if (size < 8)
        reply.status = kStatusInvalidParameter;
    else if (address % 4 != 0 || count % 4 != 0)
        reply.status = kStatusBadAlignment;
    else if (count > kMaxMemoryBlock)
        reply.status = kStatusInvalidParameter;
    else if (coversPrivilege(address, count))
        // The privilege register goes through its own rules, a word at a time.
        reply.status = count == 4 ? writePrivilege(from, get32(data + 4)) : kStatusAccessDenied;
    else if (!mayAccess(from, true))
        reply.status = kStatusAccessDenied;
    else if (!model_.writeMemory(address, count, data + 4))
        reply.status = kStatusInvalidAddress;
    reply.payload.assign(4, 0);
    put16(&reply.payload[2], uint16_t(reply.status == kStatusSuccess ? count : 0));
    return reply;
}

void GvcpServer::packetResend(const uint8_t *data, size_t size)
{
    if (size < 12)
        return;
    // Stream channel, block id, first and last packet id (24 bits each).
    if (get16(data) != 0)
        return;
    stream_.resend(get16(data + 2), get32(data + 4) & 0xFFFFFF, get32(data + 8) & 0xFFFFFF);
}

bool GvcpServer::forceIp(const ForcedAddress &wanted)
{
    if (wanted.address == address_)
        return true;
    if (!addAddress(formatAddress(address_), wanted) || !listen(wanted.address, wanted.gateway))
        return false;
    std::printf("kyr-sim-camera: moved to %s\n", formatAddress(wanted.address).c_str());
    std::fflush(stdout);
    return true;
}

void GvcpServer::dropControl()
{
    controlled_ = false;
    // The stream and message channel close with the session, as on a camera
    // whose controller went away.
    const uint32_t cleared[] = { kRegControlPrivilege, kRegAcquisition, kRegStreamPort,
                                 kRegStreamAddress,    kRegMessagePort, kRegMessageAddress };
    for (const uint32_t address : cleared)
        model_.writeRegister(address, 0);
    events_.reset();
}

void GvcpServer::checkHeartbeat()
{
    if (!controlled_)
        return;
    const uint32_t timeoutMs = std::max(model_.value(kRegHeartbeatTimeout), kShortestHeartbeatMs);
    if (Clock::now() - lastHeard_ <= std::chrono::milliseconds(timeoutMs))
        return;
    std::printf("kyr-sim-camera: control of %s:%u dropped: no heartbeat for %u ms\n",
                formatAddress(ntohl(controller_.sin_addr.s_addr)).c_str(), unsigned(ntohs(controller_.sin_port)),
                unsigned(timeoutMs));
    std::fflush(stdout);
    dropControl();
}

void GvcpServer::acknowledge(const sockaddr_in &to, uint8_t flags, uint16_t command, uint16_t requestId,
                             const Reply &reply)
{
    if (!(flags & kGvcpAckRequired) || listeners_.empty())
        return;
    std::vector<uint8_t> ack(kGvcpHeaderSize + reply.payload.size());
    put16(ack.data(), reply.status);
    put16(ack.data() + 2, uint16_t(command + 1));
    put16(ack.data() + 4, uint16_t(reply.payload.size()));
    put16(ack.data() + 6, requestId);
    std::copy(reply.payload.begin(), reply.payload.end(), ack.begin() + kGvcpHeaderSize);
    const UdpSocket &own = *listeners_.front().socket;
    if (own.sendTo(ack.data(), ack.size(), to))
        return;
    // A client on another subnet may have no route back: a discovery that
    // allows it, and FORCEIP, get their answer by broadcast.
    if (command == kForceIpCmd || (command == kDiscoveryCmd && (flags & kDiscoveryBroadcastAck)))
        own.sendTo(ack.data(), ack.size(), socketAddress(kLimitedBroadcast, ntohs(to.sin_port)));
}

} // namespace SimCamera
