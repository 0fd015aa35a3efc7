#include "device_private.h"

#include <cstring>
#include <vector>

#include <gio/gio.h>

#include "gentl_private.h"
#include "gvcp_private.h"
#include "stream_private.h"
#include "system_private.h"

namespace KyrCam {

namespace {

constexpr uint32_t kPrivilegeExclusiveAndControl = 0x3;

GObjectPtr<GInetAddress> inetAddress(uint32_t address)
{
    return GObjectPtr<GInetAddress>(g_inet_address_new_from_string(formatIpv4(address).c_str()));
}

} // namespace

AravisDevice::AravisDevice(AravisDeviceInfo &info, int32_t mode, GObjectPtr<ArvDevice> device, bool gige)
    : info_(info), mode_(mode), gige_(gige), device_(std::move(device))
{
}

KyrCamErr AravisDevice::open(AravisDeviceInfo &info, int32_t mode, std::unique_ptr<AravisDevice> &result) noexcept
{
    try {
        const DeviceRecord record = info.record();
        AravisError error;
        GObjectPtr<ArvDevice> device;
        if (record.gige) {
            auto host = inetAddress(info.owner().hostAddress());
            auto address = inetAddress(record.address);
            device.reset(arv_gv_device_new(host.get(), address.get(), error.out()));
        } else {
            device.reset(arv_open_device(record.id.c_str(), error.out()));
        }
        if (!device)
            return error.failed() ? error.code() : kErrNoDevice;

        if (record.gige) {
            ArvGvDevice *gv = ARV_GV_DEVICE(device.get());
            if (mode == kOpenReadOnly) {
                if (arv_gv_device_is_controller(gv) && !arv_gv_device_leave_control(gv, error.out()))
                    return error.code();
            } else if (!arv_gv_device_is_controller(gv) && !arv_gv_device_take_control(gv, error.out())) {
                error.code();
                return kErrAccessDenied;
            }
            if (mode == kOpenExclusive &&
                !arv_device_write_register(device.get(), kGvcpRegControlChannelPrivilege,
                                           kPrivilegeExclusiveAndControl, error.out()))
                return error.code();
        }
        if (ArvGc *gc = arv_device_get_genicam(device.get()))
            enableChecks(gc);

        std::unique_ptr<AravisDevice> opened(new AravisDevice(info, mode, std::move(device), record.gige));
        if (ArvGc *gc = arv_device_get_genicam(opened->arv()))
            opened->camera_ = std::make_unique<AravisParamArray>(gc);
        opened->lostSignal_ = std::make_shared<LostSignal>();
        opened->lostSignal_->device = opened.get();
        // The handler's data is a reference of its own on the signal state,
        // which GLib gives back (dropLostSignal) with the handler.
        opened->lostHandler_ =
            g_signal_connect_data(opened->arv(), "control-lost", G_CALLBACK(onControlLost),
                                  new std::shared_ptr<LostSignal>(opened->lostSignal_), dropLostSignal, GConnectFlags(0));
        if (record.gige)
            opened->watch_ = std::make_unique<LinkWatch>(record.address, kGvcpPort, opened->frames_,
                                                         [signal = opened->lostSignal_] { markLost(*signal); });
        result = std::move(opened);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

AravisDevice::~AravisDevice()
{
    watch_.reset();
    // Nothing is posted for this device from here on.
    messages_.reset();
    if (lostSignal_) {
        std::lock_guard<std::mutex> lock(lostSignal_->mutex);
        lostSignal_->device = nullptr;
    }
    {
        std::lock_guard<std::mutex> lock(streamMutex_);
        stream_.reset();
    }
    if (AravisSystem *system = aravisSystem())
        system->events().removeAll(this);
    if (lostHandler_)
        g_signal_handler_disconnect(device_.get(), lostHandler_);
    transport_.reset();
    camera_.reset();
    dropDevice();
    info_.setOpenHere(false);
}

void AravisDevice::dropDevice() noexcept
{
    GObject *object = G_OBJECT(device_.release());
    AravisSystem *system = aravisSystem();
    if (lost_ && system)
        system->reaper().drop(object);
    else
        unrefLast(object);
}

void AravisDevice::dropLostSignal(gpointer signal, GClosure *)
{
    delete static_cast<std::shared_ptr<LostSignal> *>(signal);
}

void AravisDevice::onControlLost(ArvDevice *, gpointer signal)
{
    markLost(**static_cast<std::shared_ptr<LostSignal> *>(signal));
}

void AravisDevice::markLost(LostSignal &lost)
{
    std::lock_guard<std::mutex> lock(lost.mutex);
    AravisDevice *device = lost.device;
    if (!device || device->lost_.exchange(true))
        return;
    device->withStream([](AravisStream *stream) {
        if (stream)
            stream->deviceLost();
    });
    if (AravisSystem *system = aravisSystem()) {
        try {
            system->events().post(device, kEventDeviceLost, device->info_.displayName());
        } catch (...) {
            logDebug("device lost: event dropped, out of memory");
        }
    }
}

void AravisDevice::Release() noexcept { std::unique_ptr<AravisDevice> self(this); }

DeviceInfo *AravisDevice::GetInfo() noexcept { return &info_; }

// Aravis 0.8 opens one stream channel per device.
uint32_t AravisDevice::GetNumStreams() noexcept { return 1; }

Stream *AravisDevice::GetStreamByIndex(uint32_t index) noexcept
{
    if (index != 0)
        return nullptr;
    std::lock_guard<std::mutex> lock(streamMutex_);
    if (!stream_) {
        KyrCamErr code = kOk;
        stream_ = AravisStream::create(*this, code);
        if (!stream_) {
            logDebug("stream 0: %d", code);
            return nullptr;
        }
        if (lost_)
            stream_->deviceLost();
    }
    ++streamHandles_;
    return stream_.get();
}

Stream *AravisDevice::GetStreamById(const char *id) noexcept
{
    return id && std::strcmp(id, "Stream0") == 0 ? GetStreamByIndex(0) : nullptr;
}

void AravisDevice::releaseStream() noexcept
{
    std::lock_guard<std::mutex> lock(streamMutex_);
    if (streamHandles_ > 0 && --streamHandles_ == 0)
        stream_.reset();
}

KyrCamErr AravisDevice::ReadMem(int64_t address, void *buffer, int64_t size) noexcept
{
    if (!buffer || size < 1 || size > int64_t(UINT32_MAX))
        return kErrInvalidParameter;
    if (address < 0)
        return kErrInvalidAddress;
    if (lost_)
        return kErrIo;
    AravisError error;
    arv_device_read_memory(device_.get(), uint64_t(address), uint32_t(size), buffer, error.out());
    return error.code();
}

KyrCamErr AravisDevice::WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept
{
    if (written)
        *written = 0;
    if (!data || size < 1 || size > UINT32_MAX)
        return kErrInvalidParameter;
    if (address < 0)
        return kErrInvalidAddress;
    if (readOnly())
        return kErrAccessDenied;
    if (lost_)
        return kErrIo;
    try {
        // Aravis takes a mutable buffer although it only reads it.
        std::vector<uint8_t> copy(static_cast<const uint8_t *>(data), static_cast<const uint8_t *>(data) + size);
        AravisError error;
        if (!arv_device_write_memory(device_.get(), uint64_t(address), uint32_t(size), copy.data(), error.out()))
            return error.code();
        if (written)
            *written = size;
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr AravisDevice::RegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept
{
    AravisSystem *system = aravisSystem();
    if (!system)
        return kErrNotInitialized;
    if (eventId == kEventDeviceLost)
        return system->events().add(this, eventId, callback, context);
    const std::string entry = gige_ ? eventNamed(eventId) : std::string();
    if (entry.empty())
        return kErrNotImplemented;
    if (lost_)
        return kErrIo;
    std::lock_guard<std::mutex> lock(eventsMutex_);
    KyrCamErr code = openMessageChannel();
    if (code != kOk)
        return code;
    code = system->events().add(this, eventId, callback, context);
    if (code != kOk)
        return code;
    code = notify(entry, true);
    if (code != kOk)
        system->events().remove(this, eventId, callback, context);
    return code;
}

KyrCamErr AravisDevice::UnRegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept
{
    AravisSystem *system = aravisSystem();
    if (!system)
        return kErrNotInitialized;
    const KyrCamErr code = system->events().remove(this, eventId, callback, context);
    if (code != kOk || eventId == kEventDeviceLost || lost_)
        return code;
    // The camera stops sending what nobody waits for; a camera that refuses
    // is not worth failing the withdrawal, which has happened.
    std::lock_guard<std::mutex> lock(eventsMutex_);
    if (!system->events().has(this, eventId)) {
        const std::string entry = eventNamed(eventId);
        if (!entry.empty())
            notify(entry, false);
    }
    return code;
}

std::string AravisDevice::eventNamed(uint32_t eventId) noexcept
{
    if (!camera_)
        return {};
    try {
        std::lock_guard<std::recursive_mutex> lock(camera_->mutex());
        ArvGcNode *selector = arv_gc_get_node(camera_->gc(), "EventSelector");
        if (!selector || !ARV_IS_GC_ENUMERATION(selector))
            return {};
        for (const GSList *item = arv_gc_enumeration_get_entries(ARV_GC_ENUMERATION(selector)); item;
             item = item->next) {
            const std::string entry = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(item->data));
            ArvGcNode *id = arv_gc_get_node(camera_->gc(), ("Event" + entry).c_str());
            if (!id || !ARV_IS_GC_INTEGER(id))
                continue;
            AravisError error;
            const int64_t value = arv_gc_integer_get_value(ARV_GC_INTEGER(id), error.out());
            if (error.code() == kOk && value == int64_t(eventId))
                return entry;
        }
    } catch (...) {
    }
    return {};
}

KyrCamErr AravisDevice::openMessageChannel() noexcept
{
    if (messages_)
        return kOk;
    KyrCamErr code = kOk;
    auto channel = MessageChannel::open(
        info_.owner().hostAddress(),
        [this](const GvcpEvent &event) {
            if (AravisSystem *system = aravisSystem())
                system->events().post(this, event.id, event.data);
        },
        code);
    if (!channel)
        return code;
    // Commands are sent again after 200 ms, three times at most: the channel
    // answers at once, so only a lost datagram makes the camera wait.
    const std::pair<uint32_t, uint32_t> registers[] = {
        { kGvcpRegMessageAddress, info_.owner().hostAddress() },
        { kGvcpRegMessageTimeout, 200 },
        { kGvcpRegMessageRetries, 3 },
        { kGvcpRegMessagePort, channel->port() },
    };
    for (const auto &[address, value] : registers) {
        AravisError error;
        arv_device_write_register(device_.get(), address, value, error.out());
        if (error.code() != kOk)
            return error.code();
    }
    messages_ = std::move(channel);
    return kOk;
}

KyrCamErr AravisDevice::notify(const std::string &entry, bool on) noexcept
{
    if (!camera_)
        return kErrNotAvailable;
    std::lock_guard<std::recursive_mutex> lock(camera_->mutex());
    AravisError error;
    arv_device_set_string_feature_value(device_.get(), "EventSelector", entry.c_str(), error.out());
    if (error.code() != kOk)
        return error.code();
    arv_device_set_string_feature_value(device_.get(), "EventNotification", on ? "On" : "Off", error.out());
    return error.code();
}

KyrGenParam::Array *AravisDevice::GetTransportParameters(KyrCamErr *err) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(transportMutex_);
        if (!transport_)
            transport_ = makeTransportParams(*this);
        setError(err, transport_ ? kOk : kErrNotAvailable);
        return transport_ ? transport_->array() : nullptr;
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
}

KyrGenParam::Array *AravisDevice::GetCameraParameters(KyrCamErr *err) noexcept
{
    setError(err, camera_ ? kOk : kErrNotAvailable);
    return camera_.get();
}

KyrCamErr AravisDevice::SaveConfiguration(const char *path) noexcept { return saveConfiguration(*this, path); }

KyrCamErr AravisDevice::LoadConfiguration(const char *path) noexcept { return loadConfiguration(*this, path); }

KyrCamErr openDevice(DeviceInfo *requested, int32_t mode, std::unique_ptr<AravisDevice> &device) noexcept
{
    if (mode != kOpenReadOnly && mode != kOpenControl && mode != kOpenExclusive)
        return kErrInvalidParameter;
    AravisSystem *system = aravisSystem();
    if (!system)
        return kErrNotInitialized;
    if (requested && !system->owns(requested))
        return kErrNoDevice;
    AravisDeviceInfo *info = requested ? static_cast<AravisDeviceInfo *>(requested) : system->firstDevice();
    if (!info)
        return kErrNoDevice;
    if (!info->claim())
        return kErrResourceInUse;
    const int32_t access = info->remoteAccess();
    KyrCamErr code = kOk;
    if (access == kAccessNoAccess || (access == kAccessReadOnly && mode != kOpenReadOnly))
        code = kErrAccessDenied;
    else if (access == kAccessUnreachable)
        code = kErrIo;
    else
        code = AravisDevice::open(*info, mode, device);
    if (code != kOk)
        info->setOpenHere(false);
    return code;
}

} // namespace KyrCam

KyrCam::Device *KyrCam_CreateDevice(KyrCam::DeviceInfo *info, int32_t mode, KyrCamErr *err) noexcept
{
    if (KyrCam::GenTLDeviceInfo *gentl = KyrCam::gentlDeviceInfo(info))
        return KyrCam::openGenTLDevice(*gentl, mode, err);
    std::unique_ptr<KyrCam::AravisDevice> device;
    const KyrCamErr code = KyrCam::openDevice(info, mode, device);
    KyrCam::setError(err, code);
    return device.release();
}
