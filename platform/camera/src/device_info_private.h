// What the library knows of one discovered device, copied out of Aravis's
// device list (whose strings the next update replaces) and completed from the
// device's own discovery answer. Any thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include <camera/KyrCamApi.h>

#include "thread_text_private.h"

namespace KyrCam {

class AravisInterface;

// One device as an enumeration saw it.
struct DeviceRecord {
    std::string id;         // Aravis device id
    std::string protocol;   // "GigEVision", "USB3Vision"
    std::string vendor;
    std::string model;
    std::string serial;
    std::string version;
    std::string userName;
    uint64_t mac = 0;
    uint32_t address = 0;   // GigE Vision only, host byte order
    uint32_t mask = 0;
    uint32_t gateway = 0;
    bool gige = false;
    bool reachable = true;  // on the subnet of the adapter it was found on
};

class AravisDeviceInfo final : public DeviceInfo
{
public:
    AravisDeviceInfo(AravisInterface &owner, DeviceRecord record);
    ~AravisDeviceInfo() override = default;

    // Replaces what a new enumeration found.
    void update(const DeviceRecord &record);
    DeviceRecord record() const;
    // Marks the device as opened by this process; false when it already was.
    bool claim() noexcept;
    // Marks it as closed again.
    void setOpenHere(bool open) noexcept;
    bool openHere() const noexcept;
    // The access that the device grants, as the control register tells,
    // whether or not this process holds it.
    int32_t remoteAccess() noexcept;
    std::string displayName() const;
    AravisInterface &owner() noexcept { return owner_; }

    Interface *GetInterface() noexcept override;
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
    const char *answer(ThreadText &slot, const std::string DeviceRecord::*field) noexcept;
    const char *answerIp(ThreadText &slot, uint32_t DeviceRecord::*field, KyrCamErr *err) noexcept;

    AravisInterface &owner_;
    mutable std::mutex mutex_;
    DeviceRecord record_;
    bool openHere_ = false;
    ThreadText vendor_, model_, displayName_, userName_, serial_, version_, ipAddress_, ipMask_, ipGateway_;
};

} // namespace KyrCam
