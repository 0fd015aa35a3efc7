#include "gentl_device_private.h"

#include <algorithm>
#include <cstring>

#include "config_file_private.h"
#include "system_private.h"

namespace KyrCam {

namespace {

// More data streams than this on one device are not believed.
constexpr uint32_t kStreamLimit = 64;

DEVICE_ACCESS_FLAGS accessFlags(int32_t mode) noexcept
{
    return mode == kOpenReadOnly ? DEVICE_ACCESS_READONLY
           : mode == kOpenExclusive ? DEVICE_ACCESS_EXCLUSIVE
                                    : DEVICE_ACCESS_CONTROL;
}

} // namespace

GenTLDevice::GenTLDevice(GenTLDeviceInfo &info, DEV_HANDLE handle, GenTLWorker &worker)
    : info_(info), handle_(handle), worker_(worker)
{
}

KyrCamErr GenTLDevice::open(GenTLDeviceInfo &info, int32_t mode, std::unique_ptr<GenTLDevice> &device) noexcept
{
    if (mode != kOpenReadOnly && mode != kOpenControl && mode != kOpenExclusive)
        return kErrInvalidParameter;
    if (!info.claim())
        return kErrResourceInUse;
    GenTLProducer &producer = info.owner().producer();
    const GenTLFunctions *fn = &producer.fn();
    GenTLWorker *worker = producer.newWorker();
    std::shared_ptr<DEV_HANDLE> handle;
    try {
        handle = std::make_shared<DEV_HANDLE>(nullptr);
    } catch (...) {
    }
    if (!worker || !handle) {
        if (worker)
            worker->retire([] {}, 0);
        info.setOpenHere(false);
        return kErrOutOfMemory;
    }
    // A device that opens after we stopped waiting is closed again on the
    // worker, after the open.
    const auto closeLate = [fn, handle] {
        if (*handle)
            gentlCall(fn->DevClose, *handle);
    };
    IF_HANDLE iface = info.owner().handle();
    const DEVICE_ACCESS_FLAGS flags = accessFlags(mode);
    const auto openDevice = [fn, iface, id = info.id(), flags, handle] {
        return gentlCall(fn->IFOpenDevice, iface, id.c_str(), flags, handle.get());
    };
    KyrCamErr code = worker->run(openDevice, kGenTLPortTimeoutMs);
    if (code == kOk && !*handle)
        code = kErrGenTL;
    if (code != kOk) {
        worker->retire(closeLate, 0);
        info.setOpenHere(false);
        return code;
    }
    std::unique_ptr<GenTLDevice> made;
    try {
        made.reset(new GenTLDevice(info, *handle, *worker));
    } catch (...) {
        worker->retire(closeLate, 0);
        info.setOpenHere(false);
        return kErrOutOfMemory;
    }
    PORT_HANDLE port = nullptr;
    const GC_ERROR got = gentlCall(fn->DevGetPort, *handle, &port);
    if (got != GC_ERR_SUCCESS || !port)
        return got == GC_ERR_SUCCESS ? kErrGenTL : gentlCode(got);
    // A device without a description still gives streams.
    const KyrCamErr described = GenTLNodeMap::create(producer, port, worker, made->remote_);
    if (described != kOk)
        logDebug("gentl: no description for %s: %d", info.id().c_str(), described);
    device = std::move(made);
    return kOk;
}

GenTLDevice::~GenTLDevice()
{
    {
        std::unique_lock<std::mutex> lock(eventsMutex_);
        std::unique_ptr<GenTLRemoteEvents> events = std::move(events_);
        lock.unlock();
    }
    if (AravisSystem *system = aravisSystem())
        system->events().removeAll(this);
    {
        std::unique_lock<std::mutex> lock(streamMutex_);
        std::vector<StreamSlot> streams = std::move(streams_);
        lock.unlock();
        for (StreamSlot &slot : streams) {
            if (slot.stream)
                slot.stream->endWaits();
        }
    }
    if (remote_)
        remote_->detach();
    {
        std::lock_guard<std::mutex> lock(moduleMutex_);
        if (module_)
            module_->detach();
    }
    // After the port calls still in flight; a producer slow to close keeps
    // its device handle until it is done, not the caller.
    worker_.retire([fn = &fn(), handle = handle_] { gentlCall(fn->DevClose, handle); }, kGenTLPortTimeoutMs);
    info_.setOpenHere(false);
}

KyrCamErr GenTLDevice::streamStarted() noexcept
{
    std::lock_guard<std::mutex> lock(acquisitionMutex_);
    if (acquiringStreams_ > 0) {
        ++acquiringStreams_;
        return kOk;
    }
    const KyrCamErr code = execute("AcquisitionStart");
    if (code == kOk)
        ++acquiringStreams_;
    return code;
}

KyrCamErr GenTLDevice::streamStopped() noexcept
{
    std::lock_guard<std::mutex> lock(acquisitionMutex_);
    if (acquiringStreams_ == 0 || --acquiringStreams_ > 0)
        return kOk;
    return execute("AcquisitionStop");
}

KyrCamErr GenTLDevice::execute(const char *command) noexcept
{
    AravisParamArray *params = camera();
    if (!params)
        return kOk;
    KyrCamErr err = kOk;
    if (!params->GetCommand(command, &err))
        return kOk;
    return params->ExecuteCommand(command);
}

void GenTLDevice::lost() noexcept
{
    if (lost_.exchange(true))
        return;
    if (remote_)
        remote_->detach();
    // Each stream learns of the loss from its own event wait, after the
    // frames the producer delivered before.
    if (AravisSystem *system = aravisSystem()) {
        try {
            system->events().post(this, kEventDeviceLost, info_.GetDisplayName());
        } catch (...) {
            logDebug("gentl: device-lost event dropped");
        }
    }
}

void GenTLDevice::post(uint32_t eventId, std::string data) noexcept
{
    if (AravisSystem *system = aravisSystem())
        system->events().post(this, eventId, std::move(data));
}

void GenTLDevice::releaseStream(GenTLStream *stream) noexcept
{
    std::unique_ptr<GenTLStream> closing;
    std::lock_guard<std::mutex> lock(streamMutex_);
    for (StreamSlot &slot : streams_) {
        if (slot.stream.get() == stream && slot.handles > 0 && --slot.handles == 0)
            closing = std::move(slot.stream);
    }
}

void GenTLDevice::Release() noexcept { std::unique_ptr<GenTLDevice> self(this); }

DeviceInfo *GenTLDevice::GetInfo() noexcept { return &info_; }

uint32_t GenTLDevice::GetNumStreams() noexcept
{
    uint32_t count = 0;
    if (gentlCall(fn().DevGetNumDataStreams, handle_, &count) != GC_ERR_SUCCESS)
        return 0;
    return std::min(count, kStreamLimit);
}

Stream *GenTLDevice::GetStreamByIndex(uint32_t index) noexcept
{
    if (lost_ || index >= GetNumStreams())
        return nullptr;
    try {
        std::lock_guard<std::mutex> lock(streamMutex_);
        if (streams_.size() <= index)
            streams_.resize(index + 1);
        StreamSlot &slot = streams_[index];
        if (!slot.stream && GenTLStream::open(*this, index, slot.stream) != kOk)
            return nullptr;
        ++slot.handles;
        return slot.stream.get();
    } catch (...) {
        return nullptr;
    }
}

Stream *GenTLDevice::GetStreamById(const char *id) noexcept
{
    if (!id)
        return nullptr;
    const uint32_t count = GetNumStreams();
    for (uint32_t index = 0; index < count; ++index) {
        try {
            const std::string name = gentlText([&](INFO_DATATYPE *, void *buffer, size_t *size) {
                return gentlCall(fn().DevGetDataStreamID, handle_, index, static_cast<char *>(buffer), size);
            });
            if (!name.empty() && name == id)
                return GetStreamByIndex(index);
        } catch (...) {
            return nullptr;
        }
    }
    return nullptr;
}

KyrCamErr GenTLDevice::ReadMem(int64_t address, void *buffer, int64_t size) noexcept
{
    if (!buffer || size < 1)
        return kErrInvalidParameter;
    if (lost_)
        return kErrIo;
    if (!remote_)
        return kErrNotAvailable;
    return remote_->read(uint64_t(address), buffer, size_t(size));
}

KyrCamErr GenTLDevice::WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept
{
    if (written)
        *written = 0;
    if (!data || size < 1)
        return kErrInvalidParameter;
    if (lost_)
        return kErrIo;
    if (!remote_)
        return kErrNotAvailable;
    const KyrCamErr code = remote_->write(uint64_t(address), data, size_t(size));
    if (code == kOk && written)
        *written = size;
    return code;
}

KyrCamErr GenTLDevice::RegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept
{
    AravisSystem *system = aravisSystem();
    if (!system)
        return kErrNotInitialized;
    if (eventId != kEventDeviceLost) {
        if (!remote_ || !remote_->declaresEvent(eventId))
            return kErrNotImplemented;
        if (lost_)
            return kErrIo;
        // The producer's event stays registered until the device closes:
        // registrations come and go, often from inside a callback.
        std::lock_guard<std::mutex> lock(eventsMutex_);
        if (!events_) {
            const KyrCamErr code = GenTLRemoteEvents::open(*this, events_);
            if (code != kOk)
                return code;
        }
    }
    return system->events().add(this, eventId, callback, context);
}

KyrCamErr GenTLDevice::UnRegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept
{
    AravisSystem *system = aravisSystem();
    return system ? system->events().remove(this, eventId, callback, context) : kErrNotInitialized;
}

KyrGenParam::Array *GenTLDevice::GetTransportParameters(KyrCamErr *err) noexcept
{
    std::lock_guard<std::mutex> lock(moduleMutex_);
    KyrCamErr code = kOk;
    // The device module's own port is the device handle.
    if (!module_)
        code = GenTLNodeMap::create(info_.owner().producer(), handle_, &worker_, module_);
    setError(err, code);
    return module_ ? module_->array() : nullptr;
}

KyrGenParam::Array *GenTLDevice::GetCameraParameters(KyrCamErr *err) noexcept
{
    setError(err, remote_ ? kOk : kErrNotAvailable);
    return camera();
}

KyrCamErr GenTLDevice::SaveConfiguration(const char *path) noexcept
{
    if (lost_)
        return kErrIo;
    try {
        return saveFeatures(camera(), info_.vendor(), info_.model(), info_.serial(), path);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr GenTLDevice::LoadConfiguration(const char *path) noexcept
{
    if (lost_)
        return kErrIo;
    try {
        return loadFeatures(camera(), info_.vendor(), info_.model(), path);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

Device *createGenTLDeviceFromConfig(const char *path, const std::string &vendor, const std::string &model,
                                    const std::string &serial, KyrCamErr *err) noexcept
{
    try {
        for (GenTLInterface *iface : gentlInterfaces()) {
            DeviceInfoList *list = iface->GetDeviceInfoList();
            GenTLDeviceInfo *found = nullptr;
            for (DeviceInfo *item = list ? list->GetFirst() : nullptr; item && !found; item = list->GetNext()) {
                auto *info = static_cast<GenTLDeviceInfo *>(item);
                if (info->vendor() == vendor && info->model() == model && info->serial() == serial)
                    found = info;
            }
            if (list)
                list->Release();
            if (!found)
                continue;
            std::unique_ptr<GenTLDevice> device;
            KyrCamErr code = GenTLDevice::open(*found, kOpenControl, device);
            if (code == kOk)
                code = device->LoadConfiguration(path);
            setError(err, code);
            return code == kOk ? device.release() : nullptr;
        }
        setError(err, kErrNoDevice);
        return nullptr;
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
}

Device *openGenTLDevice(GenTLDeviceInfo &info, int32_t mode, KyrCamErr *err) noexcept
{
    std::unique_ptr<GenTLDevice> device;
    setError(err, GenTLDevice::open(info, mode, device));
    return device.release();
}

} // namespace KyrCam
