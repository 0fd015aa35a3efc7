#include "reaper_private.h"

#include <chrono>

#include "aravis_support_private.h"

namespace KyrCam {

namespace {

constexpr std::chrono::seconds kLastReferenceWait(5);

struct LastReference {
    std::mutex mutex;
    std::condition_variable isLast;
};

void onToggle(gpointer data, GObject *, gboolean isLast)
{
    if (!isLast)
        return;
    auto *last = static_cast<LastReference *>(data);
    {
        // Orders the wake-up after a waiter's check of the count.
        std::lock_guard<std::mutex> lock(last->mutex);
    }
    last->isLast.notify_all();
}

} // namespace

void unrefLast(GObject *object) noexcept
{
    LastReference last;
    // Ours becomes a toggle reference, which tells when it is the last one.
    g_object_add_toggle_ref(object, onToggle, &last);
    g_object_unref(object);
    {
        std::unique_lock<std::mutex> lock(last.mutex);
        if (!last.isLast.wait_for(lock, kLastReferenceWait,
                                  [object] { return g_atomic_int_get(&object->ref_count) == 1; }))
            logDebug("reaper: another reference outlives %s", G_OBJECT_TYPE_NAME(object));
    }
    g_object_remove_toggle_ref(object, onToggle, &last);
}

Reaper::Reaper()
{
    thread_ = std::thread([this] { run(); });
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return started_; });
}

Reaper::~Reaper()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
    for (GObject *object : objects_)
        unrefLast(object);
}

void Reaper::drop(GObject *object) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        objects_.push_back(object);
    } catch (...) {
        unrefLast(object);
        return;
    }
    wake_.notify_all();
}

void Reaper::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    started_ = true;
    wake_.notify_all();
    for (;;) {
        wake_.wait(lock, [this] { return stop_ || !objects_.empty(); });
        if (stop_)
            return;
        GObject *object = objects_.front();
        objects_.pop_front();
        lock.unlock();
        unrefLast(object);
        lock.lock();
    }
}

} // namespace KyrCam
