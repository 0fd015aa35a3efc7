// The GVCP client against a responder on loopback: FORCEIP's packet layout
// and acknowledge, the time-out without an answer, and the link watch.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "gvcp_private.h"
#include "link_watch_private.h"

using namespace KyrCam;

namespace {

uint32_t be32(const uint8_t *at) { return (uint32_t(at[0]) << 24) | (at[1] << 16) | (at[2] << 8) | at[3]; }

class Responder
{
public:
    Responder()
    {
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr *>(&local), sizeof(local));
        socklen_t length = sizeof(local);
        getsockname(fd_, reinterpret_cast<sockaddr *>(&local), &length);
        port_ = ntohs(local.sin_port);
    }
    ~Responder() { close(fd_); }

    uint16_t port() const { return port_; }

    // Whether a command arrives within `timeoutMs`; it stays unanswered.
    bool commandWithin(int timeoutMs)
    {
        pollfd wait{ fd_, POLLIN, 0 };
        return poll(&wait, 1, timeoutMs) == 1;
    }

    // Waits for one command and answers it with `ackStatus`; the command.
    std::vector<uint8_t> answerOnce(uint16_t ackStatus)
    {
        pollfd wait{ fd_, POLLIN, 0 };
        if (poll(&wait, 1, 5000) != 1)
            return {};
        uint8_t packet[1500];
        sockaddr_in from{};
        socklen_t length = sizeof(from);
        const ssize_t got = recvfrom(fd_, packet, sizeof(packet), 0, reinterpret_cast<sockaddr *>(&from), &length);
        if (got < 8)
            return {};
        const uint8_t ack[8] = { uint8_t(ackStatus >> 8), uint8_t(ackStatus), 0x00, 0x05, 0, 0, packet[6], packet[7] };
        sendto(fd_, ack, sizeof(ack), 0, reinterpret_cast<sockaddr *>(&from), length);
        return std::vector<uint8_t>(packet, packet + got);
    }

private:
    int fd_ = -1;
    uint16_t port_ = 0;
};

TEST(Gvcp, ForceIpSendsMacAndSettingsAndTakesTheAcknowledge)
{
    Responder responder;
    auto command = std::async(std::launch::async, [&] { return responder.answerOnce(0x0000); });
    const KyrCamErr code = gvcpForceIp(0x7F000001, 0x7F000001, responder.port(), 0x00112233AABBull, 0x0A000005,
                                       0xFFFFFF00, 0x0A000001, 2000);
    const std::vector<uint8_t> packet = command.get();
    EXPECT_EQ(code, kOk);
    ASSERT_EQ(packet.size(), 8u + 56u);
    EXPECT_EQ(packet[0], 0x42);
    EXPECT_EQ(packet[1] & 0x01, 0x01) << "acknowledge required";
    EXPECT_EQ((packet[2] << 8) | packet[3], 0x0004) << "FORCEIP_CMD";
    EXPECT_EQ((packet[4] << 8) | packet[5], 56);
    const uint8_t *payload = packet.data() + 8;
    EXPECT_EQ((payload[2] << 8) | payload[3], 0x0011);
    EXPECT_EQ(be32(payload + 4), 0x2233AABBu);
    EXPECT_EQ(be32(payload + 20), 0x0A000005u);
    EXPECT_EQ(be32(payload + 36), 0xFFFFFF00u);
    EXPECT_EQ(be32(payload + 52), 0x0A000001u);
}

TEST(Gvcp, ForceIpRefusedOrUnansweredFails)
{
    Responder refusing;
    auto command = std::async(std::launch::async, [&] { return refusing.answerOnce(0x8001); });
    EXPECT_EQ(gvcpForceIp(0x7F000001, 0x7F000001, refusing.port(), 1, 0x0A000005, 0xFF000000, 0, 2000), kErrIo);
    command.get();

    Responder silent;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(gvcpForceIp(0x7F000001, 0x7F000001, silent.port(), 1, 0x0A000005, 0xFF000000, 0, 300), kErrTimeout);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// A camera that streams is there, whatever its control channel does: the
// watch reads nothing while frames come, and reports a silent camera lost
// once they stop.
TEST(LinkWatch, FramesStandInForReads)
{
    Responder silent;
    LinkWatch::Sign frames{ 0 };
    std::mutex mutex;
    std::condition_variable stopFrames;
    bool framesStopped = false;
    LinkWatch::mark(frames);
    std::thread camera([&] {
        std::unique_lock<std::mutex> lock(mutex);
        do
            LinkWatch::mark(frames);
        while (!stopFrames.wait_for(lock, std::chrono::milliseconds(10), [&] { return framesStopped; }));
    });
    std::promise<void> lost;
    std::future<void> lostReported = lost.get_future();
    LinkWatch watch(0x7F000001, silent.port(), frames, [&] { lost.set_value(); });

    // Longer than the silence after which a camera counts as lost.
    EXPECT_FALSE(silent.commandWithin(LinkWatch::kSilenceMs + 400));
    EXPECT_EQ(lostReported.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

    {
        std::lock_guard<std::mutex> lock(mutex);
        framesStopped = true;
    }
    stopFrames.notify_all();
    camera.join();
    EXPECT_TRUE(silent.commandWithin(2000));
    EXPECT_EQ(lostReported.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

TEST(Gvcp, Ipv4TextRoundTrip)
{
    uint32_t address = 0;
    EXPECT_TRUE(parseIpv4("192.168.0.1", address));
    EXPECT_EQ(address, 0xC0A80001u);
    EXPECT_EQ(formatIpv4(address), "192.168.0.1");
    for (const char *bad : { "", "1.2.3", "1.2.3.4.5", "256.0.0.1", "a.b.c.d" })
        EXPECT_FALSE(parseIpv4(bad, address)) << bad;
}

} // namespace
