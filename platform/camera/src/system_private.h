// The system, its interfaces and their enumeration. Aravis has one GigE Vision
// interface for all adapters; the library shows one interface per host network
// adapter and puts each device on the adapter whose subnet holds it, plus one
// USB3 Vision interface. Enumeration runs on the system's own thread, so that a
// rescan can be waited for with a timeout although Aravis's discovery blocks for
// about a second. Any thread.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <camera/KyrCamApi.h>

#include "device_info_private.h"
#include "event_dispatcher_private.h"
#include "local_port_private.h"
#include "reaper_private.h"

namespace KyrCam {

class AravisInterface final : public Interface
{
public:
    // A GigE Vision adapter (`hostAddress`/`hostMask`) or, with `type`
    // kInterfaceUsb3Vision, the USB3 Vision interface.
    AravisInterface(int32_t type, std::string name, uint32_t hostAddress, uint32_t hostMask);
    ~AravisInterface() override = default;

    bool holds(const DeviceRecord &record) const noexcept;
    // Takes the devices of a finished enumeration.
    void apply(const std::vector<DeviceRecord> &records);
    uint32_t hostAddress() const noexcept { return hostAddress_; }
    uint32_t hostMask() const noexcept { return hostMask_; }
    // The device with this serial number (and vendor and model), or null.
    AravisDeviceInfo *findBySerial(const std::string &vendor, const std::string &model, const std::string &serial);

    DeviceInfoList *GetDeviceInfoList() noexcept override;
    DeviceInfo *GetFirstDeviceInfo() noexcept override;
    KyrCamErr ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept override;
    const char *GetDescription() noexcept override;
    int32_t GetType() noexcept override;
    KyrGenParam::Array *GetParameters(KyrCamErr *err) noexcept override;

private:
    std::vector<std::string> presentIds() const;

    const int32_t type_;
    const std::string name_;
    const uint32_t hostAddress_;
    const uint32_t hostMask_;
    std::string description_;
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<AravisDeviceInfo>> known_;  // every device ever handed out
    std::vector<AravisDeviceInfo *> present_;
    std::vector<std::string> reported_;  // ids at the last ReEnumerateDevices
    std::unique_ptr<LocalParams> params_;
};

class AravisSystem final : public System
{
public:
    AravisSystem();
    ~AravisSystem() override;

    // Runs one enumeration and waits for it up to `timeoutMs` (all bits set:
    // without limit); true when it finished in time.
    bool enumerate(uint64_t timeoutMs) noexcept;
    // Lists the interfaces, enumerating once first.
    std::vector<AravisInterface *> interfaces() noexcept;
    // Tells whether any interface holds this device info.
    bool owns(DeviceInfo *info) noexcept;
    // The first device of any interface, or null.
    AravisDeviceInfo *firstDevice() noexcept;
    // The present device with this vendor, model and serial number, or null.
    AravisDeviceInfo *findDevice(const std::string &vendor, const std::string &model, const std::string &serial) noexcept;
    EventDispatcher &events() noexcept { return events_; }
    Reaper &reaper() noexcept { return reaper_; }

    InterfaceList *GetInterfaceList(uint32_t mask) noexcept override;
    const char *GetDisplayName() noexcept override;
    const char *GetVersion() noexcept override;
    Device *CreateDeviceFromConfig(const char *path, KyrCamErr *err) noexcept override;
    KyrCamErr RegisterGenTLProvider(const char *path) noexcept override;

private:
    void run();
    std::vector<DeviceRecord> discover();
    void distribute(std::vector<DeviceRecord> records);

    EventDispatcher events_;
    Reaper reaper_;
    std::vector<std::unique_ptr<AravisInterface>> interfaces_;
    std::string version_;

    std::mutex mutex_;
    std::condition_variable wake_;
    uint64_t requested_ = 0;
    uint64_t completed_ = 0;
    bool started_ = false;
    bool stop_ = false;
    std::thread thread_;
};

// The process-wide system; null when it could not be set up.
AravisSystem *aravisSystem() noexcept;

} // namespace KyrCam
