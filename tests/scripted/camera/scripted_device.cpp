#include "scripted_device.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "scripted_format.h"
#include "scripted_objects.h"
#include "scripted_stream.h"
#include "scripted_system.h"

namespace Scripted {

namespace {

// The event hubs of the open devices by name, for the tests that fire events;
// the latest device of a name wins.
struct OpenDevices {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<EventHub>> hubs;
};

OpenDevices &openDevices()
{
    static OpenDevices *devices = new OpenDevices();
    return *devices;
}

std::string hexOf(const void *data, uint64_t size)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    const auto *bytes = static_cast<const uint8_t *>(data);
    for (uint64_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

std::string addressOf(int64_t address)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(address));
    return text;
}

} // namespace

ScriptedDevice::ScriptedDevice(std::string name)
    : name_(std::move(name))
    , events_(std::make_unique<ScriptedEvents>())
{
    objectCreated();
    OpenDevices &devices = openDevices();
    std::lock_guard<std::mutex> lock(devices.mutex);
    devices.hubs[name_] = events_->hub();
}

ScriptedDevice::~ScriptedDevice() = default;

void ScriptedDevice::logCall(const std::string &call)
{
    record(call);
    if (released_)
        misuse(call);
}

void ScriptedDevice::Release() noexcept
{
    logCall(name_ + ".Release()");
    std::vector<ScriptedStream *> streams;
    std::vector<std::string> arrays;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (released_.exchange(true))
            return;
        streams.swap(streams_);
        arrays.swap(arrays_);
    }
    for (ScriptedStream *stream : streams) {
        if (stream->close())
            objectReleased();
    }
    {
        OpenDevices &devices = openDevices();
        std::lock_guard<std::mutex> lock(devices.mutex);
        const auto found = devices.hubs.find(name_);
        if (found != devices.hubs.end() && found->second == events_->hub())
            devices.hubs.erase(found);
    }
    events_.reset();
    for (const std::string &array : arrays)
        retire(array);
    objectReleased();
}

// Answers: the name of the device info; the device's own name by default.
KyrCam::DeviceInfo *ScriptedDevice::GetInfo() noexcept
{
    logCall(name_ + ".GetInfo()");
    return deviceInfoNamed(answer({ name_ + ".GetInfo" }).value_or(name_));
}

// Answers: the count; 1 by default.
uint32_t ScriptedDevice::GetNumStreams() noexcept
{
    logCall(name_ + ".GetNumStreams()");
    return static_cast<uint32_t>(answerInt({ name_ + ".GetNumStreams" }, 1));
}

KyrCam::Stream *ScriptedDevice::openStream(const std::string &key, int64_t index)
{
    const std::optional<std::string> named = answer({ key });
    if (named && *named == "null")
        return nullptr;
    if (!named && (index < 0 || index >= answerInt({ name_ + ".GetNumStreams" }, 1)))
        return nullptr;
    auto *stream = new ScriptedStream(named.value_or(name_ + "-stream" + std::to_string(index)));
    std::lock_guard<std::mutex> lock(mutex_);
    streams_.push_back(stream);
    return stream;
}

// Answers: the stream's name, or "null" for none; by default
// "<device>-stream<index>" below the stream count.
KyrCam::Stream *ScriptedDevice::GetStreamByIndex(uint32_t index) noexcept
{
    logCall(name_ + ".GetStreamByIndex(" + std::to_string(index) + ")");
    return openStream(name_ + ".GetStreamByIndex", index);
}

// Answers: as GetStreamByIndex; by default the ids "Stream<index>".
KyrCam::Stream *ScriptedDevice::GetStreamById(const char *id) noexcept
{
    logCall(name_ + ".GetStreamById(" + quoted(id) + ")");
    int64_t index = -1;
    if (id && std::strncmp(id, "Stream", 6) == 0 && id[6] >= '0' && id[6] <= '9')
        index = std::strtoll(id + 6, nullptr, 10);
    return openStream(name_ + ".GetStreamById", index);
}

// Answers: the code; by default kErrInvalidParameter for no buffer or a size
// below 1, else 0 and the bytes last written at those addresses.
KyrCamErr ScriptedDevice::ReadMem(int64_t address, void *buffer, int64_t size) noexcept
{
    logCall(name_ + ".ReadMem(" + addressOf(address) + ", " + std::to_string(size) + ")");
    const KyrCamErr natural = !buffer || size < 1 ? KyrCam::kErrInvalidParameter : KyrCam::kOk;
    const auto code = static_cast<KyrCamErr>(answerInt({ name_ + ".ReadMem" }, natural));
    if (code != KyrCam::kOk || !buffer)
        return code;
    std::lock_guard<std::mutex> lock(mutex_);
    auto *bytes = static_cast<uint8_t *>(buffer);
    for (int64_t i = 0; i < size; ++i) {
        const auto found = registers_.find(address + i);
        bytes[i] = found == registers_.end() ? 0 : found->second;
    }
    return code;
}

// Answers: the code; by default kErrInvalidParameter for no data or size 0,
// else 0 with every byte accepted. The log shows the bytes offered, in hex.
KyrCamErr ScriptedDevice::WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept
{
    const std::string bytes = data ? hexOf(data, size) : "null";
    logCall(name_ + ".WriteMem(" + addressOf(address) + ", " + bytes + ")");
    const KyrCamErr natural = !data || size == 0 ? KyrCam::kErrInvalidParameter : KyrCam::kOk;
    const auto code = static_cast<KyrCamErr>(answerInt({ name_ + ".WriteMem" }, natural));
    if (written)
        *written = code == KyrCam::kOk ? size : 0;
    if (code != KyrCam::kOk || !data)
        return code;
    std::lock_guard<std::mutex> lock(mutex_);
    for (uint64_t i = 0; i < size; ++i)
        registers_[address + static_cast<int64_t>(i)] = static_cast<const uint8_t *>(data)[i];
    return code;
}

// Answers: the code; 0 by default. Only a registration answered 0 is kept.
KyrCamErr ScriptedDevice::RegisterEvent(uint32_t eventId, KyrCam::EventCallback callback, void *context) noexcept
{
    logCall(name_ + ".RegisterEvent(" + std::to_string(eventId) + ")");
    const auto code = static_cast<KyrCamErr>(answerInt({ name_ + ".RegisterEvent" }, KyrCam::kOk));
    if (code == KyrCam::kOk && events_)
        events_->add(eventId, callback, context);
    return code;
}

// Answers: the code; by default kErrInvalidParameter for no such
// registration. The registration goes whatever the answer.
KyrCamErr ScriptedDevice::UnRegisterEvent(uint32_t eventId, KyrCam::EventCallback callback, void *context) noexcept
{
    logCall(name_ + ".UnRegisterEvent(" + std::to_string(eventId) + ")");
    const KyrCamErr natural = events_ ? events_->remove(eventId, callback, context) : KyrCam::kErrInvalidParameter;
    return static_cast<KyrCamErr>(answerInt({ name_ + ".UnRegisterEvent" }, natural));
}

KyrGenParam::Array *ScriptedDevice::parameters(const std::string &key, const std::string &defaultName, KyrCamErr *err)
{
    *err = static_cast<KyrCamErr>(answerInt({ key + ".err" }, KyrCam::kOk));
    const std::optional<std::string> named = answer({ key });
    if (named && *named == "null")
        return nullptr;
    const std::string array = named.value_or(defaultName);
    revive(array);
    std::lock_guard<std::mutex> lock(mutex_);
    arrays_.push_back(array);
    return arrayNamed(array);
}

// Answers: the array's name, or "null" for none; "<device>-transport" by
// default. "<device>.GetTransportParameters.err": the code, 0 by default.
KyrGenParam::Array *ScriptedDevice::GetTransportParameters(KyrCamErr *err) noexcept
{
    logCall(name_ + ".GetTransportParameters()");
    return parameters(name_ + ".GetTransportParameters", name_ + "-transport", err);
}

// Answers: as GetTransportParameters; "<device>-camera" by default.
KyrGenParam::Array *ScriptedDevice::GetCameraParameters(KyrCamErr *err) noexcept
{
    logCall(name_ + ".GetCameraParameters()");
    return parameters(name_ + ".GetCameraParameters", name_ + "-camera", err);
}

// Answers: the code; 0 by default.
KyrCamErr ScriptedDevice::SaveConfiguration(const char *path) noexcept
{
    logCall(name_ + ".SaveConfiguration(" + quoted(path) + ")");
    return static_cast<KyrCamErr>(answerInt({ name_ + ".SaveConfiguration" }, KyrCam::kOk));
}

// Answers: the code; 0 by default.
KyrCamErr ScriptedDevice::LoadConfiguration(const char *path) noexcept
{
    logCall(name_ + ".LoadConfiguration(" + quoted(path) + ")");
    return static_cast<KyrCamErr>(answerInt({ name_ + ".LoadConfiguration" }, KyrCam::kOk));
}

KyrCam::Device *openDevice(const std::string &key, const std::string &defaultName, KyrCamErr *err)
{
    const std::optional<std::string> named = answer({ key });
    const bool refused = named && *named == "null";
    *err = static_cast<KyrCamErr>(answerInt({ key + ".err" }, refused ? KyrCam::kErrNoDevice : KyrCam::kOk));
    if (refused || *err != KyrCam::kOk)
        return nullptr;
    return new ScriptedDevice(named.value_or(defaultName));
}

// Answers: see openDevice; the device is named "device" by default.
KyrCam::Device *ScriptedSystem::CreateDeviceFromConfig(const char *path, KyrCamErr *err) noexcept
{
    record("system.CreateDeviceFromConfig(" + quoted(path) + ")");
    return openDevice("system.CreateDeviceFromConfig", "device", err);
}

} // namespace Scripted

// Answers: see openDevice; the device takes the name of its scripted device
// info by default, or "device" when opened without one.
KyrCam::Device *KyrCam_CreateDevice(KyrCam::DeviceInfo *info, int32_t mode, KyrCamErr *err) noexcept
{
    const std::string infoName = Scripted::nameOf(info);
    Scripted::record("KyrCam_CreateDevice(" + infoName + ", " + std::to_string(mode) + ")");
    return Scripted::openDevice("KyrCam_CreateDevice", info ? infoName : "device", err);
}

int KyrScriptCam_FireEvent(const char *device, uint32_t eventId, const void *data, uint64_t size, int timeoutMs)
{
    std::shared_ptr<Scripted::EventHub> hub;
    {
        Scripted::OpenDevices &devices = Scripted::openDevices();
        std::lock_guard<std::mutex> lock(devices.mutex);
        const auto found = devices.hubs.find(device ? device : "");
        if (found == devices.hubs.end())
            return -1;
        hub = found->second;
    }
    const auto *bytes = static_cast<const uint8_t *>(data);
    return Scripted::fireEvent(*hub, eventId, std::vector<uint8_t>(bytes, bytes + (bytes ? size : 0)), timeoutMs);
}
