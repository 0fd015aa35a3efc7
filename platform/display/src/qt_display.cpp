// libKyrDisplayQt: the display on Qt 6 Widgets.
#include <display/KyrDisplay.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QMetaObject>
#include <QWindow>

#include <display/KyrGuiHost.h>

#include "display_widget_private.h"

namespace KyrDisplayQt {

namespace {

// How long a caller waits for the GUI thread to make or close a window.
constexpr int kGuiWaitMs = 5000;

bool isAuto(const char *mode) noexcept
{
    return mode && std::strcmp(mode, "auto") == 0;
}

// The window of this process with that id, or null. Only windows that have
// a native window are looked at (asking others for an id would make one).
QWindow *ownWindow(WId id)
{
    for (QWindow *window : QGuiApplication::allWindows()) {
        if (window->handle() && window->winId() == id)
            return window;
    }
    return nullptr;
}

// Owner thread for CreateDisplay and Release; ConfigureForImage and ShowImage
// from any thread.
class QtDisplay final : public KyrDisplay
{
public:
    int32_t CreateDisplay(uint64_t window, const char *mode, uint32_t flags) noexcept override
    {
        if (!isAuto(mode) || flags != 0)
            return kKyrDisplayErrInvalidParameter;
        if (widget_)
            return kKyrDisplayErrInvalidState;
        int32_t status = kKyrDisplayErrInvalidParameter;
        DisplayWidget *made = nullptr;
        const bool ran = KyrGuiHost::runBlocking([&] {
            auto widget = std::make_unique<DisplayWidget>(slot_);
            if (window != 0) {
                QWindow *parent = ownWindow(WId(window));
                const bool foreign = parent == nullptr;
                if (foreign)
                    parent = QWindow::fromWinId(WId(window));
                // A foreign window that does not exist comes back without a
                // size the server confirmed.
                if (!parent || (foreign && !xWindowExists(window))) {
                    delete parent;
                    return;
                }
                widget->embedIn(parent, foreign);
                if (foreign)
                    foreignParent_.reset(parent);
            }
            widget->show();
            made = widget.release();
            status = kKyrDisplayOk;
        }, kGuiWaitMs);
        if (!ran)
            return kKyrDisplayErrTimeout;
        widget_ = made;
        return status;
    }

    int32_t ConfigureForImage(const KyrImage *image, const char *mode) noexcept override
    {
        if (!image || !isAuto(mode) || image->width == 0 || image->height == 0 || !isShowable(image->pixelType))
            return kKyrDisplayErrInvalidParameter;
        if (!widget_)
            return kKyrDisplayErrInvalidState;
        const uint32_t width = image->width, height = image->height;
        DisplayWidget *widget = widget_;
        QMetaObject::invokeMethod(widget, [widget, width, height] { widget->configureFor(width, height); },
                                  Qt::QueuedConnection);
        return kKyrDisplayOk;
    }

    int32_t ShowImage(const KyrImage *image) noexcept override
    {
        if (!image)
            return kKyrDisplayErrInvalidParameter;
        std::unique_ptr<Frame> frame;
        try {
            frame = slot_->spare();
        } catch (const std::bad_alloc &) {
            return kKyrDisplayErrOutOfMemory;
        }
        const int32_t status = frame->assign(*image);
        if (status != kKyrDisplayOk) {
            slot_->recycle(std::move(frame));
            return status;
        }
        if (slot_->publish(std::move(frame)) && widget_) {
            DisplayWidget *widget = widget_;
            QMetaObject::invokeMethod(widget, [widget] { widget->frameArrived(); }, Qt::QueuedConnection);
        }
        return kKyrDisplayOk;
    }

    void Release() noexcept override
    {
        DisplayWidget *widget = widget_;
        std::unique_ptr<QWindow> foreign = std::move(foreignParent_);
        QWindow *parent = foreign.release();
        const bool closed = KyrGuiHost::runBlocking([widget, parent] {
            delete widget;
            delete parent;
        }, kGuiWaitMs);
        if (!closed && widget) {
            // The GUI thread is stuck: the window goes when it runs again.
            QMetaObject::invokeMethod(widget, [widget, parent] {
                delete widget;
                delete parent;
            }, Qt::QueuedConnection);
        }
        delete this;
    }

private:
    ~QtDisplay() override = default;

    static bool xWindowExists(uint64_t window)
    {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
        if (!connection)
            return false;
        xcb_get_geometry_reply_t *reply =
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, xcb_drawable_t(window)), nullptr);
        const bool exists = reply != nullptr;
        std::free(reply);
        return exists;
    }

    std::shared_ptr<FrameSlot> slot_ = std::make_shared<FrameSlot>();
    // Made and deleted on the GUI thread; the pointer is only passed along
    // from other threads.
    DisplayWidget *widget_ = nullptr;
    std::unique_ptr<QWindow> foreignParent_;
};

} // namespace

} // namespace KyrDisplayQt

KyrDisplay *KyrDisplay::CreateComponent() noexcept
{
    if (!KyrGuiHost::available())
        return nullptr;
    try {
        return new KyrDisplayQt::QtDisplay();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

uint64_t KyrDisplay_FramesDrawn() noexcept
{
    return KyrDisplayQt::drawnFrames().count();
}

uint64_t KyrDisplay_WaitFramesDrawn(uint64_t seen, uint32_t timeoutMs) noexcept
{
    return KyrDisplayQt::drawnFrames().waitBeyond(seen, std::chrono::milliseconds(timeoutMs));
}

void KyrDisplay_ShutdownGui() noexcept
{
    KyrGuiHost::shutdown();
}
