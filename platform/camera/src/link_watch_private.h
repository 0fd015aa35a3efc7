// Notices a GigE Vision camera that stopped answering long before Aravis's
// heartbeat gives up on it (several seconds of retries): reads the control
// channel privilege register every few hundred milliseconds on a socket of
// its own (any host may read it) and reports the camera lost once it has not
// answered for kSilenceMs. Runs a thread of its own; its destructor stops it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace KyrCam {

class LinkWatch
{
public:
    // How long a camera may stay silent before it counts as lost; with the
    // poll period and the read's own time-out the loss is reported within
    // 1.5 s of the camera's last answer.
    static constexpr int kSilenceMs = 1100;

    // Watches the camera at `address` (host byte order); `lost` runs once,
    // on the watch's thread.
    LinkWatch(uint32_t address, std::function<void()> lost);
    // Stops watching; returns once the thread has ended (at most one read's
    // time-out, or the `lost` call in progress).
    ~LinkWatch();

    LinkWatch(const LinkWatch &) = delete;
    LinkWatch &operator=(const LinkWatch &) = delete;

private:
    void run();

    const uint32_t address_;
    const std::function<void()> lost_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;  // under mutex_
    std::thread thread_;
};

} // namespace KyrCam
