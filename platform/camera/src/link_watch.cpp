#include "link_watch_private.h"

#include <chrono>

#include "gvcp_private.h"

namespace KyrCam {

namespace {

constexpr int kPollMs = 150;
constexpr int kReadTimeoutMs = 250;

} // namespace

LinkWatch::LinkWatch(uint32_t address, std::function<void()> lost)
    : address_(address), lost_(std::move(lost)), thread_([this] { run(); })
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
    using Clock = std::chrono::steady_clock;
    Clock::time_point lastAnswer = Clock::now();
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (wake_.wait_for(lock, std::chrono::milliseconds(kPollMs), [this] { return stopping_; }))
                return;
        }
        uint32_t privilege = 0;
        if (gvcpReadRegister(address_, kGvcpPort, kGvcpRegControlChannelPrivilege, kReadTimeoutMs, privilege) ==
            kOk) {
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
