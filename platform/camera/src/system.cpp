#include "system_private.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>

#include <arv.h>

#include "device_private.h"
#include "gentl_private.h"
#include "gvcp_private.h"
#include "object_list_private.h"

namespace KyrCam {

namespace {

constexpr int kDiscoveryAnswerTimeoutMs = 200;
constexpr uint64_t kWaitWithoutLimit = ~uint64_t(0);
// Longer timeouts (about 35 years) wait without limit: std::chrono would
// overflow converting them.
constexpr uint64_t kLongestTimeoutMs = uint64_t(1) << 40;

struct IfAddrsFree {
    void operator()(ifaddrs *list) const noexcept { freeifaddrs(list); }
};

// The IPv4 adapters that are up, in the order the kernel lists them.
std::vector<std::unique_ptr<AravisInterface>> hostAdapters()
{
    std::vector<std::unique_ptr<AravisInterface>> adapters;
    ifaddrs *raw = nullptr;
    if (getifaddrs(&raw) != 0)
        return adapters;
    std::unique_ptr<ifaddrs, IfAddrsFree> list(raw);
    for (ifaddrs *entry = raw; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET || !(entry->ifa_flags & IFF_UP))
            continue;
        const uint32_t address = ntohl(reinterpret_cast<sockaddr_in *>(entry->ifa_addr)->sin_addr.s_addr);
        const uint32_t mask =
            entry->ifa_netmask ? ntohl(reinterpret_cast<sockaddr_in *>(entry->ifa_netmask)->sin_addr.s_addr) : ~0u;
        adapters.push_back(std::make_unique<AravisInterface>(kInterfaceGigEVision, entry->ifa_name, address, mask));
    }
    return adapters;
}

std::string text(const char *value) { return value ? value : ""; }

// "00:11:22:33:44:55" as a 48-bit number; 0 when it is not such a text.
uint64_t parseMac(const char *value)
{
    unsigned bytes[6];
    if (!value || std::sscanf(value, "%x:%x:%x:%x:%x:%x", &bytes[0], &bytes[1], &bytes[2], &bytes[3], &bytes[4],
                              &bytes[5]) != 6)
        return 0;
    uint64_t mac = 0;
    for (unsigned byte : bytes)
        mac = (mac << 8) | (byte & 0xFF);
    return mac;
}

} // namespace

AravisSystem::AravisSystem()
    : interfaces_(hostAdapters())
{
    interfaces_.push_back(std::make_unique<AravisInterface>(kInterfaceUsb3Vision, "usb", 0, 0));
    version_ = "KyrCameraApi 1.0, Aravis " + aravisVersion();
    thread_ = std::thread([this] { run(); });
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return started_; });
}

AravisSystem::~AravisSystem()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void AravisSystem::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    started_ = true;
    wake_.notify_all();
    for (;;) {
        wake_.wait(lock, [this] { return stop_ || requested_ > completed_; });
        if (stop_)
            return;
        const uint64_t target = requested_;
        lock.unlock();
        try {
            distribute(discover());
        } catch (...) {
            logDebug("enumeration failed: out of memory");
        }
        lock.lock();
        completed_ = target;
        wake_.notify_all();
    }
}

std::vector<DeviceRecord> AravisSystem::discover()
{
    arv_update_device_list();
    std::vector<DeviceRecord> records;
    const unsigned count = arv_get_n_devices();
    for (unsigned i = 0; i < count; ++i) {
        DeviceRecord record;
        record.id = text(arv_get_device_id(i));
        record.protocol = text(arv_get_device_protocol(i));
        record.vendor = text(arv_get_device_vendor(i));
        record.model = text(arv_get_device_model(i));
        record.serial = text(arv_get_device_serial_nbr(i));
        record.gige = record.protocol == "GigEVision";
        if (!record.gige && record.protocol != "USB3Vision")
            continue;
        if (record.gige) {
            parseIpv4(arv_get_device_address(i), record.address);
            record.mac = parseMac(arv_get_device_physical_id(i));
            // Aravis keeps the rest of the discovery answer to itself: ask the
            // device once more.
            GvcpDiscovery answer;
            if (gvcpDiscover(record.address, kGvcpPort, kDiscoveryAnswerTimeoutMs, answer) == kOk) {
                record.version = answer.version;
                record.userName = answer.userName;
                record.mask = answer.mask;
                record.gateway = answer.gateway;
                if (answer.mac)
                    record.mac = answer.mac;
            }
        }
        records.push_back(std::move(record));
    }
    return records;
}

void AravisSystem::distribute(std::vector<DeviceRecord> records)
{
    std::vector<std::vector<DeviceRecord>> perInterface(interfaces_.size());
    for (DeviceRecord &record : records) {
        size_t chosen = interfaces_.size();
        for (size_t i = 0; i < interfaces_.size() && chosen == interfaces_.size(); ++i) {
            if (interfaces_[i]->holds(record))
                chosen = i;
        }
        // A camera on no adapter's subnet answered a broadcast: show it on the
        // first adapter that is not loopback, unreachable until its address is
        // forced.
        for (size_t i = 0; i < interfaces_.size() && chosen == interfaces_.size() && record.gige; ++i) {
            if (interfaces_[i]->GetType() == kInterfaceGigEVision && (interfaces_[i]->hostAddress() >> 24) != 127) {
                chosen = i;
                record.reachable = false;
            }
        }
        if (chosen < interfaces_.size())
            perInterface[chosen].push_back(std::move(record));
    }
    for (size_t i = 0; i < interfaces_.size(); ++i)
        interfaces_[i]->apply(perInterface[i]);
}

bool AravisSystem::enumerate(uint64_t timeoutMs) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    const uint64_t ticket = ++requested_;
    wake_.notify_all();
    const auto done = [&] { return completed_ >= ticket; };
    if (timeoutMs >= kLongestTimeoutMs) {
        wake_.wait(lock, done);
        return true;
    }
    return wake_.wait_for(lock, std::chrono::milliseconds(timeoutMs), done);
}

std::vector<AravisInterface *> AravisSystem::interfaces() noexcept
{
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const bool never = completed_ == 0;
        lock.unlock();
        if (never)
            enumerate(kWaitWithoutLimit);
    }
    std::vector<AravisInterface *> result;
    for (auto &iface : interfaces_)
        result.push_back(iface.get());
    return result;
}

bool AravisSystem::owns(DeviceInfo *info) noexcept
{
    for (auto &iface : interfaces_) {
        DeviceInfoList *list = iface->GetDeviceInfoList();
        if (!list)
            continue;
        bool found = false;
        for (DeviceInfo *item = list->GetFirst(); item && !found; item = list->GetNext())
            found = item == info;
        list->Release();
        if (found)
            return true;
    }
    return false;
}

AravisDeviceInfo *AravisSystem::firstDevice() noexcept
{
    for (AravisInterface *iface : interfaces()) {
        if (DeviceInfo *info = iface->GetFirstDeviceInfo())
            return static_cast<AravisDeviceInfo *>(info);
    }
    return nullptr;
}

AravisDeviceInfo *AravisSystem::findDevice(const std::string &vendor, const std::string &model,
                                           const std::string &serial) noexcept
{
    try {
        for (AravisInterface *iface : interfaces()) {
            if (AravisDeviceInfo *info = iface->findBySerial(vendor, model, serial))
                return info;
        }
    } catch (...) {
        logDebug("device search failed: out of memory");
    }
    return nullptr;
}

InterfaceList *AravisSystem::GetInterfaceList(uint32_t mask) noexcept
{
    try {
        std::vector<Interface *> selected;
        for (AravisInterface *iface : interfaces()) {
            if (mask == uint32_t(kInterfaceAll) || (mask & interfaceMaskBit(iface->GetType())))
                selected.push_back(iface);
        }
        for (GenTLInterface *iface : gentlInterfaces()) {
            if (mask == uint32_t(kInterfaceAll) || (mask & interfaceMaskBit(iface->GetType())))
                selected.push_back(iface);
        }
        return makeSnapshotList<InterfaceList, Interface>(selected);
    } catch (...) {
        return nullptr;
    }
}

const char *AravisSystem::GetDisplayName() noexcept { return "KyrCameraApi (Aravis)"; }

const char *AravisSystem::GetVersion() noexcept { return version_.c_str(); }

Device *AravisSystem::CreateDeviceFromConfig(const char *path, KyrCamErr *err) noexcept
{
    return createDeviceFromConfig(path, err);
}

KyrCamErr AravisSystem::RegisterGenTLProvider(const char *path) noexcept
{
    return registerGenTLProducer(path);
}

AravisSystem *aravisSystem() noexcept
{
    static AravisSystem *const instance = []() -> AravisSystem * {
        try {
            static AravisSystem system;
            return &system;
        } catch (...) {
            return nullptr;
        }
    }();
    return instance;
}

} // namespace KyrCam

KyrCam::System *KyrCam_GetSystem() noexcept
{
    return KyrCam::aravisSystem();
}
