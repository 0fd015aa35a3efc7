// Notices a GigE Vision camera that stopped answering long before Aravis's
// heartbeat gives up on it (several seconds of retries): reads the control
// channel privilege register every few hundred milliseconds on a socket of
// its own (any host may read it) and reports the camera lost once it has not
// answered for kSilenceMs. A complete frame counts as an answer: while the
// camera streams, the watch reads nothing and wakes up about once a second,
// as each read, and each wake-up, costs the process more CPU than a frame's
// whole hand-over. Runs a thread of its own; its destructor stops it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace KyrCam {

class LinkWatch
{
public:
    using Clock = std::chrono::steady_clock;
    // When the camera last showed some other way that it is there, in Clock
    // ticks; 0 is never.
    using Sign = std::atomic<Clock::rep>;

    // Stores now in `sign`; any thread.
    static void mark(Sign &sign) noexcept;

    // How long a camera may stay silent before it counts as lost; with the
    // poll period and the read's own time-out the loss is reported within
    // 1.5 s of the camera's last answer.
    static constexpr int kSilenceMs = 1100;

    // Watches the camera at `address` (host byte order) and GVCP `port`;
    // `lost` runs once, on the watch's thread. `frames` is marked on each
    // complete frame and outlives the watch.
    LinkWatch(uint32_t address, uint16_t port, const Sign &frames, std::function<void()> lost);
    // Stops watching; returns once the thread has ended (at most one read's
    // time-out, or the `lost` call in progress).
    ~LinkWatch();

    LinkWatch(const LinkWatch &) = delete;
    LinkWatch &operator=(const LinkWatch &) = delete;

private:
    void run();

    const uint32_t address_;
    const uint16_t port_;
    const Sign &frames_;
    const std::function<void()> lost_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;  // under mutex_
    std::thread thread_;
};

} // namespace KyrCam
