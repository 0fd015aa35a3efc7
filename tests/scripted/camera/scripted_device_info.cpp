#include "scripted_device_info.h"

#include "script.h"
#include "scripted_objects.h"

namespace Scripted {

ScriptedDeviceInfo::ScriptedDeviceInfo(std::string name)
    : name_(std::move(name))
{
}

const char *ScriptedDeviceInfo::text(const char *getter, const std::string &fallback)
{
    record(key(getter) + "()");
    return texts_.keep(getter, answer({ key(getter) }).value_or(fallback));
}

// Answers: an interface name, or "null" (the default).
KyrCam::Interface *ScriptedDeviceInfo::GetInterface() noexcept
{
    record(key("GetInterface()"));
    const std::string iface = answer({ key("GetInterface") }).value_or("null");
    return iface == "null" ? nullptr : interfaceNamed(iface);
}

// Answers of the texts: the text; defaults "Scripted", "Camera", "<name>"
// (display name and serial number), "" (user-defined name) and "1.0".
const char *ScriptedDeviceInfo::GetVendor() noexcept
{
    return text("GetVendor", "Scripted");
}

const char *ScriptedDeviceInfo::GetModel() noexcept
{
    return text("GetModel", "Camera");
}

const char *ScriptedDeviceInfo::GetDisplayName() noexcept
{
    return text("GetDisplayName", name_);
}

const char *ScriptedDeviceInfo::GetUserDefinedName() noexcept
{
    return text("GetUserDefinedName", "");
}

const char *ScriptedDeviceInfo::GetSerialNumber() noexcept
{
    return text("GetSerialNumber", name_);
}

const char *ScriptedDeviceInfo::GetVersion() noexcept
{
    return text("GetVersion", "1.0");
}

// Answers: the status; read-write by default.
int32_t ScriptedDeviceInfo::GetAccessStatus() noexcept
{
    record(key("GetAccessStatus()"));
    return static_cast<int32_t>(answerInt({ key("GetAccessStatus") }, KyrCam::kAccessReadWrite));
}

// Answers: the text ("" by default) and "<name>.<getter>.err".
const char *ScriptedDeviceInfo::ipText(const char *getter, KyrCamErr *err)
{
    record(key(getter) + "()");
    *err = static_cast<KyrCamErr>(answerInt({ key(getter) + ".err" }, KyrCam::kOk));
    return texts_.keep(getter, answer({ key(getter) }).value_or(""));
}

const char *ScriptedDeviceInfo::GetIPAddress(KyrCamErr *err) noexcept
{
    return ipText("GetIPAddress", err);
}

const char *ScriptedDeviceInfo::GetIPMask(KyrCamErr *err) noexcept
{
    return ipText("GetIPMask", err);
}

const char *ScriptedDeviceInfo::GetIPGateway(KyrCamErr *err) noexcept
{
    return ipText("GetIPGateway", err);
}

// Answers: the code (0 by default) and the values "<name>.GetIP.address",
// ".mask" and ".gateway" (0 by default), written even when the code is not 0.
KyrCamErr ScriptedDeviceInfo::GetIP(uint32_t *address, uint32_t *mask, uint32_t *gateway) noexcept
{
    record(key("GetIP()"));
    if (!address || !mask || !gateway)
        return KyrCam::kErrInvalidParameter;
    *address = static_cast<uint32_t>(answerInt({ key("GetIP.address") }, 0));
    *mask = static_cast<uint32_t>(answerInt({ key("GetIP.mask") }, 0));
    *gateway = static_cast<uint32_t>(answerInt({ key("GetIP.gateway") }, 0));
    return static_cast<KyrCamErr>(answerInt({ key("GetIP") }, KyrCam::kOk));
}

// Answers: the code; 0 by default.
KyrCamErr ScriptedDeviceInfo::ForceIP(const char *address, const char *mask, const char *gateway) noexcept
{
    record(key("ForceIP(") + quoted(address) + ", " + quoted(mask) + ", " + quoted(gateway) + ")");
    return static_cast<KyrCamErr>(answerInt({ key("ForceIP") }, KyrCam::kOk));
}

} // namespace Scripted
