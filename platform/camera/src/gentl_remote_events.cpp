#include "gentl_device_private.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace KyrCam {

namespace {

// Largest event we read; GigE Vision events are below 600 bytes.
constexpr size_t kEventLimit = 64 * 1024;
constexpr uint64_t kEventWaitMs = 250;

} // namespace

GenTLRemoteEvents::GenTLRemoteEvents(GenTLDevice &device, EVENT_HANDLE event)
    : device_(device), fn_(device.fn()), event_(event)
{
}

KyrCamErr GenTLRemoteEvents::open(GenTLDevice &device, std::unique_ptr<GenTLRemoteEvents> &events) noexcept
{
    const GenTLFunctions &fn = device.fn();
    if (!fn.GCRegisterEvent || !fn.EventGetData || !fn.EventGetDataInfo || !fn.EventKill)
        return kErrNotImplemented;
    EVENT_HANDLE event = nullptr;
    const GC_ERROR code = gentlCall(fn.GCRegisterEvent, device.handle(), EVENT_TYPE(EVENT_REMOTE_DEVICE), &event);
    if (code != GC_ERR_SUCCESS || !event)
        return code == GC_ERR_SUCCESS ? kErrNotImplemented : gentlCode(code);
    try {
        std::unique_ptr<GenTLRemoteEvents> made(new GenTLRemoteEvents(device, event));
        made->thread_ = std::thread([self = made.get()] { self->run(); });
        events = std::move(made);
        return kOk;
    } catch (...) {
        gentlCall(fn.GCUnregisterEvent, device.handle(), EVENT_TYPE(EVENT_REMOTE_DEVICE));
        return kErrOutOfMemory;
    }
}

GenTLRemoteEvents::~GenTLRemoteEvents()
{
    closing_ = true;
    gentlCall(fn_.EventKill, event_);
    thread_.join();
    gentlCall(fn_.GCUnregisterEvent, device_.handle(), EVENT_TYPE(EVENT_REMOTE_DEVICE));
}

bool GenTLRemoteEvents::idOf(const std::string &raw, uint64_t &id) noexcept
{
    const auto query = [&](EVENT_DATA_INFO_CMD command) {
        return [this, &raw, command](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn_.EventGetDataInfo, event_, static_cast<const void *>(raw.data()), raw.size(), command,
                             type, buffer, size);
        };
    };
    if (gentlInteger(query(EVENT_DATA_NUMID), id))
        return true;
    const std::string text = gentlText(query(EVENT_DATA_ID));
    char *end = nullptr;
    id = std::strtoull(text.c_str(), &end, 16);
    return !text.empty() && *end == '\0';
}

void GenTLRemoteEvents::run()
{
    std::string raw;
    try {
        raw.resize(kEventLimit);
    } catch (...) {
        return;
    }
    while (!closing_) {
        size_t size = raw.size();
        // Bounded, as for the stream: closing must not depend on the kill.
        const GC_ERROR code = gentlCall(fn_.EventGetData, event_, static_cast<void *>(&raw[0]), &size, kEventWaitMs);
        if (closing_)
            return;
        if (code == GC_ERR_ABORT || code == GC_ERR_TIMEOUT)
            continue;
        if (code != GC_ERR_SUCCESS) {
            device_.lost();
            return;
        }
        try {
            const std::string event = raw.substr(0, std::min(size, raw.size()));
            uint64_t id = 0;
            if (!idOf(event, id) || id > UINT32_MAX) {
                logDebug("gentl: a remote event without a usable id dropped");
                continue;
            }
            const std::string value = gentlBytes([&](INFO_DATATYPE *type, void *buffer, size_t *length) {
                return gentlCall(fn_.EventGetDataInfo, event_, static_cast<const void *>(event.data()), event.size(),
                                 EVENT_DATA_INFO_CMD(EVENT_DATA_VALUE), type, buffer, length);
            });
            device_.post(uint32_t(id), value);
        } catch (...) {
            logDebug("gentl: a remote event dropped for want of memory");
        }
    }
}

} // namespace KyrCam
