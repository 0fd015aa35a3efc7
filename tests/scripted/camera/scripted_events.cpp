#include "scripted_events.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "interpreter_lock.h"

namespace Scripted {

struct Registration {
    uint32_t eventId;
    KyrCam::EventCallback callback;
    void *context;

    bool operator==(const Registration &other) const
    {
        return eventId == other.eventId && callback == other.callback && context == other.context;
    }
};

struct Delivery {
    bool done = false;
    int calls = 0;
};

struct Event {
    uint32_t eventId;
    std::vector<uint8_t> data;
    std::shared_ptr<Delivery> delivery;
};

// What the owner, the firing tests and the event thread share; the thread
// keeps it alive, so an owner may leave without waiting for the thread.
class EventHub
{
public:
    std::mutex mutex;
    std::condition_variable wake;    // an event came, or the thread is to stop
    std::condition_variable change;  // the thread started, or finished an event
    std::deque<Event> events;
    std::vector<Registration> registrations;
    std::thread::id thread;
    bool started = false;
    bool cancelled = false;
    bool delivering = false;

    void run();

private:
    int deliver(const Event &event);
};

void EventHub::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    thread = std::this_thread::get_id();
    started = true;
    change.notify_all();
    for (;;) {
        wake.wait(lock, [this] { return cancelled || !events.empty(); });
        if (cancelled)
            break;
        Event event = std::move(events.front());
        events.pop_front();
        delivering = true;
        lock.unlock();
        const int calls = deliver(event);
        lock.lock();
        delivering = false;
        event.delivery->calls = calls;
        event.delivery->done = true;
        change.notify_all();
    }
}

int EventHub::deliver(const Event &event)
{
    std::vector<Registration> targets;
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (const Registration &registration : registrations) {
            if (registration.eventId == event.eventId)
                targets.push_back(registration);
        }
    }
    int calls = 0;
    for (const Registration &target : targets) {
        // The interpreter lock first: a Python thread that unregisters or
        // stops the thread holds it, so once it is taken their word is final.
        KyrCam::InterpreterLock interpreter;
        {
            std::lock_guard<std::mutex> lock(mutex);
            const bool stillRegistered =
                std::find(registrations.begin(), registrations.end(), target) != registrations.end();
            if (cancelled || !stillRegistered)
                continue;
        }
        try {
            target.callback(event.data.data(), static_cast<unsigned long>(event.data.size()), target.context);
            ++calls;
        } catch (...) {
            // The contract's promise: a throwing callback loses its event.
        }
    }
    return calls;
}

ScriptedEvents::ScriptedEvents()
    : hub_(std::make_shared<EventHub>())
{
    thread_ = std::thread([hub = hub_] { hub->run(); });
    std::unique_lock<std::mutex> lock(hub_->mutex);
    hub_->change.wait(lock, [this] { return hub_->started; });
}

ScriptedEvents::~ScriptedEvents()
{
    bool busy = false;
    {
        std::lock_guard<std::mutex> lock(hub_->mutex);
        hub_->cancelled = true;
        busy = hub_->delivering;
    }
    hub_->wake.notify_all();
    hub_->change.notify_all();
    if (busy || thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void ScriptedEvents::add(uint32_t eventId, KyrCam::EventCallback callback, void *context)
{
    std::lock_guard<std::mutex> lock(hub_->mutex);
    const Registration registration{ eventId, callback, context };
    if (std::find(hub_->registrations.begin(), hub_->registrations.end(), registration) ==
        hub_->registrations.end())
        hub_->registrations.push_back(registration);
}

KyrCamErr ScriptedEvents::remove(uint32_t eventId, KyrCam::EventCallback callback, void *context)
{
    std::unique_lock<std::mutex> lock(hub_->mutex);
    auto &registrations = hub_->registrations;
    const auto found = std::find(registrations.begin(), registrations.end(), Registration{ eventId, callback, context });
    if (found == registrations.end())
        return KyrCam::kErrInvalidParameter;
    registrations.erase(found);
    // With Python the caller holds the interpreter lock a running call may
    // wait for, so only a plain host waits.
    if (!KyrCam::InterpreterLock::hostRunsPython() && hub_->thread != std::this_thread::get_id())
        hub_->change.wait(lock, [this] { return !hub_->delivering; });
    return KyrCam::kOk;
}

int fireEvent(EventHub &hub, uint32_t eventId, std::vector<uint8_t> data, int timeoutMs)
{
    auto delivery = std::make_shared<Delivery>();
    std::unique_lock<std::mutex> lock(hub.mutex);
    if (hub.cancelled)
        return -1;
    hub.events.push_back(Event{ eventId, std::move(data), delivery });
    hub.wake.notify_all();
    const bool ended = hub.change.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                           [&] { return delivery->done || hub.cancelled; });
    return ended && delivery->done ? delivery->calls : -1;
}

} // namespace Scripted
