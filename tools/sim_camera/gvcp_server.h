// The control channel: GVCP on port 3956 of the camera's address (registers,
// memory, control privilege with its heartbeat, PACKETRESEND), and DISCOVERY
// and FORCEIP on the adapter's broadcast addresses as well. Acknowledges go
// from the camera's address and port 3956. Owner thread only: it runs on the
// GLib main loop of the thread that made it.
#pragma once

#include <glib.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "udp_socket.h"

namespace SimCamera {

class DeviceModel;
class EventChannel;
class GvspSender;
struct ForcedAddress;

class GvcpServer
{
public:
    GvcpServer(DeviceModel &model, GvspSender &stream, EventChannel &events, uint64_t mac);
    ~GvcpServer();

    GvcpServer(const GvcpServer &) = delete;
    GvcpServer &operator=(const GvcpServer &) = delete;

    // Serves the camera on `address` (host order, on an adapter) with
    // `gateway` as its default gateway: control, stream and message channel
    // all move there. False when the address cannot be bound; the camera
    // keeps its old address then.
    bool listen(uint32_t address, uint32_t gateway = 0);

private:
    struct Listener {
        std::unique_ptr<UdpSocket> socket;
        guint source = 0;
    };
    struct Reply {
        uint16_t status = 0;
        std::vector<uint8_t> payload;
    };

    static gboolean onPacket(gint fd, GIOCondition condition, gpointer self);
    static gboolean onHeartbeatCheck(gpointer self);
    void close();
    void receive(int fd);
    bool fromController(const sockaddr_in &from) const;
    // Whether `from` may read (when `write` is false) or write; writing the
    // privilege register has rules of its own.
    bool mayAccess(const sockaddr_in &from, bool write) const;
    Reply readRegisters(const sockaddr_in &from, const uint8_t *data, size_t size);
    Reply writeRegisters(const sockaddr_in &from, const uint8_t *data, size_t size);
    Reply readMemory(const sockaddr_in &from, const uint8_t *data, size_t size);
    Reply writeMemory(const sockaddr_in &from, const uint8_t *data, size_t size);
    uint16_t writeRegister(const sockaddr_in &from, uint32_t address, uint32_t value);
    uint16_t writePrivilege(const sockaddr_in &from, uint32_t value);
    void packetResend(const uint8_t *data, size_t size);
    bool forceIp(const ForcedAddress &wanted);
    void dropControl();
    void checkHeartbeat();
    void acknowledge(const sockaddr_in &to, uint8_t flags, uint16_t command, uint16_t requestId, const Reply &reply);

    DeviceModel &model_;
    GvspSender &stream_;
    EventChannel &events_;
    const uint64_t mac_;
    uint32_t address_ = 0;
    std::vector<Listener> listeners_;  // the first one is the camera's own address
    guint heartbeatSource_ = 0;
    bool controlled_ = false;
    sockaddr_in controller_{};
    std::chrono::steady_clock::time_point lastHeard_;
};

} // namespace SimCamera
