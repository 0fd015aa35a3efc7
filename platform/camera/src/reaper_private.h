// Drops the last references of Aravis objects of lost devices on a thread of
// its own. Finalizing a GigE Vision device or stream sends the camera a last
// message (close the stream channel, give back control), and for a camera
// that is gone each waits for Aravis's full timeout and retries: seconds that
// a release must not take. Owned by the system; any thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <glib-object.h>

namespace KyrCam {

// Drops one reference of `object` once it is the last one, so that the
// object is finalized on this thread and never on one of its own (Aravis's
// heartbeat thread holds a reference while it reports a lost device; were it
// to drop the last one, it would finalize the device and join itself). Waits
// for the other references a few seconds at the most.
void unrefLast(GObject *object) noexcept;

class Reaper
{
public:
    // Starts the thread and returns once it runs.
    Reaper();
    // Cancels and joins the thread; objects not dropped yet are dropped here.
    ~Reaper();

    Reaper(const Reaper &) = delete;
    Reaper &operator=(const Reaper &) = delete;

    // Takes over one reference of `object` and drops it on the thread, with
    // unrefLast, after the objects handed over before.
    void drop(GObject *object) noexcept;

private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<GObject *> objects_;
    bool started_ = false;
    bool stop_ = false;
    std::thread thread_;
};

} // namespace KyrCam
