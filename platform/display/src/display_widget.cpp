#include "display_widget_private.h"

#include <cstdlib>

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QWindow>

namespace KyrDisplayQt {

DrawnFrames &drawnFrames()
{
    static auto *frames = new DrawnFrames;
    return *frames;
}

void DrawnFrames::add() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++count_;
    }
    changed_.notify_all();
}

uint64_t DrawnFrames::count() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

uint64_t DrawnFrames::waitBeyond(uint64_t seen, std::chrono::milliseconds timeout) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return count_ > seen; });
    return count_;
}

std::unique_ptr<Frame> FrameSlot::spare()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (spare_)
            return std::move(spare_);
    }
    return std::make_unique<Frame>();
}

bool FrameSlot::publish(std::unique_ptr<Frame> frame)
{
    std::unique_ptr<Frame> dropped;
    std::lock_guard<std::mutex> lock(mutex_);
    dropped = std::move(waiting_);
    waiting_ = std::move(frame);
    if (dropped && !spare_)
        spare_ = std::move(dropped);
    const bool wake = !wakeQueued_;
    wakeQueued_ = true;
    return wake;
}

std::unique_ptr<Frame> FrameSlot::take()
{
    std::lock_guard<std::mutex> lock(mutex_);
    wakeQueued_ = false;
    return std::move(waiting_);
}

void FrameSlot::recycle(std::unique_ptr<Frame> frame)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!spare_)
        spare_ = std::move(frame);
}

// Follows the size of a window of another X client, which Qt does not track
// (a foreign QWindow reports no size): its size when the filter is made, then
// its ConfigureNotify events, selected on the application's connection first
// so that no change falls between the two.
class DisplayWidget::ForeignResizeFilter final : public QAbstractNativeEventFilter
{
public:
    ForeignResizeFilter(DisplayWidget *widget, xcb_window_t window)
        : widget_(widget), window_(window)
    {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
        if (!connection)
            return;
        xcb_get_window_attributes_reply_t *attributes =
            xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, window), nullptr);
        const uint32_t mask = (attributes ? attributes->your_event_mask : 0) | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        std::free(attributes);
        xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &mask);
        QCoreApplication::instance()->installNativeEventFilter(this);
        xcb_get_geometry_reply_t *geometry =
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr);
        if (geometry)
            widget_->setGeometry(0, 0, geometry->width, geometry->height);
        std::free(geometry);
    }

    ~ForeignResizeFilter() override
    {
        if (QCoreApplication::instance())
            QCoreApplication::instance()->removeNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        if (type != "xcb_generic_event_t")
            return false;
        auto *event = static_cast<xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7F) != XCB_CONFIGURE_NOTIFY)
            return false;
        auto *configure = reinterpret_cast<xcb_configure_notify_event_t *>(event);
        if (configure->window == window_)
            widget_->setGeometry(0, 0, configure->width, configure->height);
        return false;
    }

private:
    DisplayWidget *widget_;
    xcb_window_t window_;
};

DisplayWidget::DisplayWidget(std::shared_ptr<FrameSlot> slot)
    : slot_(std::move(slot))
{
    // Every pixel is painted each time: no background fill first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setWindowTitle(QStringLiteral("KyrCameraApiPy display"));
    resize(640, 480);
}

DisplayWidget::~DisplayWidget()
{
    // A parent window that outlives the widget keeps no pointer to it.
    if (parent_ && windowHandle())
        windowHandle()->setParent(nullptr);
}

void DisplayWidget::embedIn(QWindow *parent, bool foreign)
{
    parent_ = parent;
    setAttribute(Qt::WA_NativeWindow);
    winId();
    windowHandle()->setParent(parent);
    if (foreign) {
        foreignFilter_ = std::make_unique<ForeignResizeFilter>(this, xcb_window_t(parent->winId()));
        return;
    }
    parent->installEventFilter(this);
    // When the parent goes first, it would take the widget's window along.
    connect(parent, &QObject::destroyed, this, [this] {
        if (windowHandle())
            windowHandle()->setParent(nullptr);
        hide();
    });
    setGeometry(0, 0, parent->width(), parent->height());
}

void DisplayWidget::configureFor(uint32_t width, uint32_t height)
{
    if (parent_)
        return;
    QSize size{ int(width), int(height) };
    if (QScreen *screen = this->screen()) {
        const QSize room = screen->availableGeometry().size();
        if (size.width() > room.width() || size.height() > room.height())
            size.scale(room, Qt::KeepAspectRatio);
    }
    resize(size.expandedTo(QSize(1, 1)));
}

void DisplayWidget::frameArrived()
{
    update();
}

bool DisplayWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent_ && event->type() == QEvent::Resize)
        setGeometry(0, 0, parent_->width(), parent_->height());
    return false;
}

void DisplayWidget::paintEvent(QPaintEvent *)
{
    if (std::unique_ptr<Frame> newest = slot_->take()) {
        if (current_)
            slot_->recycle(std::move(current_));
        current_ = std::move(newest);
        currentDrawn_ = false;
    }
    QPainter painter(this);
    if (!current_) {
        painter.fillRect(rect(), Qt::black);
        return;
    }
    QSize fitted{ int(current_->image.width), int(current_->image.height) };
    fitted.scale(size(), Qt::KeepAspectRatio);
    fitted = fitted.expandedTo(QSize(1, 1));
    const QRect target(QPoint((width() - fitted.width()) / 2, (height() - fitted.height()) / 2), fitted);
    if (!currentDrawn_ || image_.size() != fitted) {
        renderer_.render(*current_, fitted, image_);
        if (!currentDrawn_)
            drawnFrames().add();
        currentDrawn_ = true;
    }
    // The bars around the image, then the image itself.
    const QRegion bars = QRegion(rect()).subtracted(QRegion(target));
    for (const QRect &bar : bars)
        painter.fillRect(bar, Qt::black);
    painter.drawImage(target.topLeft(), image_);
}

} // namespace KyrDisplayQt
