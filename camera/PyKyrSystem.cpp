#include "PyKyrSystem.h"

#include <string>

#include "Conversion.h"
#include "ErrorReport.h"
#include "Lifetime.h"
#include "NativeList.h"
#include "PyDevice.h"
#include "PyDeviceInterface.h"

namespace KyrCamPy {

PyKyrSystem::PyKyrSystem()
    : system_(KyrCam_GetSystem())
{
    if (!system_)
        reportLine("Cannot create System\n");
}

// Without a system this answers as when the library gives no list.
Py::Object PyKyrSystem::GetInterfaceList()
{
    KyrCam::InterfaceList *list = system_ ? system_->GetInterfaceList(KyrCam::kInterfaceAll) : nullptr;
    if (!list) {
        reportLine("Wrong InterfaceList\n");
        return Py::None();
    }
    return wrapEach<PyDeviceInterface>(list);
}

Py::Object PyKyrSystem::GetDisplayName()
{
    if (!system_)
        return Py::String("none");
    return fromUtf8(system_->GetDisplayName());
}

Py::Object PyKyrSystem::GetVersion()
{
    if (!system_)
        return Py::String("none");
    return fromUtf8(system_->GetVersion());
}

Py::Object PyKyrSystem::SelectCamera(const Py::Tuple &)
{
    return Py::None();
}

Py::Object PyKyrSystem::ActionCamera(const Py::Tuple &)
{
    return Py::None();
}

Py::Object PyKyrSystem::CreateDeviceFromConfig(const Py::Tuple &args)
{
    if (!system_ || args.length() < 1)
        return Py::None();
    const std::string path = strToUtf8(args[0]);
    KyrCamErr err = KyrCam::kOk;
    KyrCam::Device *device = nullptr;
    {
        // Finds the camera, opens it and applies the whole file.
        NativeCall call;
        device = system_->CreateDeviceFromConfig(path.c_str(), &err);
    }
    lastError_ = err;
    if (lastError_ != KyrCam::kOk || !device) {
        reportError("Create device from config", lastError_);
        return Py::None();
    }
    return Py::asObject(new PyDevice(device));
}

Py::Object PyKyrSystem::RegisterGenTLProvider(const Py::Tuple &args)
{
    if (!system_ || args.length() < 1)
        return Py::False();
    const std::string path = strToUtf8(args[0]);
    KyrCamErr err = KyrCam::kOk;
    {
        // Loading a producer opens its transport layer.
        NativeCall call;
        err = system_->RegisterGenTLProvider(path.c_str());
    }
    lastError_ = err;
    if (lastError_ != KyrCam::kOk) {
        reportError("Register GenTL Provider", lastError_);
        return Py::False();
    }
    return Py::True();
}

Py::Object PyKyrSystem::GetLastError()
{
    return Py::Long(lastError_);
}

} // namespace KyrCamPy
