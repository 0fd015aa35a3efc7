#include "gentl_private.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace KyrCam {

namespace {

// Longest info answer we accept; a producer claiming more is answered with
// an empty text.
constexpr size_t kInfoLimit = 64 * 1024;
constexpr uint64_t kFirstEnumerationTimeoutMs = 1000;

template <typename Fn>
bool bind(void *library, const char *name, Fn &slot) noexcept
{
    slot = reinterpret_cast<Fn>(dlsym(library, name));
    return slot != nullptr;
}

struct Registry {
    std::mutex mutex;
    std::vector<std::unique_ptr<GenTLProducer>> producers;
};

// Never destroyed: devices that a script keeps until exit still call into
// their producers from their threads while static objects go.
Registry &registry() noexcept
{
    static Registry *const instance = new Registry;
    return *instance;
}

} // namespace

KyrCamErr gentlCode(GC_ERROR code) noexcept
{
    if (code == GC_ERR_SUCCESS)
        return kOk;
    return code <= GC_ERR_ERROR && code >= GC_ERR_BUSY ? code : kErrGenTL;
}

std::string gentlBytes(const GenTLInfoQuery &query)
{
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    size_t size = 0;
    if (query(&type, nullptr, &size) != GC_ERR_SUCCESS || size == 0 || size > kInfoLimit)
        return std::string();
    std::string bytes(size, '\0');
    size_t got = size;
    if (query(&type, &bytes[0], &got) != GC_ERR_SUCCESS)
        return std::string();
    bytes.resize(std::min(got, size));
    return bytes;
}

std::string gentlText(const GenTLInfoQuery &query)
{
    std::string text = gentlBytes(query);
    const size_t nul = text.find('\0');
    if (nul != std::string::npos)
        text.resize(nul);
    return text;
}

bool gentlInteger(const GenTLInfoQuery &query, uint64_t &value)
{
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    uint8_t bytes[8] = {};
    size_t size = sizeof bytes;
    if (query(&type, bytes, &size) != GC_ERR_SUCCESS || size == 0 || size > sizeof bytes)
        return false;
    value = 0;
    switch (type) {
    case INFO_DATATYPE_BOOL8:
        value = bytes[0] != 0;
        return true;
    case INFO_DATATYPE_INT16:
    case INFO_DATATYPE_UINT16: {
        uint16_t v;
        std::memcpy(&v, bytes, sizeof v);
        value = type == INFO_DATATYPE_INT16 ? uint64_t(int64_t(int16_t(v))) : v;
        return true;
    }
    case INFO_DATATYPE_INT32:
    case INFO_DATATYPE_UINT32: {
        uint32_t v;
        std::memcpy(&v, bytes, sizeof v);
        value = type == INFO_DATATYPE_INT32 ? uint64_t(int64_t(int32_t(v))) : v;
        return true;
    }
    default:
        // INT64, UINT64, SIZET, PTR and producers that give no type: the
        // bytes they wrote, little end first.
        std::memcpy(&value, bytes, std::min(size, sizeof value));
        return true;
    }
}

int32_t gentlInterfaceType(const std::string &tlType) noexcept
{
    if (tlType == "U3V")
        return kInterfaceUsb3Vision;
    if (tlType == "GEV")
        return kInterfaceGigEVision;
    if (tlType == "CL" || tlType == "CLHS")
        return kInterfaceCameraLink;
    if (tlType == "CXP")
        return kInterfaceCoaXPress;
    // GenTL names no HD-SDI type: such producers report a custom type whose
    // text names the transport.
    if (tlType == "HDSDI" || tlType == "HD-SDI" || tlType == "SDI" || tlType == "Custom:HDSDI")
        return kInterfaceHdSdi;
    return kInterfaceOtherGenTL;
}

KyrCamErr GenTLProducer::load(const std::string &path, std::unique_ptr<GenTLProducer> &producer) noexcept
{
    try {
        struct stat status;
        if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            return kErrFileNotFound;
        void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            logDebug("gentl: %s", dlerror());
            return kErrNotImplemented;
        }
        std::unique_ptr<GenTLProducer> loaded(new GenTLProducer);
        loaded->path_ = path;
        loaded->library_ = library;
        GenTLFunctions &fn = loaded->fn_;
        const bool required =
            bind(library, "GCInitLib", fn.GCInitLib) & bind(library, "GCCloseLib", fn.GCCloseLib) &
            bind(library, "TLOpen", fn.TLOpen) & bind(library, "TLClose", fn.TLClose) &
            bind(library, "TLGetNumInterfaces", fn.TLGetNumInterfaces) &
            bind(library, "TLGetInterfaceID", fn.TLGetInterfaceID) &
            bind(library, "TLOpenInterface", fn.TLOpenInterface) & bind(library, "IFClose", fn.IFClose) &
            bind(library, "IFGetNumDevices", fn.IFGetNumDevices) & bind(library, "IFGetDeviceID", fn.IFGetDeviceID) &
            bind(library, "IFOpenDevice", fn.IFOpenDevice) & bind(library, "DevGetPort", fn.DevGetPort) &
            bind(library, "DevClose", fn.DevClose) & bind(library, "GCReadPort", fn.GCReadPort) &
            bind(library, "GCWritePort", fn.GCWritePort);
        if (!required) {
            // A library without the required entry points is no producer; it
            // stays loaded, as its initialisers may have run.
            logDebug("gentl: %s lacks a required export", path.c_str());
            return kErrNotImplemented;
        }
        bind(library, "GCGetInfo", fn.GCGetInfo);
        bind(library, "TLGetInfo", fn.TLGetInfo);
        bind(library, "TLUpdateInterfaceList", fn.TLUpdateInterfaceList);
        bind(library, "TLGetInterfaceInfo", fn.TLGetInterfaceInfo);
        bind(library, "IFGetInfo", fn.IFGetInfo);
        bind(library, "IFUpdateDeviceList", fn.IFUpdateDeviceList);
        bind(library, "IFGetDeviceInfo", fn.IFGetDeviceInfo);
        bind(library, "DevGetNumDataStreams", fn.DevGetNumDataStreams);
        bind(library, "DevGetDataStreamID", fn.DevGetDataStreamID);
        bind(library, "DevOpenDataStream", fn.DevOpenDataStream);
        bind(library, "GCGetPortURL", fn.GCGetPortURL);
        bind(library, "GCGetNumPortURLs", fn.GCGetNumPortURLs);
        bind(library, "GCGetPortURLInfo", fn.GCGetPortURLInfo);
        bind(library, "GCRegisterEvent", fn.GCRegisterEvent);
        bind(library, "GCUnregisterEvent", fn.GCUnregisterEvent);
        bind(library, "EventGetData", fn.EventGetData);
        bind(library, "EventGetDataInfo", fn.EventGetDataInfo);
        bind(library, "EventKill", fn.EventKill);
        bind(library, "DSAnnounceBuffer", fn.DSAnnounceBuffer);
        bind(library, "DSRevokeBuffer", fn.DSRevokeBuffer);
        bind(library, "DSQueueBuffer", fn.DSQueueBuffer);
        bind(library, "DSFlushQueue", fn.DSFlushQueue);
        bind(library, "DSStartAcquisition", fn.DSStartAcquisition);
        bind(library, "DSStopAcquisition", fn.DSStopAcquisition);
        bind(library, "DSGetInfo", fn.DSGetInfo);
        bind(library, "DSGetBufferInfo", fn.DSGetBufferInfo);
        bind(library, "DSClose", fn.DSClose);
        const KyrCamErr code = loaded->start();
        if (code != kOk)
            return code;
        producer = std::move(loaded);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr GenTLProducer::start() noexcept
{
    if (gentlCall(fn_.GCInitLib) != GC_ERR_SUCCESS)
        return kErrNotInitialized;
    if (gentlCall(fn_.TLOpen, &tl_) != GC_ERR_SUCCESS || !tl_) {
        gentlCall(fn_.GCCloseLib);
        return kErrNotInitialized;
    }
    try {
        tlType_ = gentlText([this](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn_.TLGetInfo, tl_, TL_INFO_CMD(TL_INFO_TLTYPE), type, buffer, size);
        });
        if (tlType_.empty())
            tlType_ = gentlText([this](INFO_DATATYPE *type, void *buffer, size_t *size) {
                return gentlCall(fn_.GCGetInfo, TL_INFO_CMD(TL_INFO_TLTYPE), type, buffer, size);
            });
        bool8_t changed = 0;
        gentlCall(fn_.TLUpdateInterfaceList, tl_, &changed, kFirstEnumerationTimeoutMs);
        uint32_t count = 0;
        if (gentlCall(fn_.TLGetNumInterfaces, tl_, &count) != GC_ERR_SUCCESS)
            count = 0;
        for (uint32_t i = 0; i < count && i < 256; ++i) {
            const std::string id = gentlText([this, i](INFO_DATATYPE *, void *buffer, size_t *size) {
                return gentlCall(fn_.TLGetInterfaceID, tl_, i, static_cast<char *>(buffer), size);
            });
            if (id.empty())
                continue;
            // An interface may name its own transport (a producer serving
            // several); otherwise the transport layer's type holds.
            std::string type = gentlText([this, &id](INFO_DATATYPE *t, void *buffer, size_t *size) {
                return gentlCall(fn_.TLGetInterfaceInfo, tl_, id.c_str(), INTERFACE_INFO_CMD(INTERFACE_INFO_TLTYPE),
                                 t, buffer, size);
            });
            if (type.empty())
                type = tlType_;
            auto iface = std::make_unique<GenTLInterface>(*this, id, gentlInterfaceType(type));
            if (iface->open() == kOk)
                interfaces_.push_back(std::move(iface));
        }
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

std::vector<GenTLInterface *> GenTLProducer::interfaces() noexcept
{
    std::vector<GenTLInterface *> result;
    for (auto &iface : interfaces_)
        result.push_back(iface.get());
    return result;
}

GenTLWorker *GenTLProducer::newWorker() noexcept
{
    try {
        std::lock_guard<std::mutex> lock(workersMutex_);
        workers_.erase(std::remove_if(workers_.begin(), workers_.end(),
                                      [](const auto &worker) { return worker->finished(); }),
                       workers_.end());
        workers_.push_back(std::make_unique<GenTLWorker>());
        return workers_.back().get();
    } catch (...) {
        return nullptr;
    }
}

KyrCamErr registerGenTLProducer(const char *path) noexcept
{
    if (!path)
        return kErrInvalidParameter;
    try {
        char resolved[PATH_MAX];
        if (!realpath(path, resolved))
            return kErrFileNotFound;
        Registry &reg = registry();
        std::lock_guard<std::mutex> lock(reg.mutex);
        for (auto &producer : reg.producers) {
            if (producer->path() == resolved)
                return kErrResourceInUse;
        }
        std::unique_ptr<GenTLProducer> producer;
        const KyrCamErr code = GenTLProducer::load(resolved, producer);
        if (code == kOk)
            reg.producers.push_back(std::move(producer));
        return code;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

std::vector<GenTLInterface *> gentlInterfaces() noexcept
{
    std::vector<GenTLInterface *> result;
    try {
        Registry &reg = registry();
        std::lock_guard<std::mutex> lock(reg.mutex);
        for (auto &producer : reg.producers) {
            for (GenTLInterface *iface : producer->interfaces())
                result.push_back(iface);
        }
    } catch (...) {
        result.clear();
    }
    return result;
}

GenTLDeviceInfo *gentlDeviceInfo(DeviceInfo *info) noexcept
{
    if (!info)
        return nullptr;
    for (GenTLInterface *iface : gentlInterfaces()) {
        if (iface->holds(info))
            return static_cast<GenTLDeviceInfo *>(info);
    }
    return nullptr;
}

} // namespace KyrCam
