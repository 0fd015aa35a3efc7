// The widget a display draws in, and the slot through which frames reach it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include <QImage>
#include <QPointer>
#include <QWidget>

#include "frame_renderer_private.h"

class QWindow;

namespace KyrDisplayQt {

// The newest frame not drawn yet, and spare copies for the next ones: callers
// fill a spare and swap it in, so at most three copies exist (one being
// filled, one waiting, one drawn) however fast frames come. Any thread.
class FrameSlot
{
public:
    // A frame to fill (a spare, or a new one).
    std::unique_ptr<Frame> spare();
    // Makes `frame` the waiting one (an older waiting one becomes a spare).
    // True when the GUI thread must be woken: nothing was waiting.
    bool publish(std::unique_ptr<Frame> frame);
    // The waiting frame, or null.
    std::unique_ptr<Frame> take();
    void recycle(std::unique_ptr<Frame> frame);

private:
    std::mutex mutex_;
    std::unique_ptr<Frame> waiting_;
    std::unique_ptr<Frame> spare_;
    bool wakeQueued_ = false;
};

// Frames drawn by every display of the process, counted on the GUI thread;
// read and waited on from any thread.
class DrawnFrames
{
public:
    void add() noexcept;
    uint64_t count() noexcept;
    // The count once it exceeds `seen`, or when `timeout` has passed.
    uint64_t waitBeyond(uint64_t seen, std::chrono::milliseconds timeout) noexcept;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t count_ = 0;
};

// The process's count. Never destroyed: the GUI thread may still draw while
// the process's exit handlers run.
DrawnFrames &drawnFrames();

// GUI thread only. Draws the newest frame scaled to fit, aspect kept, black
// around it; a window of its own or a child of a native window it follows in
// size.
class DisplayWidget final : public QWidget
{
public:
    explicit DisplayWidget(std::shared_ptr<FrameSlot> slot);
    ~DisplayWidget() override;

    // Embeds the widget in `parent` and keeps it at the parent's size.
    void embedIn(QWindow *parent, bool foreign);
    // Sizes a window of its own for frames of this size, within the screen.
    void configureFor(uint32_t width, uint32_t height);
    // A new frame waits in the slot.
    void frameArrived();

protected:
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    class ForeignResizeFilter;

    std::shared_ptr<FrameSlot> slot_;
    std::unique_ptr<Frame> current_;
    bool currentDrawn_ = false;
    QImage image_;
    FrameRenderer renderer_;
    QPointer<QWindow> parent_;
    std::unique_ptr<ForeignResizeFilter> foreignFilter_;
};

} // namespace KyrDisplayQt
