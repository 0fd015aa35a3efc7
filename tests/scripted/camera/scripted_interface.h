// A scripted transport interface: its devices, type, description and its own
// parameter array, all from answers under its name.
#pragma once

#include <string>

#include <camera/KyrCamApi.h>

#include "scripted_format.h"

namespace Scripted {

class ScriptedInterface : public KyrCam::Interface
{
public:
    explicit ScriptedInterface(std::string name);
    ~ScriptedInterface() override = default;

    KyrCam::DeviceInfoList *GetDeviceInfoList() noexcept override;
    KyrCam::DeviceInfo *GetFirstDeviceInfo() noexcept override;
    KyrCamErr ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept override;
    const char *GetDescription() noexcept override;
    int32_t GetType() noexcept override;
    KyrGenParam::Array *GetParameters(KyrCamErr *err) noexcept override;

private:
    std::string key(const char *operation) const { return name_ + "." + operation; }

    const std::string name_;
    KeptTexts texts_;
};

} // namespace Scripted
