// libKyrDisplayQt: a window that shows camera images.
#pragma once

#include <cstdint>

struct KyrImage;

#define KYRDISPLAY_API __attribute__((visibility("default")))

// Codes of the display calls (the camera library's values).
constexpr int32_t kKyrDisplayOk = 0;
constexpr int32_t kKyrDisplayErrTimeout = -1011;          // the GUI thread did not answer in time
constexpr int32_t kKyrDisplayErrNotAvailable = -1014;     // the window is gone
constexpr int32_t kKyrDisplayErrInvalidParameter = -1009; // see each call
constexpr int32_t kKyrDisplayErrOutOfMemory = -1021;
constexpr int32_t kKyrDisplayErrInvalidState = -40051;    // already shown, or not shown yet

// A display draws images into a window of its own, or embedded in a native
// window of the caller. Any thread: drawing happens on the process's GUI
// thread (a Qt application's, or one the library starts on first use when the
// process has none; see KyrGuiHost.h).
//
// Pixel types shown: Mono8 to Mono16 (the top eight bits of the type's bit
// depth), Mono10Packed, Mono12Packed, Mono10p and Mono12p (unpacked by
// libKyrImageUnpacker), Bayer 8 to 16 bits and the packed and "p" Bayer types
// (demosaiced), RGB8, BGR8, RGBa8, BGRa8 (alpha ignored), RGB10 to RGB16 and
// BGR10 to BGR16, and YUV422_8_UYVY, YUV422_8, YUV422_10, YUV422_10_PACKED,
// YUV444_8 and YCbCr422_8 (full-range BT.601). The other types of the table
// (the FLEx packings and TrueSense mosaics, whose layouts the image libraries
// do not read) are refused with kKyrDisplayErrInvalidParameter, never drawn.
//
// Frames are scaled to the window by nearest sample, and only the frame drawn
// is converted: one replaced before the GUI thread got to it costs its copy
// alone. A Bayer frame drawn at its size or near it is demosaiced whole by
// libKyrDemosaicing; one drawn at most 3/4 of its size in both directions
// shows each 2x2 cell of the mosaic as one colour (red, the mean of the
// greens, blue), sampled from the cells as other frames are from pixels.
class KYRDISPLAY_API KyrDisplay
{
public:
    // A new display, not yet shown, or null when no GUI can be opened (no X
    // display). Caller owns it (Release).
    static KyrDisplay *CreateComponent() noexcept;

    // Shows the display: embedded in the native window `window` (an X11 window
    // id), following its size, or as a top-level window of its own when
    // `window` is 0. `mode` is "auto" (scale to fit, keep aspect, black bars
    // around). `flags` must be 0. Waits for the GUI thread, at most a few
    // seconds. Returns 0, kKyrDisplayErrInvalidParameter (unknown mode or flags,
    // no such window), kKyrDisplayErrInvalidState (already shown) or
    // kKyrDisplayErrTimeout.
    virtual int32_t CreateDisplay(uint64_t window, const char *mode, uint32_t flags) noexcept = 0;
    // Sizes the drawing area for images like `image` (its width, height and
    // pixel type): a window of its own takes the image's size, shrunk to fit
    // the screen. Does not wait for the GUI thread. Returns 0,
    // kKyrDisplayErrInvalidParameter (null image, unknown mode, zero size or
    // pixel type not shown).
    virtual int32_t ConfigureForImage(const KyrImage *image, const char *mode) noexcept = 0;
    // Copies `image` and has the GUI thread draw the copy; returns before it is
    // on screen, so the image may be reused at once. A copy not drawn yet is
    // replaced by the next one: the newest wins and nothing queues. Returns 0,
    // kKyrDisplayErrInvalidParameter (null image, pixel type not shown, size
    // zero or over 65535 a side, less data than the geometry needs),
    // kKyrDisplayErrOutOfMemory.
    virtual int32_t ShowImage(const KyrImage *image) noexcept = 0;
    // Closes the window and frees the display. Not on the GUI thread of a
    // Qt application that is blocked waiting for the caller.
    virtual void Release() noexcept = 0;

protected:
    virtual ~KyrDisplay() = default;
};

extern "C" {

// Frames drawn by all displays of the process so far (a frame replaced
// before the GUI thread got to it is not counted). Any thread.
KYRDISPLAY_API uint64_t KyrDisplay_FramesDrawn() noexcept;
// Waits until more than `seen` frames are drawn, or for `timeoutMs`, and
// answers the count then. Returns at once where nothing is ever drawn (a
// library built without Qt). Any thread but the GUI thread, which draws.
KYRDISPLAY_API uint64_t KyrDisplay_WaitFramesDrawn(uint64_t seen, uint32_t timeoutMs) noexcept;
// Ends the GUI thread the display and dialog libraries started for a process
// without a Qt application; windows stay until the process ends. Later calls
// answer as where no GUI can be opened (CreateComponent gives null). For the
// process's exit: without it, Qt's global objects are destroyed by the exit
// handlers while that thread still runs. Any thread; only the first call acts.
KYRDISPLAY_API void KyrDisplay_ShutdownGui() noexcept;

} // extern "C"
