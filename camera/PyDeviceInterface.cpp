#include "PyDeviceInterface.h"

#include <limits>

#include "Conversion.h"
#include "ErrorReport.h"
#include "Lifetime.h"
#include "NativeList.h"
#include "PyDeviceInfo.h"
#include "genparam/PyGenParams.h"

namespace KyrCamPy {

namespace {

constexpr NamedConstant kInterfaceTypes[] = {
    { "USB3Vision", KyrCam::kInterfaceUsb3Vision },
    { "GigEVision", KyrCam::kInterfaceGigEVision },
    { "CameraLink", KyrCam::kInterfaceCameraLink },
    { "CoaxPress", KyrCam::kInterfaceCoaXPress },
    { "HdSdi", KyrCam::kInterfaceHdSdi },
    { "AllInterfaces", KyrCam::kInterfaceAll },
};

// (success, changed) of a rescan.
Py::Object rescanResult(bool success, bool changed)
{
    Py::Tuple result(2);
    result[0] = Py::Boolean(success);
    result[1] = Py::Boolean(changed);
    return result;
}

// The library's timeout for waiting as long as the transport needs.
constexpr uint64_t kWaitWithoutLimit = std::numeric_limits<uint64_t>::max();

} // namespace

PyDeviceInterface::PyDeviceInterface(KyrCam::Interface *iface)
    : iface_(iface)
{
    if (!iface_) {
        reportLine("Wrong devInterface\n");
        return;
    }
    KyrGenParam::Array *array = iface_->GetParameters(&lastError_);
    if (!array || lastError_ != KyrCam::kOk) {
        reportError("Get parameters", lastError_);
        return;
    }
    parameters_ = Py::asObject(new KyrGenParamPy::PyGenParams(array, nullptr));
}

Py::Object PyDeviceInterface::getattr(const char *name)
{
    if (const NamedConstant *constant = findConstant(kInterfaceTypes, name))
        return Py::Long(constant->value);
    return getattr_methods(name);
}

// A wrapper over no interface answers None here and in the two list calls
// below, rather than letting the library dereference null.
Py::Object PyDeviceInterface::GetDescription()
{
    if (!iface_)
        return Py::None();
    return fromUtf8(iface_->GetDescription());
}

Py::Object PyDeviceInterface::GetFirstDeviceInfo()
{
    return Py::asObject(new PyDeviceInfo(iface_ ? iface_->GetFirstDeviceInfo() : nullptr));
}

Py::Object PyDeviceInterface::ReEnumerateDevices(const Py::Tuple &args)
{
    uint64_t timeout = kWaitWithoutLimit;
    if (args.length() >= 1)
        timeout = toUint64(args[0]);
    if (!iface_)
        return rescanResult(false, false);
    bool changed = false;
    KyrCamErr err = KyrCam::kOk;
    {
        // Waits for the devices' answers, up to the timeout.
        NativeCall call;
        err = iface_->ReEnumerateDevices(&changed, timeout);
    }
    lastError_ = err;
    if (lastError_ != KyrCam::kOk)
        return rescanResult(false, false);
    return rescanResult(true, changed);
}

Py::Object PyDeviceInterface::GetDeviceInfoList()
{
    KyrCam::DeviceInfoList *list = iface_ ? iface_->GetDeviceInfoList() : nullptr;
    if (!list) {
        reportLine("Wrong DeviceInfoList\n");
        return Py::None();
    }
    return wrapEach<PyDeviceInfo>(list);
}

Py::Object PyDeviceInterface::GetType()
{
    return Py::Long(iface_ ? iface_->GetType() : 0);
}

Py::Object PyDeviceInterface::GetLastError()
{
    return Py::Long(lastError_);
}

Py::Object PyDeviceInterface::GetParameters()
{
    return parameters_;
}

} // namespace KyrCamPy
