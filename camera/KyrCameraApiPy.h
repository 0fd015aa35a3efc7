// The plain module class: registers every wrapper type and the module
// functions, and keeps the module's last error.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrCamErr.h>

namespace KyrCamPy {

class KyrCameraApiPy : public Py::ExtensionModule<KyrCameraApiPy>
{
public:
    KyrCameraApiPy();
    ~KyrCameraApiPy() override;

    // Registered as pointers to these virtual members, so a call reaches the
    // most-derived override. Here they answer a plain system object, and None
    // for the display and dialog functions: a module without GUI.
    virtual Py::Object factory_PyKyrSystem();
    virtual Py::Object PyCreateDisplay(const Py::Tuple &args);
    virtual Py::Object PyResetDisplay();
    virtual Py::Object PyShowImageOnDisplay(const Py::Tuple &args);
    virtual Py::Object PyCreateGenParamTreeViewForArray(const Py::Tuple &args);
    virtual Py::Object PyDestroyGenParamTreeView(const Py::Tuple &args);
    virtual Py::Object PyActionCamera(const Py::Tuple &args);

    // A device for the PyDeviceInfo given, or for the library's choice.
    Py::Object PyKyrCreateDevice(const Py::Tuple &args);
    Py::Object GetLastError();
    Py::Object ErrorCodeToString(const Py::Tuple &args);

protected:
    bool resetDisplay_ = true;
    KyrCamErr lastError_ = KyrCam::kOk;
};

} // namespace KyrCamPy
