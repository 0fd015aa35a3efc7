// The scripted camera library's system. Its answers come from the script
// (keys "system.<Operation>"); interfaces, devices and streams are scripted by
// the tests that need them.
#pragma once

#include <string>

#include <camera/KyrCamApi.h>

namespace Scripted {

class ScriptedSystem : public KyrCam::System
{
public:
    // The process-wide instance, kept until the process ends as the contract says.
    static ScriptedSystem &instance();

    KyrCam::InterfaceList *GetInterfaceList(uint32_t mask) noexcept override;
    const char *GetDisplayName() noexcept override;
    const char *GetVersion() noexcept override;
    KyrCam::Device *CreateDeviceFromConfig(const char *path, KyrCamErr *err) noexcept override;
    KyrCamErr RegisterGenTLProvider(const char *path) noexcept override;

private:
    std::string displayName_;
    std::string version_;
};

} // namespace Scripted
