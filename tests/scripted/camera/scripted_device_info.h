// A scripted device description: every text, the access status and the IP
// configuration from answers under its name.
#pragma once

#include <string>

#include <camera/KyrCamApi.h>

#include "scripted_format.h"

namespace Scripted {

class ScriptedDeviceInfo : public KyrCam::DeviceInfo
{
public:
    explicit ScriptedDeviceInfo(std::string name);
    ~ScriptedDeviceInfo() override = default;

    const std::string &name() const { return name_; }

    KyrCam::Interface *GetInterface() noexcept override;
    const char *GetVendor() noexcept override;
    const char *GetModel() noexcept override;
    const char *GetDisplayName() noexcept override;
    const char *GetUserDefinedName() noexcept override;
    const char *GetSerialNumber() noexcept override;
    const char *GetVersion() noexcept override;
    int32_t GetAccessStatus() noexcept override;
    const char *GetIPAddress(KyrCamErr *err) noexcept override;
    const char *GetIPMask(KyrCamErr *err) noexcept override;
    const char *GetIPGateway(KyrCamErr *err) noexcept override;
    KyrCamErr GetIP(uint32_t *address, uint32_t *mask, uint32_t *gateway) noexcept override;
    KyrCamErr ForceIP(const char *address, const char *mask, const char *gateway) noexcept override;

private:
    std::string key(const std::string &operation) const { return name_ + "." + operation; }
    // Logs "<name>.<getter>()" and answers the scripted text or `fallback`.
    const char *text(const char *getter, const std::string &fallback);
    const char *ipText(const char *getter, KyrCamErr *err);

    const std::string name_;
    KeptTexts texts_;
};

} // namespace Scripted
