// The module class of the GUI module: the one module object the entry point
// builds. Its overrides of the display, dialog and tree-view functions come with
// the GUI libraries.
#pragma once

#include <CXX/Extensions.hxx>

#include "camera/KyrCameraApiPy.h"

namespace KyrGuiPy {

class PyKyrCameraApiGui : public KyrCamPy::KyrCameraApiPy
{
public:
    PyKyrCameraApiGui() = default;
};

} // namespace KyrGuiPy
