#include "gentl_private.h"

#include <algorithm>

#include "gvcp_private.h"
#include "object_list_private.h"

namespace KyrCam {

namespace {

constexpr uint64_t kFirstEnumerationTimeoutMs = 1000;
// More devices than this on one interface is a producer fault.
constexpr uint32_t kDeviceLimit = 256;

int32_t accessStatus(uint64_t gentl) noexcept
{
    switch (gentl) {
    case DEVICE_ACCESS_STATUS_READWRITE:
        return kAccessReadWrite;
    case DEVICE_ACCESS_STATUS_READONLY:
        return kAccessReadOnly;
    case DEVICE_ACCESS_STATUS_NOACCESS:
        return kAccessNoAccess;
    case DEVICE_ACCESS_STATUS_BUSY:
    case DEVICE_ACCESS_STATUS_OPEN_READWRITE:
    case DEVICE_ACCESS_STATUS_OPEN_READONLY:
        return kAccessBusy;
    default:
        return kAccessUnknown;
    }
}

} // namespace

GenTLInterface::GenTLInterface(GenTLProducer &producer, std::string id, int32_t type)
    : producer_(producer), id_(std::move(id)), type_(type)
{
}

KyrCamErr GenTLInterface::open() noexcept
{
    const GenTLFunctions &fn = producer_.fn();
    const GC_ERROR code = gentlCall(fn.TLOpenInterface, producer_.tl(), id_.c_str(), &handle_);
    if (code != GC_ERR_SUCCESS || !handle_)
        return code == GC_ERR_SUCCESS ? kErrGenTL : gentlCode(code);
    try {
        description_ = gentlText([&](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn.IFGetInfo, handle_, INTERFACE_INFO_CMD(INTERFACE_INFO_DISPLAYNAME), type, buffer,
                             size);
        });
        if (description_.empty())
            description_ = id_;
        std::lock_guard<std::mutex> lock(mutex_);
        return enumerate(kFirstEnumerationTimeoutMs, nullptr);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr GenTLInterface::enumerate(uint64_t timeoutMs, bool *changed)
{
    const GenTLFunctions &fn = producer_.fn();
    bool8_t producerChanged = 0;
    const GC_ERROR update = gentlCall(fn.IFUpdateDeviceList, handle_, &producerChanged, timeoutMs);
    if (update != GC_ERR_SUCCESS && update != GC_ERR_NOT_IMPLEMENTED)
        return gentlCode(update);
    uint32_t count = 0;
    if (gentlCall(fn.IFGetNumDevices, handle_, &count) != GC_ERR_SUCCESS)
        count = 0;
    std::vector<GenTLDeviceInfo *> present;
    for (uint32_t i = 0; i < count && i < kDeviceLimit; ++i) {
        const std::string id = gentlText([&](INFO_DATATYPE *, void *buffer, size_t *size) {
            return gentlCall(fn.IFGetDeviceID, handle_, i, static_cast<char *>(buffer), size);
        });
        if (id.empty())
            continue;
        auto known = std::find_if(known_.begin(), known_.end(), [&](const auto &info) { return info->id() == id; });
        if (known == known_.end()) {
            known_.push_back(std::make_unique<GenTLDeviceInfo>(*this, id));
            known = known_.end() - 1;
        }
        (*known)->refresh();
        present.push_back(known->get());
    }
    if (changed)
        *changed = present != present_;
    present_ = std::move(present);
    return kOk;
}

bool GenTLInterface::holds(DeviceInfo *info) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(known_.begin(), known_.end(), [info](const auto &known) { return known.get() == info; });
}

DeviceInfoList *GenTLInterface::GetDeviceInfoList() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return makeSnapshotList<DeviceInfoList, DeviceInfo>(present_);
}

DeviceInfo *GenTLInterface::GetFirstDeviceInfo() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return present_.empty() ? nullptr : present_.front();
}

KyrCamErr GenTLInterface::ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept
{
    if (!changed)
        return kErrInvalidParameter;
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        // Our "without limit" is GENTL_INFINITE bit for bit.
        return enumerate(timeoutMs, changed);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

const char *GenTLInterface::GetDescription() noexcept { return description_.c_str(); }

int32_t GenTLInterface::GetType() noexcept { return type_; }

KyrGenParam::Array *GenTLInterface::GetParameters(KyrCamErr *err) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    KyrCamErr code = kOk;
    if (!params_)
        code = GenTLNodeMap::create(producer_, handle_, nullptr, params_);
    setError(err, code);
    return params_ ? params_->array() : nullptr;
}

KyrCamErr GenTLInterface::deviceIp(const std::string &id, uint32_t &address, uint32_t &mask, uint32_t &gateway) noexcept
{
    if (type_ != kInterfaceGigEVision)
        return kErrNotAvailable;
    KyrGenParam::Array *params = GetParameters(nullptr);
    if (!params)
        return kErrNotAvailable;
    std::lock_guard<std::mutex> lock(selectorMutex_);
    for (int64_t index = 0; index < int64_t(kDeviceLimit); ++index) {
        if (params->SetIntegerValue("DeviceSelector", index) != kOk)
            return kErrNotAvailable;
        KyrCamErr err = kOk;
        const char *selected = params->GetStringValue("DeviceID", &err);
        if (err != kOk || !selected || id != selected)
            continue;
        const int64_t values[] = { params->GetIntegerValue("GevDeviceIPAddress", &err),
                                   err == kOk ? params->GetIntegerValue("GevDeviceSubnetMask", &err) : 0,
                                   err == kOk ? params->GetIntegerValue("GevDeviceGateway", &err) : 0 };
        if (err != kOk)
            return kErrNotAvailable;
        address = uint32_t(values[0]);
        mask = uint32_t(values[1]);
        gateway = uint32_t(values[2]);
        return kOk;
    }
    return kErrNotAvailable;
}

GenTLDeviceInfo::GenTLDeviceInfo(GenTLInterface &owner, std::string id) : owner_(owner), id_(std::move(id)) {}

void GenTLDeviceInfo::refresh()
{
    const GenTLFunctions &fn = owner_.producer().fn();
    IF_HANDLE handle = owner_.handle();
    const auto text = [&](DEVICE_INFO_CMD command) {
        return gentlText([&](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn.IFGetDeviceInfo, handle, id_.c_str(), command, type, buffer, size);
        });
    };
    std::string vendor = text(DEVICE_INFO_VENDOR), model = text(DEVICE_INFO_MODEL);
    std::string serial = text(DEVICE_INFO_SERIAL_NUMBER), version = text(DEVICE_INFO_VERSION);
    std::string userName = text(DEVICE_INFO_USER_DEFINED_NAME), displayName = text(DEVICE_INFO_DISPLAYNAME);
    uint64_t access = DEVICE_ACCESS_STATUS_UNKNOWN;
    gentlInteger(
        [&](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn.IFGetDeviceInfo, handle, id_.c_str(), DEVICE_INFO_CMD(DEVICE_INFO_ACCESS_STATUS), type,
                             buffer, size);
        },
        access);
    // Without the device texts the id is the one name we have.
    if (model.empty())
        model = id_;
    if (!userName.empty())
        displayName = userName;
    else if (displayName.empty())
        displayName = vendor + " " + model + " (" + (serial.empty() ? id_ : serial) + ")";
    std::lock_guard<std::mutex> lock(mutex_);
    vendor_ = std::move(vendor);
    model_ = std::move(model);
    serial_ = std::move(serial);
    version_ = std::move(version);
    userName_ = std::move(userName);
    displayName_ = std::move(displayName);
    access_ = accessStatus(access);
}

bool GenTLDeviceInfo::claim() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (openHere_)
        return false;
    openHere_ = true;
    return true;
}

void GenTLDeviceInfo::setOpenHere(bool open) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    openHere_ = open;
}

std::string GenTLDeviceInfo::vendor() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return vendor_;
}

std::string GenTLDeviceInfo::model() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return model_;
}

std::string GenTLDeviceInfo::serial() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return serial_;
}

Interface *GenTLDeviceInfo::GetInterface() noexcept { return &owner_; }

// A rescan replaces the texts: each caller gets a copy of its own.
const char *GenTLDeviceInfo::answer(std::string GenTLDeviceInfo::*field, ThreadText &slot) noexcept
{
    try {
        std::string text;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            text = this->*field;
        }
        return slot.keep(std::move(text));
    } catch (...) {
        return "";
    }
}

const char *GenTLDeviceInfo::GetVendor() noexcept
{
    return answer(&GenTLDeviceInfo::vendor_, vendorText_);
}

const char *GenTLDeviceInfo::GetModel() noexcept
{
    return answer(&GenTLDeviceInfo::model_, modelText_);
}

const char *GenTLDeviceInfo::GetDisplayName() noexcept
{
    return answer(&GenTLDeviceInfo::displayName_, displayNameText_);
}

const char *GenTLDeviceInfo::GetUserDefinedName() noexcept
{
    return answer(&GenTLDeviceInfo::userName_, userNameText_);
}

const char *GenTLDeviceInfo::GetSerialNumber() noexcept
{
    return answer(&GenTLDeviceInfo::serial_, serialText_);
}

const char *GenTLDeviceInfo::GetVersion() noexcept
{
    return answer(&GenTLDeviceInfo::version_, versionText_);
}

int32_t GenTLDeviceInfo::GetAccessStatus() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return openHere_ ? kAccessBusy : access_;
}

// FORCEIP is a GigE Vision message that a producer does not pass on.
const char *GenTLDeviceInfo::ipText(size_t which, ThreadText &slot, KyrCamErr *err) noexcept
{
    uint32_t values[3] = {};
    const KyrCamErr code = GetIP(&values[0], &values[1], &values[2]);
    setError(err, code);
    if (code != kOk)
        return "";
    try {
        return slot.keep(formatIpv4(values[which]));
    } catch (...) {
        return "";
    }
}

const char *GenTLDeviceInfo::GetIPAddress(KyrCamErr *err) noexcept { return ipText(0, addressText_, err); }

const char *GenTLDeviceInfo::GetIPMask(KyrCamErr *err) noexcept { return ipText(1, maskText_, err); }

const char *GenTLDeviceInfo::GetIPGateway(KyrCamErr *err) noexcept { return ipText(2, gatewayText_, err); }

// Read at each call: a GigE Vision device may change its address at any time.
KyrCamErr GenTLDeviceInfo::GetIP(uint32_t *address, uint32_t *mask, uint32_t *gateway) noexcept
{
    if (!address || !mask || !gateway)
        return kErrInvalidParameter;
    return owner_.deviceIp(id_, *address, *mask, *gateway);
}

KyrCamErr GenTLDeviceInfo::ForceIP(const char *, const char *, const char *) noexcept { return kErrNotAvailable; }

} // namespace KyrCam
