#include "system_private.h"

#include <algorithm>

#include "gvcp_private.h"
#include "object_list_private.h"

namespace KyrCam {

AravisInterface::AravisInterface(int32_t type, std::string name, uint32_t hostAddress, uint32_t hostMask)
    : type_(type), name_(std::move(name)), hostAddress_(hostAddress), hostMask_(hostMask)
{
    description_ = type_ == kInterfaceUsb3Vision
                       ? std::string("USB3 Vision")
                       : "GigE Vision " + name_ + " (" + formatIpv4(hostAddress_) + ")";
}

bool AravisInterface::holds(const DeviceRecord &record) const noexcept
{
    if (type_ == kInterfaceUsb3Vision)
        return !record.gige;
    return record.gige && (record.address & hostMask_) == (hostAddress_ & hostMask_);
}

void AravisInterface::apply(const std::vector<DeviceRecord> &records)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool first = present_.empty() && known_.empty();
    present_.clear();
    for (const DeviceRecord &record : records) {
        auto known = std::find_if(known_.begin(), known_.end(),
                                  [&](const auto &info) { return info->record().id == record.id; });
        if (known == known_.end()) {
            known_.push_back(std::make_unique<AravisDeviceInfo>(*this, record));
            present_.push_back(known_.back().get());
        } else {
            (*known)->update(record);
            present_.push_back(known->get());
        }
    }
    if (first)
        reported_ = presentIds();
}

std::vector<std::string> AravisInterface::presentIds() const
{
    std::vector<std::string> ids;
    for (AravisDeviceInfo *info : present_)
        ids.push_back(info->record().id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

AravisDeviceInfo *AravisInterface::findBySerial(const std::string &vendor, const std::string &model,
                                                const std::string &serial)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (AravisDeviceInfo *info : present_) {
        const DeviceRecord record = info->record();
        if (record.vendor == vendor && record.model == model && record.serial == serial)
            return info;
    }
    return nullptr;
}

DeviceInfoList *AravisInterface::GetDeviceInfoList() noexcept
{
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        return makeSnapshotList<DeviceInfoList, DeviceInfo>(present_);
    } catch (...) {
        return nullptr;
    }
}

DeviceInfo *AravisInterface::GetFirstDeviceInfo() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return present_.empty() ? nullptr : present_.front();
}

KyrCamErr AravisInterface::ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept
{
    if (!changed)
        return kErrInvalidParameter;
    aravisSystem()->enumerate(timeoutMs);
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> ids = presentIds();
        *changed = ids != reported_;
        reported_ = std::move(ids);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

const char *AravisInterface::GetDescription() noexcept { return description_.c_str(); }

int32_t AravisInterface::GetType() noexcept { return type_; }

KyrGenParam::Array *AravisInterface::GetParameters(KyrCamErr *err) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!params_) {
            const std::string body =
                localCategory("Root", { "InterfaceType", "GevInterfaceSubnetIPAddress", "GevInterfaceSubnetMask",
                                        "DeviceCount" }) +
                localInteger("InterfaceType", 0x0, false, "Transport type of the interface") +
                localInteger("GevInterfaceSubnetIPAddress", 0x4, false, "IPv4 address of the host adapter") +
                localInteger("GevInterfaceSubnetMask", 0x8, false, "IPv4 subnet mask of the host adapter") +
                localInteger("DeviceCount", 0xC, false, "Devices found at the last enumeration");
            params_ = LocalParams::create(
                localDescription("Interface", body),
                { { 0x0, [this] { return uint32_t(type_); }, nullptr },
                  { 0x4, [this] { return hostAddress_; }, nullptr },
                  { 0x8, [this] { return hostMask_; }, nullptr },
                  { 0xC, [this] {
                       std::lock_guard<std::mutex> lock(mutex_);
                       return uint32_t(present_.size());
                   }, nullptr } });
        }
        setError(err, params_ ? kOk : kErrNotAvailable);
        return params_ ? params_->array() : nullptr;
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
}

} // namespace KyrCam
