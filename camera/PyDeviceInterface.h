// One transport interface of the camera library (a network adapter, a USB3
// host controller, a frame grabber port): its devices and its own features.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrCamApi.h>

namespace KyrCamPy {

class KyrCameraApiPy;

class PyDeviceInterface : public Py::PythonExtension<PyDeviceInterface>
{
public:
    // Fetches the interface's parameters once; `iface` is borrowed and may be
    // null ("Wrong devInterface" on stderr).
    explicit PyDeviceInterface(KyrCam::Interface *iface);

    // The transport type names as integers, then the methods.
    Py::Object getattr(const char *name) override;

    Py::Object GetDescription();
    Py::Object GetFirstDeviceInfo();
    Py::Object ReEnumerateDevices(const Py::Tuple &args);
    Py::Object GetDeviceInfoList();
    Py::Object GetType();
    Py::Object GetLastError();
    Py::Object GetParameters();

private:
    friend class KyrCameraApiPy;  // registers the type

    KyrCam::Interface *iface_;
    KyrCamErr lastError_ = KyrCam::kOk;
    Py::Object parameters_;  // the same PyGenParams on every call, or None
};

} // namespace KyrCamPy
