#include "PyDeviceInfo.h"

#include <string>

#include "Conversion.h"
#include "PyDeviceInterface.h"

namespace KyrCamPy {

PyDeviceInfo::PyDeviceInfo(KyrCam::DeviceInfo *info, Lifetime::Ref lifetime)
    : info_(info, std::move(lifetime))
    , model_(Py::String(""))
    , vendor_(Py::String(""))
    , version_(Py::String(""))
    , serialNumber_(Py::String(""))
{
    if (!info)
        return;
    model_ = fromUtf8Replacing(info->GetModel());
    vendor_ = fromUtf8Replacing(info->GetVendor());
    version_ = fromUtf8Replacing(info->GetVersion());
    serialNumber_ = fromUtf8Replacing(info->GetSerialNumber());
}

void PyDeviceInfo::init_type()
{
    behaviors().name("PyDeviceInfo");
    add_noargs_method("GetInterface", &PyDeviceInfo::GetInterface, "");
    add_noargs_method("GetModel", &PyDeviceInfo::GetModel, "");
    add_noargs_method("GetVendor", &PyDeviceInfo::GetVendor, "");
    add_noargs_method("GetVersion", &PyDeviceInfo::GetVersion, "");
    add_noargs_method("GetSerialNumber", &PyDeviceInfo::GetSerialNumber, "");
    add_noargs_method("GetDisplayName", &PyDeviceInfo::GetDisplayName, "");
    add_noargs_method("GetUserDefinedName", &PyDeviceInfo::GetUserDefinedName, "");
    add_noargs_method("GetAccessStatus", &PyDeviceInfo::GetAccessStatus, "");
    add_noargs_method("GetIPAddress", &PyDeviceInfo::GetIPAddress, "");
    add_noargs_method("GetIPMask", &PyDeviceInfo::GetIPMask, "");
    add_noargs_method("GetIPGateway", &PyDeviceInfo::GetIPGateway, "");
    add_noargs_method("GetIP", &PyDeviceInfo::GetIP, "");
    add_varargs_method("ForceIP", &PyDeviceInfo::ForceIP, "");
}

Py::Object PyDeviceInfo::GetInterface()
{
    KyrCam::DeviceInfo *info = info_.get();
    if (interface_.isNone() && info)
        interface_ = Py::asObject(new PyDeviceInterface(info->GetInterface()));
    return interface_;
}

Py::Object PyDeviceInfo::GetModel()
{
    return model_;
}

Py::Object PyDeviceInfo::GetVendor()
{
    return vendor_;
}

Py::Object PyDeviceInfo::GetVersion()
{
    return version_;
}

Py::Object PyDeviceInfo::GetSerialNumber()
{
    return serialNumber_;
}

// The live values below answer None (or 0) for a wrapper over no device info
// rather than letting the library dereference null.
Py::Object PyDeviceInfo::GetDisplayName()
{
    KyrCam::DeviceInfo *info = info_.get();
    if (!info)
        return Py::None();
    return fromUtf8Replacing(info->GetDisplayName());
}

Py::Object PyDeviceInfo::GetUserDefinedName()
{
    KyrCam::DeviceInfo *info = info_.get();
    if (!info)
        return Py::None();
    return fromUtf8Replacing(info->GetUserDefinedName());
}

Py::Object PyDeviceInfo::GetAccessStatus()
{
    KyrCam::DeviceInfo *info = info_.get();
    if (!info)
        return Py::Long(0);
    int32_t status = 0;
    {
        // Asked of a network camera, which may take its time to answer.
        NativeCall call(info_.lifetime());
        status = info->GetAccessStatus();
    }
    return Py::Long(status);
}

Py::Object PyDeviceInfo::ipText(const char *(KyrCam::DeviceInfo::*getter)(KyrCamErr *) noexcept)
{
    KyrCam::DeviceInfo *info = info_.get();
    if (!info)
        return Py::None();
    KyrCamErr ignored = KyrCam::kOk;
    return fromUtf8Replacing((info->*getter)(&ignored));
}

Py::Object PyDeviceInfo::GetIPAddress()
{
    return ipText(&KyrCam::DeviceInfo::GetIPAddress);
}

Py::Object PyDeviceInfo::GetIPMask()
{
    return ipText(&KyrCam::DeviceInfo::GetIPMask);
}

Py::Object PyDeviceInfo::GetIPGateway()
{
    return ipText(&KyrCam::DeviceInfo::GetIPGateway);
}

// The values come as the library delivers them, byte order included.
Py::Object PyDeviceInfo::GetIP()
{
    uint32_t address = 0;
    uint32_t mask = 0;
    uint32_t gateway = 0;
    KyrCam::DeviceInfo *info = info_.get();
    const bool ok = info && info->GetIP(&address, &mask, &gateway) == KyrCam::kOk;
    Py::Tuple result(4);
    result[0] = Py::Boolean(ok);
    result[1] = Py::Long(static_cast<unsigned long>(ok ? address : 0));
    result[2] = Py::Long(static_cast<unsigned long>(ok ? mask : 0));
    result[3] = Py::Long(static_cast<unsigned long>(ok ? gateway : 0));
    return result;
}

Py::Object PyDeviceInfo::ForceIP(const Py::Tuple &args)
{
    if (args.length() < 3)
        return Py::False();
    const std::string address = strToUtf8(args[0]);
    const std::string mask = strToUtf8(args[1]);
    const std::string gateway = strToUtf8(args[2]);
    KyrCam::DeviceInfo *info = info_.get();
    if (!info)
        return Py::False();
    KyrCamErr code = KyrCam::kOk;
    {
        // Waits for the device's acknowledge and a new enumeration.
        NativeCall call(info_.lifetime());
        code = info->ForceIP(address.c_str(), mask.c_str(), gateway.c_str());
    }
    return Py::Boolean(code == KyrCam::kOk);
}

} // namespace KyrCamPy
