// The description of one device an interface found: names, version, access
// status and, for network cameras, the IP configuration (which ForceIP sets).
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrCamApi.h>

#include "Lifetime.h"

namespace KyrCamPy {

class PyDeviceInfo : public Py::PythonExtension<PyDeviceInfo>
{
public:
    // Reads model, vendor, version and serial number once; `info` is borrowed
    // and may be null (the four read ""). An opened device's own description
    // lives as long as the device (`lifetime`); one that an interface listed
    // lives as long as the process (no lifetime). Texts that are not UTF-8 are
    // decoded with U+FFFD in place of the bad bytes.
    explicit PyDeviceInfo(KyrCam::DeviceInfo *info, Lifetime::Ref lifetime = nullptr);

    // Names the type and adds its methods.
    static void init_type();

    // The native description; null once its device was released.
    KyrCam::DeviceInfo *cxx_getDevInfo() const { return info_.get(); }
    const Lifetime::Ref &lifetime() const { return info_.lifetime(); }

    Py::Object GetInterface();
    Py::Object GetModel();
    Py::Object GetVendor();
    Py::Object GetVersion();
    Py::Object GetSerialNumber();
    Py::Object GetDisplayName();
    Py::Object GetUserDefinedName();
    Py::Object GetAccessStatus();
    Py::Object GetIPAddress();
    Py::Object GetIPMask();
    Py::Object GetIPGateway();
    Py::Object GetIP();
    Py::Object ForceIP(const Py::Tuple &args);

private:
    // One of the IP texts, its error ignored; None without a device info.
    Py::Object ipText(const char *(KyrCam::DeviceInfo::*getter)(KyrCamErr *) noexcept);

    Py::Object interface_;  // built on first request, then the same object
    Borrowed<KyrCam::DeviceInfo> info_;
    Py::Object model_;
    Py::Object vendor_;
    Py::Object version_;
    Py::Object serialNumber_;
};

} // namespace KyrCamPy
