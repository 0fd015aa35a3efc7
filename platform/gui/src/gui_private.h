// Helpers shared by the dialogs and tree views. GUI thread only.
#pragma once

#include <cstdint>

#include <QString>

#include <camera/KyrCamErr.h>

class QWidget;

namespace KyrCameraGui {

// How long a caller waits for the GUI thread to start serving it.
constexpr int kGuiWaitMs = 5000;

// A code as the user reads it: "Invalid parameter (-1009)".
QString errorText(KyrCamErr code);

// A UTF-8 text of the camera library; empty for null, bad bytes as U+FFFD.
QString fromLibrary(const char *text);

// A wide window title as it stands ("Gen<i>Cam" included); empty for null.
QString titleText(const wchar_t *title);

// Places `window` over the native window `parent` (0: none), so that the
// window manager keeps it in front of that window.
void placeOver(QWidget *window, int64_t parent);

} // namespace KyrCameraGui
