// libKyrGuiHost: the one GUI thread of the process, shared by the display and
// dialog libraries.
//
// When the process already runs a Qt application (a PyQt6 script, a Qt
// program), its thread is the GUI thread and no second application object is
// made. Otherwise the first call that needs it starts a thread of its own that
// creates a QApplication (Widgets, so dialogs can use it) and runs its event
// loop until the process exits; the caller never pumps events. Any thread.
#pragma once

#include <functional>

#define KYRGUIHOST_API __attribute__((visibility("default")))

namespace KyrGuiHost {

// True once a GUI thread runs: finds the application or starts the thread on
// first call. False when no GUI can be opened (no X display).
KYRGUIHOST_API bool available() noexcept;

// Ends the GUI thread started here, if any (its windows stay on screen until
// the process ends); a process's own Qt application is left alone. From then
// on available() is false. Meant for the process's exit: its exit handlers
// destroy Qt's global objects before this library's own, so a host that can
// (a Python interpreter, once finalized) calls it while all still stand.
KYRGUIHOST_API void shutdown() noexcept;

// True when the caller is the GUI thread.
KYRGUIHOST_API bool onGuiThread() noexcept;

// Runs `work` on the GUI thread and returns once it ran: true, or false when
// there is no GUI or the GUI thread did not start it within `timeoutMs` (then
// it never runs). On the GUI thread itself it runs at once. `work` must not
// throw.
KYRGUIHOST_API bool runBlocking(const std::function<void()> &work, int timeoutMs) noexcept;

// Queues `work` for the GUI thread and returns; false when there is no GUI.
// `work` must not throw.
KYRGUIHOST_API bool post(std::function<void()> work) noexcept;

} // namespace KyrGuiHost
