#include "event_dispatcher_private.h"

#include <algorithm>

#include "interpreter_lock.h"

namespace KyrCam {

EventDispatcher::EventDispatcher()
{
    thread_ = std::thread([this] { run(); });
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return started_; });
}

EventDispatcher::~EventDispatcher()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

KyrCamErr EventDispatcher::add(const void *owner, uint32_t eventId, EventCallback callback, void *context) noexcept
{
    if (!callback)
        return kErrInvalidParameter;
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto &entry : registrations_) {
            if (entry->owner == owner && entry->eventId == eventId && entry->callback == callback &&
                entry->context == context)
                return kOk;
        }
        registrations_.push_back(std::make_shared<Registration>(Registration{ owner, eventId, callback, context }));
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

bool EventDispatcher::has(const void *owner, uint32_t eventId) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(registrations_.begin(), registrations_.end(),
                       [&](const auto &entry) { return entry->owner == owner && entry->eventId == eventId; });
}

KyrCamErr EventDispatcher::remove(const void *owner, uint32_t eventId, EventCallback callback, void *context) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    auto found = std::find_if(registrations_.begin(), registrations_.end(), [&](const auto &entry) {
        return entry->owner == owner && entry->eventId == eventId && entry->callback == callback &&
               entry->context == context;
    });
    if (found == registrations_.end())
        return kErrInvalidParameter;
    std::vector<std::shared_ptr<Registration>> gone{ *found };
    (*found)->active = false;
    registrations_.erase(found);
    waitUntilIdle(lock, gone);
    return kOk;
}

void EventDispatcher::removeAll(const void *owner) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    std::vector<std::shared_ptr<Registration>> gone;
    for (const auto &entry : registrations_) {
        if (entry->owner == owner) {
            entry->active = false;
            gone.push_back(entry);
        }
    }
    registrations_.erase(std::remove_if(registrations_.begin(), registrations_.end(),
                                        [&](const auto &entry) { return entry->owner == owner; }),
                         registrations_.end());
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(), [&](const Event &event) { return event.owner == owner; }),
                   pending_.end());
    waitUntilIdle(lock, gone);
}

// A call that is running finishes on its own. When the host runs Python the
// caller holds the interpreter lock that call may be waiting for, so only a
// plain C++ host waits, and never the callback itself.
void EventDispatcher::waitUntilIdle(std::unique_lock<std::mutex> &lock,
                                    const std::vector<std::shared_ptr<Registration>> &gone)
{
    if (std::this_thread::get_id() == thread_.get_id() || InterpreterLock::hostRunsPython())
        return;
    idle_.wait(lock, [&] { return std::find(gone.begin(), gone.end(), running_) == gone.end(); });
}

void EventDispatcher::post(const void *owner, uint32_t eventId, std::string data) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.push_back(Event{ owner, eventId, std::move(data) });
    } catch (...) {
        return;
    }
    wake_.notify_all();
}

void EventDispatcher::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    started_ = true;
    wake_.notify_all();
    for (;;) {
        wake_.wait(lock, [this] { return stop_ || !pending_.empty(); });
        if (stop_)
            return;
        Event event = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        deliver(event);
        lock.lock();
    }
}

void EventDispatcher::deliver(const Event &event)
{
    std::vector<std::shared_ptr<Registration>> targets;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto &entry : registrations_) {
            if (entry->owner == event.owner && entry->eventId == event.eventId)
                targets.push_back(entry);
        }
    }
    for (const auto &target : targets) {
        // The interpreter lock comes before the check: a Python thread that
        // unregisters holds it, and may free the context as soon as it lets go,
        // so a registration seen active under it stays valid for the call.
        InterpreterLock interpreter;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!target->active || stop_)
                continue;
            running_ = target;
        }
        try {
            target->callback(event.data.data(), static_cast<unsigned long>(event.data.size()), target->context);
        } catch (...) {
            // A callback must not throw: the event is dropped for it.
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            running_.reset();
        }
        idle_.notify_all();
    }
}

} // namespace KyrCam
