#include "device_model.h"

#include <chrono>

#include "wire.h"

namespace SimCamera {

namespace {

constexpr uint32_t kVersion12 = 0x00010002;
constexpr uint32_t kBigEndianUtf8 = 0x80000001;
// Link-local, DHCP and persistent addresses supported; link-local in use.
constexpr uint32_t kIpConfigSupported = 0x00000007;
constexpr uint32_t kIpConfigCurrent = 0x00000004;
constexpr uint32_t kCapabilities = kCapabilityConcatenation | kCapabilityWriteMem | kCapabilityPacketResend |
                                   kCapabilityEvent | kCapabilityEventData | kCapabilitySerialNumber |
                                   kCapabilityUserName;
constexpr uint32_t kMessageTimeoutMs = 200;
constexpr uint32_t kMessageRetries = 3;

} // namespace

DeviceModel::DeviceModel(GObjectPtr<ArvFakeCamera> camera, size_t xmlSize)
    : camera_(std::move(camera))
    , xmlSize_(xmlSize)
{
}

bool DeviceModel::readable(uint32_t address, uint32_t size) const
{
    // The description is read in whole words: its last one may pass its end.
    const uint64_t end = uint64_t(address) + size;
    return writable(address, size) ||
           (address >= ARV_FAKE_CAMERA_MEMORY_SIZE && end <= ARV_FAKE_CAMERA_MEMORY_SIZE + (xmlSize_ + 3) / 4 * 4);
}

bool DeviceModel::writable(uint32_t address, uint32_t size)
{
    return uint64_t(address) + size <= ARV_FAKE_CAMERA_MEMORY_SIZE;
}

std::unique_ptr<DeviceModel> DeviceModel::create(const std::string &serial, const std::string &xml, uint64_t mac)
{
    GObjectPtr<ArvFakeCamera> camera(arv_fake_camera_new_full(serial.c_str(), xml.c_str()));
    size_t size = 0;
    if (!camera || !arv_fake_camera_get_genicam_xml(camera.get(), &size) || size == 0)
        return nullptr;
    ArvFakeCamera *registers = camera.get();
    const std::pair<uint32_t, uint32_t> bootstrap[] = {
        { kRegVersion, kVersion12 },
        { kRegDeviceMode, kBigEndianUtf8 },
        { kRegMacHigh, uint32_t(mac >> 32) },
        { kRegMacLow, uint32_t(mac) },
        { kRegIpConfigOptions, kIpConfigSupported },
        { kRegIpConfigCurrent, kIpConfigCurrent },
        { kRegNetworkInterfaces, 1 },
        { kRegMessageChannels, 1 },
        { kRegStreamChannels, 1 },
        { kRegGvcpCapability, kCapabilities },
        { kRegMessageTimeout, kMessageTimeoutMs },
        { kRegMessageRetries, kMessageRetries },
    };
    for (const auto &[address, value] : bootstrap)
        arv_fake_camera_write_register(registers, address, value);
    return std::unique_ptr<DeviceModel>(new DeviceModel(std::move(camera), size));
}

bool DeviceModel::readRegister(uint32_t address, uint32_t &value)
{
    if (!readable(address, 4))
        return false;
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_read_register(camera_.get(), address, &value);
}

bool DeviceModel::writeRegister(uint32_t address, uint32_t value)
{
    if (!writable(address, 4))
        return false;
    bool written = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        written = arv_fake_camera_write_register(camera_.get(), address, value);
    }
    changed();
    return written;
}

bool DeviceModel::readMemory(uint32_t address, uint32_t size, uint8_t *out)
{
    if (!readable(address, size))
        return false;
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_read_memory(camera_.get(), address, size, out);
}

bool DeviceModel::writeMemory(uint32_t address, uint32_t size, const uint8_t *data)
{
    if (!writable(address, size))
        return false;
    bool written = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        written = arv_fake_camera_write_memory(camera_.get(), address, size, data);
    }
    changed();
    return written;
}

uint32_t DeviceModel::value(uint32_t address)
{
    uint32_t read = 0;
    return readRegister(address, read) ? read : 0;
}

void DeviceModel::setFillPattern(ArvFakeCameraFillPattern fill)
{
    std::lock_guard<std::mutex> lock(mutex_);
    arv_fake_camera_set_fill_pattern(camera_.get(), fill, &frameNumber_);
}

void DeviceModel::setAddress(uint32_t address, uint32_t mask, uint32_t gateway)
{
    std::lock_guard<std::mutex> lock(mutex_);
    arv_fake_camera_write_register(camera_.get(), kRegCurrentIp, address);
    arv_fake_camera_write_register(camera_.get(), kRegSubnetMask, mask);
    arv_fake_camera_write_register(camera_.get(), kRegGateway, gateway);
}

bool DeviceModel::acquiring()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_get_control_channel_privilege(camera_.get()) != 0 &&
           arv_fake_camera_get_acquisition_status(camera_.get()) != 0;
}

bool DeviceModel::softwareTriggerMode()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_is_in_software_trigger_mode(camera_.get());
}

bool DeviceModel::takeSoftwareTrigger()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_check_and_acknowledge_software_trigger(camera_.get());
}

uint64_t DeviceModel::microsecondsToNextFrame()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_get_sleep_time_for_next_frame(camera_.get(), nullptr);
}

void DeviceModel::fill(ArvBuffer *buffer, uint64_t frameNumber)
{
    std::lock_guard<std::mutex> lock(mutex_);
    frameNumber_ = frameNumber;
    arv_fake_camera_fill_buffer(camera_.get(), buffer, nullptr);
}

size_t DeviceModel::payload()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return arv_fake_camera_get_payload(camera_.get());
}

uint64_t DeviceModel::writes()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return writes_;
}

void DeviceModel::waitForWrite(uint64_t seen, uint64_t timeoutUs)
{
    std::unique_lock<std::mutex> lock(mutex_);
    written_.wait_for(lock, std::chrono::microseconds(timeoutUs), [&] { return writes_ != seen; });
}

void DeviceModel::interrupt()
{
    changed();
}

void DeviceModel::changed()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++writes_;
    }
    written_.notify_all();
}

} // namespace SimCamera
