// The message channel against a camera's end on loopback: what it
// acknowledges, what it delivers (once, also when the camera repeats a
// command), and what it ignores.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "message_channel_private.h"

using namespace KyrCam;

namespace {

struct Delivered {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<GvcpEvent> events;

    // Waits until `count` events came (or 5 s passed); their copy.
    std::vector<GvcpEvent> wait(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        arrived.wait_for(lock, std::chrono::seconds(5), [&] { return events.size() >= count; });
        return events;
    }
};

class CameraEnd
{
public:
    explicit CameraEnd(uint16_t channelPort)
    {
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr *>(&local), sizeof(local));
        channel_.sin_family = AF_INET;
        channel_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        channel_.sin_port = htons(channelPort);
    }
    ~CameraEnd() { close(fd_); }

    void send(const std::vector<uint8_t> &packet)
    {
        sendto(fd_, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr *>(&channel_), sizeof(channel_));
    }

    // The next acknowledge, or an empty vector after `timeoutMs`.
    std::vector<uint8_t> acknowledge(int timeoutMs = 2000)
    {
        pollfd ready{ fd_, POLLIN, 0 };
        if (poll(&ready, 1, timeoutMs) != 1)
            return {};
        std::vector<uint8_t> packet(64);
        const ssize_t size = recv(fd_, packet.data(), packet.size(), 0);
        packet.resize(size > 0 ? size_t(size) : 0);
        return packet;
    }

private:
    int fd_ = -1;
    sockaddr_in channel_{};
};

// A command: GVCP header, then `payload`.
std::vector<uint8_t> command(uint16_t code, uint16_t requestId, const std::vector<uint8_t> &payload,
                             uint8_t flags = 0x01)
{
    std::vector<uint8_t> packet{ 0x42, flags, uint8_t(code >> 8), uint8_t(code), uint8_t(payload.size() >> 8),
                                 uint8_t(payload.size()), uint8_t(requestId >> 8), uint8_t(requestId) };
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

// An event header: id, stream channel 0, block id, 64-bit timestamp.
std::vector<uint8_t> eventHeader(uint16_t id, uint16_t block, uint64_t timestamp)
{
    std::vector<uint8_t> header{ 0, 0, uint8_t(id >> 8), uint8_t(id), 0, 0, uint8_t(block >> 8), uint8_t(block) };
    for (int shift = 56; shift >= 0; shift -= 8)
        header.push_back(uint8_t(timestamp >> shift));
    return header;
}

std::vector<uint8_t> ack(uint16_t code, uint16_t requestId)
{
    return { 0, 0, uint8_t(code >> 8), uint8_t(code), 0, 0, uint8_t(requestId >> 8), uint8_t(requestId) };
}

} // namespace

TEST(MessageChannel, AcknowledgesEachCommandAndDeliversItsEventsOnce)
{
    Delivered delivered;
    KyrCamErr code = kErrUnknown;
    auto channel = MessageChannel::open(INADDR_LOOPBACK, [&](const GvcpEvent &event) {
        std::lock_guard<std::mutex> lock(delivered.mutex);
        delivered.events.push_back(event);
        delivered.arrived.notify_all();
    }, code);
    ASSERT_EQ(code, kOk);
    ASSERT_TRUE(channel);
    CameraEnd camera(channel->port());

    // EVENTDATA: the data after the header is what the callback gets.
    std::vector<uint8_t> payload = eventHeader(0x9001, 7, 0x0102030405060708);
    payload.insert(payload.end(), { 0xAA, 0xBB, 0xCC });
    camera.send(command(0x00C2, 41, payload));
    EXPECT_EQ(camera.acknowledge(), ack(0x00C3, 41));
    // The camera did not see the acknowledge and sends it again: acknowledged
    // again, not delivered twice.
    camera.send(command(0x00C2, 41, payload));
    EXPECT_EQ(camera.acknowledge(), ack(0x00C3, 41));

    // EVENT with two events: stream channel, block id and timestamp each.
    std::vector<uint8_t> two = eventHeader(0x9002, 8, 0x1112131415161718);
    const std::vector<uint8_t> second = eventHeader(0x9003, 9, 0x2122232425262728);
    two.insert(two.end(), second.begin(), second.end());
    camera.send(command(0x00C0, 42, two));
    EXPECT_EQ(camera.acknowledge(), ack(0x00C1, 42));

    const std::vector<GvcpEvent> events = delivered.wait(3);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].id, 0x9001);
    EXPECT_EQ(events[0].data, std::string("\xAA\xBB\xCC"));
    EXPECT_EQ(events[1].id, 0x9002);
    EXPECT_EQ(events[1].data, std::string("\x00\x00\x00\x08\x11\x12\x13\x14\x15\x16\x17\x18", 12));
    EXPECT_EQ(events[2].id, 0x9003);
    EXPECT_EQ(events[2].data, std::string("\x00\x00\x00\x09\x21\x22\x23\x24\x25\x26\x27\x28", 12));
}

TEST(MessageChannel, IgnoresWhatIsNotAnEventCommand)
{
    const std::vector<uint8_t> header = eventHeader(0x9001, 1, 1);
    std::vector<uint8_t> cut = command(0x00C2, 1, header);
    cut.resize(cut.size() - 1);  // shorter than its length says
    std::vector<uint8_t> wrongKey = command(0x00C2, 2, header);
    wrongKey[0] = 0x43;
    const std::vector<std::vector<uint8_t>> refused{
        cut,
        wrongKey,
        command(0x0080, 3, header),                                   // a register read
        command(0x00C0, 4, std::vector<uint8_t>(header.begin(), header.end() - 1)),  // EVENT of 15 bytes
        command(0x00C0, 5, {}),                                       // EVENT without events
        command(0x00C2, 6, std::vector<uint8_t>(header.begin(), header.begin() + 8)),  // header cut
        { 0x42, 0x01, 0x00 },
    };
    for (const auto &packet : refused) {
        GvcpMessage message;
        EXPECT_FALSE(parseGvcpMessage(packet.data(), packet.size(), message)) << packet.size();
    }

    // Extended ids: a 24-byte header, and no acknowledge unless asked for.
    std::vector<uint8_t> extended = eventHeader(0x9001, 0, 0);
    extended.insert(extended.begin() + 8, 8, 0x01);
    extended.push_back(0x5A);
    GvcpMessage message;
    ASSERT_TRUE(parseGvcpMessage(command(0x00C2, 7, extended, 0x10).data(), extended.size() + 8, message));
    EXPECT_FALSE(message.wantsAck);
    ASSERT_EQ(message.events.size(), 1u);
    EXPECT_EQ(message.events[0].data, "\x5A");
}
