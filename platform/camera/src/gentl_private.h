// The GenTL consumer: producers (.cti) loaded at run time, their interfaces
// beside the Aravis ones, and devices, streams and buffers over their handles.
// A producer is loaded once and stays loaded until the process ends: its
// handles may be alive in any device a script never released, so neither
// GCCloseLib nor dlclose ever runs. Any thread; streams call back on their own
// event thread; buffers: owner thread only.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <camera/KyrCamApi.h>
#include <image/KyrImage.h>

#include "aravis_support_private.h"
#include "gentl_api_private.h"
#include "gentl_worker_private.h"
#include "genparam_private.h"
#include "port_device_private.h"

namespace KyrCam {

// Interface type of a transport layer that is none of ours.
constexpr int32_t kInterfaceOtherGenTL = 6;
// Longest wait for one port access, opening or closing a device: the
// producer's call may take longer, the caller does not.
constexpr uint64_t kGenTLPortTimeoutMs = 2000;

// The producer's entry points; optional ones are null when not exported.
struct GenTLFunctions {
    // Required.
    PGCInitLib GCInitLib;
    PGCCloseLib GCCloseLib;
    PTLOpen TLOpen;
    PTLClose TLClose;
    PTLGetNumInterfaces TLGetNumInterfaces;
    PTLGetInterfaceID TLGetInterfaceID;
    PTLOpenInterface TLOpenInterface;
    PIFClose IFClose;
    PIFGetNumDevices IFGetNumDevices;
    PIFGetDeviceID IFGetDeviceID;
    PIFOpenDevice IFOpenDevice;
    PDevGetPort DevGetPort;
    PDevClose DevClose;
    PGCReadPort GCReadPort;
    PGCWritePort GCWritePort;
    // Optional.
    PGCGetInfo GCGetInfo;
    PTLGetInfo TLGetInfo;
    PTLUpdateInterfaceList TLUpdateInterfaceList;
    PTLGetInterfaceInfo TLGetInterfaceInfo;
    PIFGetInfo IFGetInfo;
    PIFUpdateDeviceList IFUpdateDeviceList;
    PIFGetDeviceInfo IFGetDeviceInfo;
    PDevGetNumDataStreams DevGetNumDataStreams;
    PDevGetDataStreamID DevGetDataStreamID;
    PDevOpenDataStream DevOpenDataStream;
    PGCGetPortURL GCGetPortURL;
    PGCGetNumPortURLs GCGetNumPortURLs;
    PGCGetPortURLInfo GCGetPortURLInfo;
    PGCRegisterEvent GCRegisterEvent;
    PGCUnregisterEvent GCUnregisterEvent;
    PEventGetData EventGetData;
    PEventGetDataInfo EventGetDataInfo;
    PEventKill EventKill;
    PDSAnnounceBuffer DSAnnounceBuffer;
    PDSRevokeBuffer DSRevokeBuffer;
    PDSQueueBuffer DSQueueBuffer;
    PDSFlushQueue DSFlushQueue;
    PDSStartAcquisition DSStartAcquisition;
    PDSStopAcquisition DSStopAcquisition;
    PDSGetInfo DSGetInfo;
    PDSGetBufferInfo DSGetBufferInfo;
    PDSClose DSClose;
};

// Calls a producer function: an absent one answers GC_ERR_NOT_IMPLEMENTED and
// an exception thrown by a C++ producer becomes GC_ERR_ERROR here.
template <typename Fn, typename... Args>
GC_ERROR gentlCall(Fn fn, Args... args) noexcept
{
    if (!fn)
        return GC_ERR_NOT_IMPLEMENTED;
    try {
        return fn(args...);
    } catch (...) {
        return GC_ERR_ERROR;
    }
}

// A GenTL code as ours: the GenTL range passes unchanged, anything else is
// kErrGenTL.
KyrCamErr gentlCode(GC_ERROR code) noexcept;

// An info query `(type, buffer, size)`; the helpers ask for the size first,
// bound it and tolerate a missing NUL. Empty text or `fallback` on failure.
using GenTLInfoQuery = std::function<GC_ERROR(INFO_DATATYPE *, void *, size_t *)>;
std::string gentlBytes(const GenTLInfoQuery &query);
std::string gentlText(const GenTLInfoQuery &query);
bool gentlInteger(const GenTLInfoQuery &query, uint64_t &value);

class GenTLProducer;
class GenTLInterface;
class GenTLDevice;

class GenTLDeviceInfo final : public DeviceInfo
{
public:
    GenTLDeviceInfo(GenTLInterface &owner, std::string id);
    ~GenTLDeviceInfo() override = default;

    const std::string &id() const noexcept { return id_; }
    GenTLInterface &owner() noexcept { return owner_; }
    // Reads the texts again from the interface.
    void refresh();
    bool claim() noexcept;
    void setOpenHere(bool open) noexcept;

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

    std::string vendor() const;
    std::string model() const;
    std::string serial() const;

private:
    const char *answer(std::string GenTLDeviceInfo::*field, ThreadText &slot) noexcept;
    // Setting `which` of GetIP (0 address, 1 mask, 2 gateway) as text.
    const char *ipText(size_t which, ThreadText &slot, KyrCamErr *err) noexcept;

    GenTLInterface &owner_;
    const std::string id_;
    mutable std::mutex mutex_;
    std::string vendor_, model_, serial_, version_, userName_, displayName_;
    ThreadText vendorText_, modelText_, serialText_, versionText_, userNameText_, displayNameText_;
    ThreadText addressText_, maskText_, gatewayText_;
    int32_t access_ = kAccessUnknown;
    bool openHere_ = false;
};

class GenTLInterface final : public Interface
{
public:
    GenTLInterface(GenTLProducer &producer, std::string id, int32_t type);
    ~GenTLInterface() override = default;

    GenTLProducer &producer() noexcept { return producer_; }
    IF_HANDLE handle() noexcept { return handle_; }
    // Opens the interface handle and lists its devices once.
    KyrCamErr open() noexcept;
    bool holds(DeviceInfo *info) noexcept;
    // The IPv4 settings of device `id` from the interface's GevDevice*
    // features (GigE Vision producers). Codes: kErrNotAvailable.
    KyrCamErr deviceIp(const std::string &id, uint32_t &address, uint32_t &mask, uint32_t &gateway) noexcept;

    DeviceInfoList *GetDeviceInfoList() noexcept override;
    DeviceInfo *GetFirstDeviceInfo() noexcept override;
    KyrCamErr ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept override;
    const char *GetDescription() noexcept override;
    int32_t GetType() noexcept override;
    KyrGenParam::Array *GetParameters(KyrCamErr *err) noexcept override;

private:
    KyrCamErr enumerate(uint64_t timeoutMs, bool *changed);

    GenTLProducer &producer_;
    const std::string id_;
    const int32_t type_;
    std::string description_;
    IF_HANDLE handle_ = nullptr;
    std::mutex mutex_;
    std::vector<std::unique_ptr<GenTLDeviceInfo>> known_;
    std::vector<GenTLDeviceInfo *> present_;
    std::unique_ptr<class GenTLNodeMap> params_;
    // DeviceSelector and the features it selects are read as one.
    std::mutex selectorMutex_;
};

class GenTLProducer
{
public:
    // Loads the producer at `path`. Codes: kErrFileNotFound, kErrNotImplemented
    // (a required export is missing), kErrNotInitialized (GCInitLib or TLOpen
    // failed).
    static KyrCamErr load(const std::string &path, std::unique_ptr<GenTLProducer> &producer) noexcept;

    const GenTLFunctions &fn() const noexcept { return fn_; }
    const std::string &path() const noexcept { return path_; }
    TL_HANDLE tl() const noexcept { return tl_; }
    std::vector<GenTLInterface *> interfaces() noexcept;
    // A new worker for one device's calls, kept until it has finished after
    // its retire(); null when memory is short.
    GenTLWorker *newWorker() noexcept;

private:
    GenTLProducer() = default;
    KyrCamErr start() noexcept;

    std::string path_;
    void *library_ = nullptr;
    GenTLFunctions fn_{};
    TL_HANDLE tl_ = nullptr;
    std::string tlType_;
    std::vector<std::unique_ptr<GenTLInterface>> interfaces_;
    std::mutex workersMutex_;
    std::vector<std::unique_ptr<GenTLWorker>> workers_;
};

// The interface type of a transport layer type text (TL_INFO_TLTYPE).
int32_t gentlInterfaceType(const std::string &tlType) noexcept;

// Registered producers (process-wide, never freed).
KyrCamErr registerGenTLProducer(const char *path) noexcept;
std::vector<GenTLInterface *> gentlInterfaces() noexcept;
// The GenTL device info behind `info`, or null when it is not one.
GenTLDeviceInfo *gentlDeviceInfo(DeviceInfo *info) noexcept;
// Opens a device of a producer as KyrCam_CreateDevice does.
Device *openGenTLDevice(GenTLDeviceInfo &info, int32_t mode, KyrCamErr *err) noexcept;

// A node map over a producer port: the XML named by its URL, fed to ArvGc,
// registers read and written through GCReadPort/GCWritePort.
class GenTLNodeMap final : public PortTarget
{
public:
    // Port calls go through `worker`, each bounded by kGenTLPortTimeoutMs,
    // or are made on the caller's thread when it is null. Codes:
    // kErrNotAvailable (no URL, unsupported scheme, bad XML), the producer's
    // codes.
    static KyrCamErr create(GenTLProducer &producer, PORT_HANDLE port, GenTLWorker *worker,
                            std::unique_ptr<GenTLNodeMap> &map) noexcept;
    ~GenTLNodeMap();

    AravisParamArray *array() noexcept { return array_.get(); }
    // Whether the description declares an event port for `eventId`.
    bool declaresEvent(uint64_t eventId) const noexcept;
    // Every port access after this answers kErrIo without calling the producer.
    void detach() noexcept;
    KyrCamErr read(uint64_t address, void *buffer, size_t size) noexcept;
    KyrCamErr write(uint64_t address, const void *data, size_t size) noexcept;

    gboolean readPort(guint64 address, guint32 size, void *buffer, GError **error) override;
    gboolean writePort(guint64 address, guint32 size, const void *data, GError **error) override;

private:
    GenTLNodeMap() = default;
    // Our code as the port's GError.
    static gboolean takeCode(KyrCamErr code, guint64 address, bool write, GError **error) noexcept;
    KyrCamErr access(uint64_t address, void *bytes, size_t size, bool write) noexcept;

    struct Target;
    std::shared_ptr<Target> target_;
    GObjectPtr<ArvDevice> port_;
    std::unique_ptr<AravisParamArray> array_;
    std::vector<uint64_t> eventIds_;
};

} // namespace KyrCam
