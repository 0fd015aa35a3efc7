// The module class of the GUI module: the one module object the entry point
// builds. It shows frames in a display, opens the camera dialogs and shows
// parameter arrays in tree views.
#pragma once

#include <CXX/Extensions.hxx>

#include "camera/KyrCameraApiPy.h"

class KyrDisplay;

namespace KyrGuiPy {

class PyKyrCameraApiGui : public KyrCamPy::KyrCameraApiPy
{
public:
    PyKyrCameraApiGui() = default;

    // A system object with the camera-selection dialog.
    Py::Object factory_PyKyrSystem() override;

    // A display attached to the native window given (0: a window of its own).
    Py::Object PyCreateDisplay(const Py::Tuple &args) override;
    // The next image shown reconfigures the display.
    Py::Object PyResetDisplay() override;
    // Draws a PyImage on the display.
    Py::Object PyShowImageOnDisplay(const Py::Tuple &args) override;
    // A PyGenParamView over a PyGenParams' array.
    Py::Object PyCreateGenParamTreeViewForArray(const Py::Tuple &args) override;
    Py::Object PyDestroyGenParamTreeView(const Py::Tuple &args) override;
    // The modal dialog of actions on the system's cameras.
    Py::Object PyActionCamera(const Py::Tuple &args) override;

private:
    // The last display created; an earlier one is dropped, never released: it
    // may still be on screen, and nothing else refers to it.
    KyrDisplay *display_ = nullptr;
};

} // namespace KyrGuiPy
