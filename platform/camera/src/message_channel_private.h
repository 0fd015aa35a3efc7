// The GigE Vision message channel, which Aravis 0.8 does not open: a UDP
// socket on the host's adapter whose port and address the camera is given
// (registers 0x0B00 and 0x0B10), on which it sends EVENT and EVENTDATA
// commands. Each command is acknowledged at once; the camera sends it again
// until then, so a repeat of the last request id is acknowledged and not
// delivered twice. One thread of its own receives; the destructor wakes and
// joins it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <camera/KyrCamErr.h>

namespace KyrCam {

// Message channel registers.
constexpr uint32_t kGvcpRegMessagePort = 0x0B00;
constexpr uint32_t kGvcpRegMessageAddress = 0x0B10;
constexpr uint32_t kGvcpRegMessageTimeout = 0x0B14;
constexpr uint32_t kGvcpRegMessageRetries = 0x0B18;

// One event of a message channel command. `data` is what the callback gets:
// for EVENTDATA the command's data after the event header; for EVENT the
// header's stream channel (2 bytes), block id (2) and timestamp (8), as the
// camera sent them (big-endian).
struct GvcpEvent {
    uint16_t id = 0;
    std::string data;
};

// A parsed command: its request id and whether it wants an acknowledge.
struct GvcpMessage {
    uint16_t command = 0;
    uint16_t requestId = 0;
    bool wantsAck = false;
    std::vector<GvcpEvent> events;
};

// Parses one datagram; false for anything but a well-formed EVENT or
// EVENTDATA command (which is then ignored and not acknowledged).
bool parseGvcpMessage(const uint8_t *packet, size_t size, GvcpMessage &message);

class MessageChannel
{
public:
    using Deliver = std::function<void(const GvcpEvent &event)>;

    // Listens on `host` (IPv4, host byte order), any free port; `deliver`
    // runs on the channel's thread for each new event. Codes: kErrIo,
    // kErrOutOfMemory.
    static std::unique_ptr<MessageChannel> open(uint32_t host, Deliver deliver, KyrCamErr &code) noexcept;
    ~MessageChannel();

    MessageChannel(const MessageChannel &) = delete;
    MessageChannel &operator=(const MessageChannel &) = delete;

    uint16_t port() const noexcept { return port_; }

private:
    MessageChannel(int socket, int wake, uint16_t port, Deliver deliver);
    void run();

    const int socket_;
    const int wake_;  // an eventfd: written once to stop the thread
    const uint16_t port_;
    const Deliver deliver_;
    std::thread thread_;
};

} // namespace KyrCam
