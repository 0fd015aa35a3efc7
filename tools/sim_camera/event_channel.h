// The message channel: EVENT or EVENTDATA commands to the address and port
// the client wrote (0x0B10, 0x0B00), sent from a socket of the camera's own
// whose port is in 0x0B1C, each sent again until acknowledged or out of
// tries (timeout 0x0B14, retries 0x0B18). post() from any thread; one thread
// of its own sends and takes the acknowledges.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "udp_socket.h"

namespace SimCamera {

class DeviceModel;

class EventChannel
{
public:
    EventChannel(DeviceModel &model, bool plain);
    ~EventChannel();

    EventChannel(const EventChannel &) = delete;
    EventChannel &operator=(const EventChannel &) = delete;

    // Starts sending from `address` (host order), after stop() if running.
    bool start(uint32_t address);
    void stop();

    // Sends event `id` for block `blockId` taken at `timestampNs`, if the
    // client opened the message channel.
    void post(uint16_t id, uint16_t blockId, uint64_t timestampNs);
    // Forgets every unacknowledged event (the client lost control).
    void reset();

private:
    struct Pending {
        uint16_t requestId;
        std::vector<uint8_t> packet;
        sockaddr_in to;
        std::chrono::milliseconds timeout;
        std::chrono::steady_clock::time_point deadline;
        uint32_t triesLeft;
    };

    void run();
    void takeAcknowledge();
    // Sends what is due; the time of the next deadline, or max() if none.
    std::chrono::steady_clock::time_point sendDue();

    DeviceModel &model_;
    const bool plain_;
    std::unique_ptr<UdpSocket> socket_;  // under mutex_ while the thread runs
    int wake_ = -1;
    std::thread thread_;
    std::mutex mutex_;
    std::deque<Pending> pending_;  // under mutex_
    bool stopping_ = false;        // under mutex_
    uint16_t nextRequestId_ = 1;   // under mutex_
};

} // namespace SimCamera
