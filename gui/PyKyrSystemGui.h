// The GUI module's system object: the plain one plus the camera-selection
// dialog. It shares the plain system's Python type ("PyKyrSystem").
#pragma once

#include "camera/PyKyrSystem.h"

namespace KyrGuiPy {

class PyKyrSystemGui : public KyrCamPy::PyKyrSystem
{
public:
    PyKyrSystemGui() = default;

    // Opens the dialog over every camera of every interface (rescanning first
    // unless the flag is false) and answers the chosen camera's PyDeviceInfo,
    // or None when the user cancels.
    Py::Object SelectCamera(const Py::Tuple &args) override;
};

} // namespace KyrGuiPy
