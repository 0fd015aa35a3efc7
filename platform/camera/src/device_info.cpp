#include "device_info_private.h"

#include "gvcp_private.h"
#include "system_private.h"

namespace KyrCam {

namespace {

constexpr int kAccessQueryTimeoutMs = 300;
constexpr int kForceIpTimeoutMs = 1000;
constexpr uint64_t kRediscoveryTimeoutMs = 3000;

// Control channel privilege bits.
constexpr uint32_t kPrivilegeExclusive = 0x1;
constexpr uint32_t kPrivilegeControl = 0x2;

} // namespace

AravisDeviceInfo::AravisDeviceInfo(AravisInterface &owner, DeviceRecord record)
    : owner_(owner), record_(std::move(record))
{
}

void AravisDeviceInfo::update(const DeviceRecord &record)
{
    std::lock_guard<std::mutex> lock(mutex_);
    record_ = record;
}

DeviceRecord AravisDeviceInfo::record() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return record_;
}

bool AravisDeviceInfo::claim() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (openHere_)
        return false;
    openHere_ = true;
    return true;
}

void AravisDeviceInfo::setOpenHere(bool open) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    openHere_ = open;
}

bool AravisDeviceInfo::openHere() const noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return openHere_;
}

const char *AravisDeviceInfo::answer(ThreadText &slot, const std::string DeviceRecord::*field) noexcept
{
    try {
        std::string text;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            text = record_.*field;
        }
        return slot.keep(std::move(text));
    } catch (...) {
        return "";
    }
}

Interface *AravisDeviceInfo::GetInterface() noexcept { return &owner_; }
const char *AravisDeviceInfo::GetVendor() noexcept { return answer(vendor_, &DeviceRecord::vendor); }
const char *AravisDeviceInfo::GetModel() noexcept { return answer(model_, &DeviceRecord::model); }
const char *AravisDeviceInfo::GetUserDefinedName() noexcept { return answer(userName_, &DeviceRecord::userName); }
const char *AravisDeviceInfo::GetSerialNumber() noexcept { return answer(serial_, &DeviceRecord::serial); }
const char *AravisDeviceInfo::GetVersion() noexcept { return answer(version_, &DeviceRecord::version); }

std::string AravisDeviceInfo::displayName() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return !record_.userName.empty() ? record_.userName
                                     : record_.vendor + " " + record_.model + " (" + record_.serial + ")";
}

const char *AravisDeviceInfo::GetDisplayName() noexcept
{
    try {
        return displayName_.keep(displayName());
    } catch (...) {
        return "";
    }
}

int32_t AravisDeviceInfo::GetAccessStatus() noexcept
{
    return openHere() ? kAccessBusy : remoteAccess();
}

int32_t AravisDeviceInfo::remoteAccess() noexcept
{
    DeviceRecord device;
    try {
        device = record();
    } catch (...) {
        return kAccessUnknown;
    }
    if (!device.gige)
        return kAccessReadWrite;
    if (!device.reachable)
        return kAccessUnreachable;
    uint32_t privilege = 0;
    if (gvcpReadRegister(device.address, kGvcpPort, kGvcpRegControlChannelPrivilege, kAccessQueryTimeoutMs,
                         privilege) != kOk)
        return kAccessUnknown;
    if (privilege & kPrivilegeExclusive)
        return kAccessNoAccess;
    if (privilege & kPrivilegeControl)
        return kAccessReadOnly;
    return kAccessReadWrite;
}

const char *AravisDeviceInfo::answerIp(ThreadText &slot, uint32_t DeviceRecord::*field, KyrCamErr *err) noexcept
{
    try {
        std::string text;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            text = record_.gige ? formatIpv4(record_.*field) : std::string();
            setError(err, record_.gige ? kOk : kErrNotAvailable);
        }
        return slot.keep(std::move(text));
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return "";
    }
}

const char *AravisDeviceInfo::GetIPAddress(KyrCamErr *err) noexcept { return answerIp(ipAddress_, &DeviceRecord::address, err); }
const char *AravisDeviceInfo::GetIPMask(KyrCamErr *err) noexcept { return answerIp(ipMask_, &DeviceRecord::mask, err); }
const char *AravisDeviceInfo::GetIPGateway(KyrCamErr *err) noexcept { return answerIp(ipGateway_, &DeviceRecord::gateway, err); }

KyrCamErr AravisDeviceInfo::GetIP(uint32_t *address, uint32_t *mask, uint32_t *gateway) noexcept
{
    if (!address || !mask || !gateway)
        return kErrInvalidParameter;
    std::lock_guard<std::mutex> lock(mutex_);
    if (!record_.gige)
        return kErrNotAvailable;
    *address = record_.address;
    *mask = record_.mask;
    *gateway = record_.gateway;
    return kOk;
}

KyrCamErr AravisDeviceInfo::ForceIP(const char *address, const char *mask, const char *gateway) noexcept
{
    uint32_t newAddress = 0, newMask = 0, newGateway = 0;
    if (!parseIpv4(address, newAddress) || !parseIpv4(mask, newMask) || !parseIpv4(gateway, newGateway))
        return kErrInvalidParameter;
    // A mask is a run of ones from the top.
    if (newMask == 0 || ((~newMask + 1) & ~newMask) != 0)
        return kErrInvalidParameter;
    DeviceRecord device;
    try {
        device = record();
    } catch (...) {
        return kErrOutOfMemory;
    }
    if (!device.gige)
        return kErrNotAvailable;
    // The limited broadcast reaches a camera whatever subnet it is on (the
    // adapter's own broadcast is dropped by a camera on another one). The
    // loopback adapter cannot broadcast and delivers its subnet's locally.
    const uint32_t host = owner_.hostAddress();
    const uint32_t broadcast = (host >> 24) == 127 ? host | ~owner_.hostMask() : 0xFFFFFFFF;
    const KyrCamErr code = gvcpForceIp(host, broadcast, kGvcpPort, device.mac, newAddress, newMask,
                                       newGateway, kForceIpTimeoutMs);
    if (code != kOk)
        return code;
    aravisSystem()->enumerate(kRediscoveryTimeoutMs);
    return kOk;
}

} // namespace KyrCam
