// The event thread of a scripted device: it delivers the events a test fires
// to the callbacks registered for their id, each call holding the interpreter
// lock when the host runs Python. A callback that throws loses that event;
// delivery goes on.
//
// Threads: calls back on the event thread; everything else from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include <camera/KyrCamApi.h>

namespace Scripted {

class EventHub;

class ScriptedEvents
{
public:
    // Starts the event thread and returns once it runs.
    ScriptedEvents();
    // Stops the thread: cancels it and joins it, unless it is delivering an
    // event (it may be waiting for the interpreter lock that the caller holds)
    // or this is the thread itself; then it ends on its own without calling
    // anything more.
    ~ScriptedEvents();

    ScriptedEvents(const ScriptedEvents &) = delete;
    ScriptedEvents &operator=(const ScriptedEvents &) = delete;

    // Registering the same (id, callback, context) twice keeps one.
    void add(uint32_t eventId, KyrCam::EventCallback callback, void *context);
    // kErrInvalidParameter when there is no such registration. No call starts
    // after it returns; outside Python it also waits for a running call,
    // unless made from that call.
    KyrCamErr remove(uint32_t eventId, KyrCam::EventCallback callback, void *context);

    // The hub to fire events at; it outlives this object while in use.
    std::shared_ptr<EventHub> hub() const { return hub_; }

private:
    std::shared_ptr<EventHub> hub_;
    std::thread thread_;
};

// Queues an event for delivery and waits up to `timeoutMs` until it was
// delivered. The number of callbacks that got it, or -1 when it was not
// delivered in time or the thread stopped.
int fireEvent(EventHub &hub, uint32_t eventId, std::vector<uint8_t> data, int timeoutMs);

} // namespace Scripted
