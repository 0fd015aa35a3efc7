#include "link_watch_private.h"

#include <algorithm>

#include "gvcp_private.h"

namespace KyrCam {

namespace {

constexpr int kPollMs = 150;
constexpr int kReadTimeoutMs = 250;

} // namespace

void LinkWatch::mark(Sign &sign) noexcept
{
    sign.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
}

LinkWatch::LinkWatch(uint32_t address, uint16_t port, const Sign &frames, std::function<void()> lost)
    : address_(address), port_(port), frames_(frames), lost_(std::move(lost)), thread_([this] { run(); })
{
}

LinkWatch::~LinkWatch()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void LinkWatch::run()
{
    const auto poll = std::chrono::milliseconds(kPollMs);
    // How long after a frame the first read may wait and still report a
    // camera that fell silent with that frame within the bound.
    static_assert(kSilenceMs > kReadTimeoutMs + kPollMs, "no time left to read");
    const auto quiet = std::chrono::milliseconds(kSilenceMs - kReadTimeoutMs - kPollMs);
    Clock::time_point lastAnswer = Clock::now();
    Clock::time_point next = lastAnswer + poll;
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (wake_.wait_until(lock, next, [this] { return stopping_; }))
                return;
        }
        const Clock::time_point frame{ Clock::duration(frames_.load(std::memory_order_relaxed)) };
        lastAnswer = std::max(lastAnswer, frame);
        // Frames are coming, so the camera is there: look again once they
        // may have stopped.
        if (Clock::now() - frame < quiet) {
            next = frame + quiet;
            continue;
        }
        uint32_t privilege = 0;
        if (gvcpReadRegister(address_, port_, kGvcpRegControlChannelPrivilege, kReadTimeoutMs, privilege) == kOk) {
            lastAnswer = Clock::now();
        } else if (Clock::now() - lastAnswer >= std::chrono::milliseconds(kSilenceMs)) {
            lost_();
            return;
        }
        next = Clock::now() + poll;
    }
}

} // namespace KyrCam
