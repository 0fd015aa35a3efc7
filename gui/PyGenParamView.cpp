#include "PyGenParamView.h"

#include <atomic>
#include <mutex>

#include <gui/KyrCameraGui.h>

namespace KyrGuiPy {

// The native view, shared between its wrapper and the hook on the array's
// lifetime. The GUI library serves every call on its GUI thread, so they run
// without the interpreter lock; the mutex orders them, so that a view is
// neither freed under a clear that another thread runs nor opened after its
// array's lifetime ended.
class PyGenParamView::Slot : public KyrCamPy::Lifetime::Hook
{
public:
    void open(KyrGenParam::Array *array, const KyrCamPy::Lifetime::Ref &lifetime, const wchar_t *title, void *parent)
    {
        KyrCamPy::NativeCall call(lifetime);
        std::lock_guard<std::mutex> lock(mutex_);
        if (!arrayEnded_)
            view_ = CreateGenParamTreeViewForArrayW(array, title, parent);
        if (!view_)
            spent_ = true;
    }

    void destroy()
    {
        KyrCamPy::NativeCall unlocked;
        std::lock_guard<std::mutex> lock(mutex_);
        if (view_)
            DestroyGenParamTreeView(view_);
        view_ = nullptr;
        spent_ = true;
    }

    // Empties the view before the array goes.
    void ended() override
    {
        KyrCamPy::NativeCall unlocked;
        std::lock_guard<std::mutex> lock(mutex_);
        arrayEnded_ = true;
        if (view_)
            view_->ClearParams();
    }

    // Read under the interpreter lock, so it must not wait for the mutex.
    bool spent() const override { return spent_; }

private:
    std::mutex mutex_;
    KyrGenParamTreeView *view_ = nullptr;  // under mutex_
    bool arrayEnded_ = false;              // under mutex_
    std::atomic<bool> spent_{ false };     // no view any more, or none opened
};

PyGenParamView::PyGenParamView(KyrGenParam::Array *array, const KyrCamPy::Lifetime::Ref &arrayLifetime,
                               const wchar_t *title, void *parent)
    : slot_(std::make_shared<Slot>())
{
    // Hooked before opening: a Release on another thread then either ends
    // the lifetime first (no view is opened) or clears the view just made.
    if (arrayLifetime)
        arrayLifetime->onEnd(slot_);
    slot_->open(array, arrayLifetime, title, parent);
}

void PyGenParamView::release()
{
    slot_->destroy();
}

} // namespace KyrGuiPy
