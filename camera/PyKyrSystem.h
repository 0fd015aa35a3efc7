// The camera library's process-wide system: its interfaces, devices opened
// from configuration files, and further GenTL producers.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrCamApi.h>

namespace KyrCamPy {

class KyrCameraApiPy;

class PyKyrSystem : public Py::PythonExtension<PyKyrSystem>
{
public:
    // Takes the library's system; without one ("Cannot create System" on
    // stderr) every method answers its no-system result.
    PyKyrSystem();

    Py::Object GetInterfaceList();
    Py::Object GetDisplayName();
    Py::Object GetVersion();
    // The camera-selection dialog of the GUI module; None here.
    virtual Py::Object SelectCamera(const Py::Tuple &args);
    // Always None: the working dialog is the module function PyActionCamera.
    virtual Py::Object ActionCamera(const Py::Tuple &args);
    // A PyDevice opened from a configuration file, or None.
    Py::Object CreateDeviceFromConfig(const Py::Tuple &args);
    Py::Object RegisterGenTLProvider(const Py::Tuple &args);
    Py::Object GetLastError();

protected:
    KyrCam::System *system_;
    KyrCamErr lastError_ = KyrCam::kOk;

private:
    friend class KyrCameraApiPy;  // registers the type
};

} // namespace KyrCamPy
