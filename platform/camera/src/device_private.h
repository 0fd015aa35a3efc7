// An opened device over an ArvDevice: its camera features (ArvGc of the
// device), its transport layer features (a node map of our own), its one
// stream, register access, configuration files and the device-lost event.
// Any thread.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include <arv.h>

#include <camera/KyrCamApi.h>

#include "aravis_support_private.h"
#include "device_info_private.h"
#include "genparam_private.h"
#include "link_watch_private.h"
#include "local_port_private.h"
#include "message_channel_private.h"

namespace KyrCam {

class AravisStream;

// Transport settings that streams take when they open and that the transport
// features change; atomics, so that a stream opening never needs the transport
// node map's lock.
struct TransportSettings {
    std::atomic<int> packetResend{ -1 };  // -1: as Aravis chooses for the device
    std::atomic<uint32_t> packetTimeoutUs{ 20000 };
    std::atomic<uint32_t> frameRetentionUs{ 100000 };
    // Aravis sizes the socket for one payload, which loses packets on fast
    // links (loopback among them); the kernel caps the size at rmem_max.
    std::atomic<uint32_t> socketBufferSize{ 4u << 20 };  // 0: let Aravis size it
    std::atomic<bool> packetSocket{ true };
};

class AravisDevice final : public Device
{
public:
    // Opens `info` in an OpenMode. Codes: those of KyrCam_CreateDevice.
    static KyrCamErr open(AravisDeviceInfo &info, int32_t mode, std::unique_ptr<AravisDevice> &device) noexcept;
    ~AravisDevice() override;

    ArvDevice *arv() noexcept { return device_.get(); }
    AravisDeviceInfo &info() noexcept { return info_; }
    bool gige() const noexcept { return gige_; }
    bool readOnly() const noexcept { return mode_ == kOpenReadOnly; }
    TransportSettings &settings() noexcept { return settings_; }
    // The camera stopped answering (Aravis reported control lost).
    bool lost() const noexcept { return lost_; }
    // The stream received a complete frame; on its thread.
    void frameArrived() noexcept { LinkWatch::mark(frames_); }
    // The camera's node map; null when the device has no description.
    AravisParamArray *camera() noexcept { return camera_.get(); }
    // Runs `use(stream)` with the open stream (null when none) under the
    // stream lock.
    template <typename Use>
    auto withStream(Use use) -> decltype(use(static_cast<AravisStream *>(nullptr)))
    {
        std::lock_guard<std::mutex> lock(streamMutex_);
        return use(stream_.get());
    }
    // The last handle of the stream went.
    void releaseStream() noexcept;

    void Release() noexcept override;
    DeviceInfo *GetInfo() noexcept override;
    uint32_t GetNumStreams() noexcept override;
    Stream *GetStreamByIndex(uint32_t index) noexcept override;
    Stream *GetStreamById(const char *id) noexcept override;
    KyrCamErr ReadMem(int64_t address, void *buffer, int64_t size) noexcept override;
    KyrCamErr WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept override;
    KyrCamErr RegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept override;
    KyrCamErr UnRegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept override;
    KyrGenParam::Array *GetTransportParameters(KyrCamErr *err) noexcept override;
    KyrGenParam::Array *GetCameraParameters(KyrCamErr *err) noexcept override;
    KyrCamErr SaveConfiguration(const char *path) noexcept override;
    KyrCamErr LoadConfiguration(const char *path) noexcept override;

private:
    AravisDevice(AravisDeviceInfo &info, int32_t mode, GObjectPtr<ArvDevice> device, bool gige);
    // What Aravis's "control-lost" handler reaches: the device while it
    // exists. The handler runs on Aravis's heartbeat thread, possibly while
    // the device is being released, so it holds `mutex` for its whole run,
    // and the device's destructor clears `device` under it first.
    struct LostSignal {
        std::mutex mutex;
        AravisDevice *device = nullptr;
    };
    static void onControlLost(ArvDevice *device, gpointer signal);
    // Marks the device lost once: ends its stream's waits and posts the
    // device-lost event. Holds the signal's mutex.
    static void markLost(LostSignal &lost);
    static void dropLostSignal(gpointer signal, GClosure *closure);
    // Drops the Aravis device; that of a lost device on the system's reaper.
    void dropDevice() noexcept;
    // The EventSelector entry whose Event<entry> feature holds `eventId`;
    // empty when the camera has no such event.
    std::string eventNamed(uint32_t eventId) noexcept;
    // Opens the message channel once and points the camera at it; caller
    // holds eventsMutex_.
    KyrCamErr openMessageChannel() noexcept;
    // Turns the camera's notification of event `entry` on or off.
    KyrCamErr notify(const std::string &entry, bool on) noexcept;

    AravisDeviceInfo &info_;
    const int32_t mode_;
    const bool gige_;
    TransportSettings settings_;
    GObjectPtr<ArvDevice> device_;
    std::shared_ptr<LostSignal> lostSignal_;
    gulong lostHandler_ = 0;
    // GigE Vision cameras only; stopped first when the device goes.
    LinkWatch::Sign frames_{ 0 };
    std::unique_ptr<LinkWatch> watch_;
    // Serialises the registration of camera events; the channel exists from
    // the first one on (GigE Vision cameras only).
    std::mutex eventsMutex_;
    std::unique_ptr<MessageChannel> messages_;
    std::atomic<bool> lost_{ false };
    std::unique_ptr<AravisParamArray> camera_;
    std::mutex transportMutex_;
    std::unique_ptr<LocalParams> transport_;
    std::mutex streamMutex_;
    std::unique_ptr<AravisStream> stream_;
    uint32_t streamHandles_ = 0;
};

// The transport layer features of a device.
std::unique_ptr<LocalParams> makeTransportParams(AravisDevice &device);

// Configuration files (config_file.cpp).
KyrCamErr saveConfiguration(AravisDevice &device, const char *path) noexcept;
KyrCamErr loadConfiguration(AravisDevice &device, const char *path) noexcept;
Device *createDeviceFromConfig(const char *path, KyrCamErr *err) noexcept;

// Opens a device as KyrCam_CreateDevice does.
KyrCamErr openDevice(DeviceInfo *info, int32_t mode, std::unique_ptr<AravisDevice> &device) noexcept;

} // namespace KyrCam
