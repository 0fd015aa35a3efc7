// libKyrDisplayQt: a window that shows camera images.
#pragma once

#include <cstdint>

struct KyrImage;

#define KYRDISPLAY_API __attribute__((visibility("default")))

// A display draws images into a window of its own, or embedded in a native
// window of the caller. Any thread: drawing happens on the library's GUI thread,
// which the library starts on first use when the process has none.
class KYRDISPLAY_API KyrDisplay
{
public:
    // A new display, not yet shown, or null when no GUI can be opened (no X
    // display). Caller owns it (Release).
    static KyrDisplay *CreateComponent() noexcept;

    // Shows the display: embedded in the native window `window` (an X11 window
    // id), or as a top-level window of its own when `window` is 0. `mode` is
    // "auto" (scale to fit, keep aspect). `flags` must be 0. Returns 0, or -1009
    // (invalid parameter: unknown mode or flags, no such window) or -40051
    // (already shown).
    virtual int32_t CreateDisplay(uint64_t window, const char *mode, uint32_t flags) noexcept = 0;
    // Sizes the drawing area for images like `image` (its width, height and
    // pixel type). Returns 0, -1009 (null image or unsupported pixel type).
    virtual int32_t ConfigureForImage(const KyrImage *image, const char *mode) noexcept = 0;
    // Copies `image` and draws the copy; returns before it is on screen, so the
    // image may be reused at once. Returns 0, -1009.
    virtual int32_t ShowImage(const KyrImage *image) noexcept = 0;
    // Closes the window and frees the display.
    virtual void Release() noexcept = 0;

protected:
    virtual ~KyrDisplay() = default;
};
