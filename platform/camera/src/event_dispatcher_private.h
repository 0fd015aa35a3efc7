// Device events: registrations per (owner, event id, callback, context) and
// one library thread that delivers them, each call holding the interpreter
// lock when the host runs Python and holding no lock of ours. The system owns
// the one dispatcher, so releasing a device never joins a thread that may wait
// for the interpreter lock its caller holds. Any thread; calls back on the
// dispatcher thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <camera/KyrCamApi.h>

namespace KyrCam {

class EventDispatcher
{
public:
    EventDispatcher();
    ~EventDispatcher();
    EventDispatcher(const EventDispatcher &) = delete;
    EventDispatcher &operator=(const EventDispatcher &) = delete;

    // Any event id: the device says which ones it can send. Codes:
    // kErrInvalidParameter (null callback), kErrOutOfMemory.
    KyrCamErr add(const void *owner, uint32_t eventId, EventCallback callback, void *context) noexcept;
    // Codes: kErrInvalidParameter (no such registration). Waits for a running
    // call of it unless the host runs Python or the caller is that call.
    KyrCamErr remove(const void *owner, uint32_t eventId, EventCallback callback, void *context) noexcept;
    // Whether `owner` has a registration for `eventId`.
    bool has(const void *owner, uint32_t eventId) noexcept;
    // Withdraws every registration of `owner`, with the waiting rule of remove.
    void removeAll(const void *owner) noexcept;
    // Queues an event of `owner` for delivery; returns at once.
    void post(const void *owner, uint32_t eventId, std::string data) noexcept;

private:
    struct Registration {
        const void *owner;
        uint32_t eventId;
        EventCallback callback;
        void *context;
        bool active = true;
    };
    struct Event {
        const void *owner;
        uint32_t eventId;
        std::string data;
    };

    void run();
    void deliver(const Event &event);
    void waitUntilIdle(std::unique_lock<std::mutex> &lock, const std::vector<std::shared_ptr<Registration>> &gone);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::vector<std::shared_ptr<Registration>> registrations_;
    std::deque<Event> pending_;
    std::shared_ptr<Registration> running_;
    bool started_ = false;
    bool stop_ = false;
    std::thread thread_;
};

} // namespace KyrCam
