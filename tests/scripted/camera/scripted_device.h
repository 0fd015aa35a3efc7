// The scripted camera library's devices. A device answers from the script
// under keys that start with its name ("device.ReadMem"); its description and
// parameter arrays are the scripted objects its answers name (by default the
// device info of its own name and the arrays "<name>-camera" and
// "<name>-transport"), and its streams are "<name>-stream<index>". Registers
// read back what was written (0 where nothing was). Each device owns an event
// thread; tests fire events at a device by name (KyrScriptCam_FireEvent).
//
// Release closes the streams the device opened that are still open, as the
// library does, and stops the event thread. The device is kept, and so are
// the arrays it handed out: a later call on either counts as a use after
// release (script.h).
//
// Threads: any thread; event callbacks run on the device's event thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <camera/KyrCamApi.h>

#include "script.h"
#include "scripted_events.h"

namespace Scripted {

class ScriptedDevice : public KyrCam::Device
{
public:
    // Counts as an object the caller must release.
    explicit ScriptedDevice(std::string name);

    void Release() noexcept override;
    KyrCam::DeviceInfo *GetInfo() noexcept override;
    uint32_t GetNumStreams() noexcept override;
    KyrCam::Stream *GetStreamByIndex(uint32_t index) noexcept override;
    KyrCam::Stream *GetStreamById(const char *id) noexcept override;
    KyrCamErr ReadMem(int64_t address, void *buffer, int64_t size) noexcept override;
    KyrCamErr WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept override;
    KyrCamErr RegisterEvent(uint32_t eventId, KyrCam::EventCallback callback, void *context) noexcept override;
    KyrCamErr UnRegisterEvent(uint32_t eventId, KyrCam::EventCallback callback, void *context) noexcept override;
    KyrGenParam::Array *GetTransportParameters(KyrCamErr *err) noexcept override;
    KyrGenParam::Array *GetCameraParameters(KyrCamErr *err) noexcept override;
    KyrCamErr SaveConfiguration(const char *path) noexcept override;
    KyrCamErr LoadConfiguration(const char *path) noexcept override;

private:
    ~ScriptedDevice() override;

    // A stream handle of the answered name, or of the default name for an
    // index below the stream count; null for "null" or no such stream.
    KyrCam::Stream *openStream(const std::string &key, int64_t index);
    KyrGenParam::Array *parameters(const std::string &key, const std::string &defaultName, KyrCamErr *err);
    // Records `call`, a use after release once released.
    void logCall(const std::string &call);

    const std::string name_;
    std::mutex mutex_;
    std::map<int64_t, uint8_t> registers_;
    std::vector<class ScriptedStream *> streams_;  // opened here, under mutex_
    std::vector<std::string> arrays_;              // handed out, under mutex_
    std::unique_ptr<ScriptedEvents> events_;       // none once released
    std::atomic<bool> released_{ false };
};

// Opens a device for the script key `key` ("KyrCam_CreateDevice",
// "system.CreateDeviceFromConfig"): "null" gives none with the code under
// "<key>.err" (kErrNoDevice by default); a non-zero "<key>.err" alone also
// gives none; otherwise a device named by the answer, or `defaultName`.
KyrCam::Device *openDevice(const std::string &key, const std::string &defaultName, KyrCamErr *err);

} // namespace Scripted

extern "C" {

// Fires an event at the device opened under `device` and waits up to
// `timeoutMs` for its delivery. The number of callbacks that got it; -1 when
// no such device is open or the event was not delivered in time.
KYRSCRIPT_API int KyrScriptCam_FireEvent(const char *device, uint32_t eventId, const void *data, uint64_t size,
                                         int timeoutMs);

} // extern "C"
