// libKyrCameraGuiApi: the dialogs and tree views, each made, run and closed on
// the GUI thread that the display library hosts.
#include <gui/KyrCameraGui.h>

#include <memory>
#include <new>

#include <QPointer>

#include <display/KyrGuiHost.h>

#include "dialogs_private.h"
#include "gui_private.h"
#include "param_tree_private.h"

namespace KyrCameraGui {

namespace {

// Runs `work` on the GUI thread and waits for it, however long it takes once
// started (a modal dialog runs until the user closes it). False when there is
// no GUI. Exceptions (memory) end the work and count as not run.
template <typename Work>
bool onGuiThread(Work work) noexcept
{
    if (!KyrGuiHost::available())
        return false;
    bool done = false;
    const bool ran = KyrGuiHost::runBlocking(
        [&] {
            try {
                work();
                done = true;
            } catch (...) {
            }
        },
        kGuiWaitMs);
    return ran && done;
}

// The handle the caller holds. Its window lives on the GUI thread; the array
// access is what ClearParams cuts, from whichever thread calls it.
class TreeView final : public KyrGenParamTreeView
{
public:
    TreeView(std::shared_ptr<ArrayAccess> access, ParamTreeWindow *window)
        : access_(std::move(access))
        , window_(window)
    {
    }

    ~TreeView() override
    {
        access_->forget();
        // Closed on the GUI thread; if that is too busy to take it now, it
        // closes the window as soon as it can.
        QPointer<ParamTreeWindow> window = window_;
        auto close = [window] { delete window.data(); };
        if (!KyrGuiHost::runBlocking(close, kGuiWaitMs))
            KyrGuiHost::post(close);
    }

    void ClearParams() noexcept override
    {
        // Once forget() returns no feature is read again; the window shows
        // it when the GUI thread gets to it.
        access_->forget();
        QPointer<ParamTreeWindow> window = window_;
        KyrGuiHost::post([window] {
            if (window)
                window->showCleared();
        });
    }

private:
    const std::shared_ptr<ArrayAccess> access_;
    const QPointer<ParamTreeWindow> window_;
};

} // namespace

} // namespace KyrCameraGui

using namespace KyrCameraGui;

KyrCam::DeviceInfo *SelectCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent, bool rescan) noexcept
{
    if (!system)
        return nullptr;
    KyrCam::DeviceInfo *chosen = nullptr;
    onGuiThread([&] {
        SelectDialog dialog(system, titleText(title), rescan);
        placeOver(&dialog, parent);
        if (dialog.exec() == QDialog::Accepted)
            chosen = dialog.chosen();
    });
    return chosen;
}

int32_t ActionCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent) noexcept
{
    if (!system)
        return KyrCam::kErrInvalidParameter;
    const bool shown = onGuiThread([&] {
        ActionDialog dialog(system, titleText(title));
        placeOver(&dialog, parent);
        dialog.exec();
    });
    return shown ? KyrCam::kOk : KyrCam::kErrAccessDenied;
}

KyrGenParamTreeView *CreateGenParamTreeViewForArrayW(KyrGenParam::Array *array, const wchar_t *title,
                                                     void *parent) noexcept
{
    if (!array)
        return nullptr;
    std::shared_ptr<ArrayAccess> access;
    ParamTreeWindow *window = nullptr;
    try {
        access = std::make_shared<ArrayAccess>(array);
        if (!onGuiThread([&] {
                auto made = std::make_unique<ParamTreeWindow>(access, titleText(title));
                placeOver(made.get(), int64_t(reinterpret_cast<uintptr_t>(parent)));
                made->show();
                window = made.release();
            }))
            return nullptr;
        return new TreeView(access, window);
    } catch (const std::bad_alloc &) {
        // No handle for the caller: the window must not outlive this call.
        if (window) {
            access->forget();
            KyrGuiHost::post([window] { delete window; });
        }
        return nullptr;
    }
}

void DestroyGenParamTreeView(KyrGenParamTreeView *view) noexcept
{
    delete static_cast<TreeView *>(view);
}
