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
    Clock::time_point lastAnswer = Clock::now();
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (wake_.wait_for(lock, poll, [this] { return stopping_; }))
                return;
        }
        const Clock::time_point frame{ Clock::duration(frames_.load(std::memory_order_relaxed)) };
        lastAnswer = std::max(lastAnswer, frame);
        // A frame came since the last look: the camera is there.
        if (Clock::now() - frame < poll)
            continue;
        uint32_t privilege = 0;
        if (gvcpReadRegister(address_, port_, kGvcpRegControlChannelPrivilege, kReadTimeoutMs, privilege) == kOk) {
            lastAnswer = Clock::now();
            continue;
        }
        if (Clock::now() - lastAnswer >= std::chrono::milliseconds(kSilenceMs)) {
            lost_();
            return;
        }
    }
}

} // namespace KyrCam
