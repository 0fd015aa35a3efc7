#include "scripted_interface.h"

#include <new>
#include <vector>

#include "script.h"
#include "scripted_list.h"
#include "scripted_objects.h"

namespace Scripted {

ScriptedInterface::ScriptedInterface(std::string name)
    : name_(std::move(name))
{
}

// Answers: "<name>.GetDeviceInfoList" = "null" for no list; the devices are
// the names in "<name>.devices" ("cam0,cam1").
KyrCam::DeviceInfoList *ScriptedInterface::GetDeviceInfoList() noexcept
{
    record(key("GetDeviceInfoList()"));
    if (answerIsNull({ key("GetDeviceInfoList") }))
        return nullptr;
    std::vector<KyrCam::DeviceInfo *> infos;
    for (const std::string &device : splitList(answer({ key("devices") }).value_or("")))
        infos.push_back(deviceInfoNamed(device));
    return new (std::nothrow) ScriptedList<KyrCam::DeviceInfoList, KyrCam::DeviceInfo>(
        key("deviceInfoList.Release()"), std::move(infos));
}

// Answers: a device name or "null"; the first of "<name>.devices" by default.
KyrCam::DeviceInfo *ScriptedInterface::GetFirstDeviceInfo() noexcept
{
    record(key("GetFirstDeviceInfo()"));
    std::optional<std::string> device = answer({ key("GetFirstDeviceInfo") });
    if (!device) {
        const std::vector<std::string> devices = splitList(answer({ key("devices") }).value_or(""));
        if (devices.empty())
            return nullptr;
        device = devices.front();
    }
    return *device == "null" ? nullptr : deviceInfoNamed(*device);
}

// Answers: the code (0 by default) and "<name>.ReEnumerateDevices.changed".
KyrCamErr ScriptedInterface::ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept
{
    record(key("ReEnumerateDevices(") + std::to_string(timeoutMs) + ")");
    if (!changed)
        return KyrCam::kErrInvalidParameter;
    const auto code = static_cast<KyrCamErr>(answerInt({ key("ReEnumerateDevices") }, KyrCam::kOk));
    *changed = code == KyrCam::kOk && answerInt({ key("ReEnumerateDevices.changed") }, 0) != 0;
    return code;
}

// Answers: the text; "Scripted interface <name>" by default.
const char *ScriptedInterface::GetDescription() noexcept
{
    record(key("GetDescription()"));
    return texts_.keep("GetDescription", answer({ key("GetDescription") }).value_or("Scripted interface " + name_));
}

// Answers: the type code; GigE Vision by default.
int32_t ScriptedInterface::GetType() noexcept
{
    record(key("GetType()"));
    return static_cast<int32_t>(answerInt({ key("GetType") }, KyrCam::kInterfaceGigEVision));
}

// Answers: an array name or "null" ("<name>-params" by default) and
// "<name>.GetParameters.err".
KyrGenParam::Array *ScriptedInterface::GetParameters(KyrCamErr *err) noexcept
{
    record(key("GetParameters()"));
    *err = static_cast<KyrCamErr>(answerInt({ key("GetParameters.err") }, KyrCam::kOk));
    const std::string array = answer({ key("GetParameters") }).value_or(name_ + "-params");
    return array == "null" ? nullptr : arrayNamed(array);
}

} // namespace Scripted
