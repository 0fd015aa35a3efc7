// The stream channel: frames from the device model as GVSP leader, payload
// and trailer packets to the address and port the client wrote (0x0D18,
// 0x0D00), sized by 0x0D04, paced by 0x0D08 and the options, with the last
// frames kept to answer PACKETRESEND. Posts the frame's events. One thread
// of its own sends frames; resend() and sendTestPacket() run on the caller's.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "device_model.h"
#include "options.h"
#include "udp_socket.h"

namespace SimCamera {

class EventChannel;

class GvspSender
{
public:
    GvspSender(DeviceModel &model, EventChannel &events, const Options &options);
    ~GvspSender();

    GvspSender(const GvspSender &) = delete;
    GvspSender &operator=(const GvspSender &) = delete;

    // Starts streaming from `address` (host order), after stop() if running.
    bool start(uint32_t address);
    void stop();

    // Sends packets `first` to `last` of block `blockId` again, or a
    // PACKET_UNAVAILABLE packet when the block is no longer kept.
    void resend(uint16_t blockId, uint32_t first, uint32_t last);
    // The test packet GevSCPS's fire-test bit asks for: one datagram making an
    // IP packet of `packetSize` bytes.
    void sendTestPacket(uint32_t packetSize);

private:
    // A frame as sent, kept for resends.
    struct Slot {
        std::mutex mutex;  // held while filling and while resending
        GObjectPtr<ArvBuffer> buffer;
        size_t allocated = 0;
        uint16_t blockId = 0;  // 0 while it holds no frame
        size_t size = 0;
        uint32_t dataPerPacket = 0;
        uint32_t packets = 0;  // leader, payload and trailer
        std::vector<uint8_t> leader;
        std::vector<uint8_t> trailer;
    };

    void run();
    // How many slots frames of `payload` bytes may use within the memory
    // budget; frees the others.
    size_t keptSlots(size_t payload);
    // Waits for the next frame time or trigger; false when there is no frame to send yet.
    bool waitForFrame();
    void sendFrame(Slot &slot, const std::shared_ptr<UdpSocket> &socket);
    // Packet `id` of the frame in `slot`: header and data into `header` and
    // the returned span.
    const uint8_t *packet(const Slot &slot, uint32_t id, uint8_t *header, size_t &size) const;
    uint64_t packetDelayNs(size_t bytes);
    std::shared_ptr<UdpSocket> socket();
    // Where the client wants the stream (GevSCDA, GevSCPHostPort); false
    // while it has not said.
    bool destination(sockaddr_in &to);

    DeviceModel &model_;
    EventChannel &events_;
    const Options options_;
    std::vector<std::unique_ptr<Slot>> slots_;
    size_t nextSlot_ = 0;  // stream thread only
    uint16_t nextBlockId_ = 1;  // stream thread only
    std::mt19937 dropFirst_;  // stream thread only
    std::mutex resendMutex_;
    std::mt19937 dropResend_;  // under resendMutex_
    std::mutex socketMutex_;
    std::shared_ptr<UdpSocket> socket_;  // under socketMutex_
    std::atomic<bool> stopping_{ false };
    std::thread thread_;
};

} // namespace SimCamera
