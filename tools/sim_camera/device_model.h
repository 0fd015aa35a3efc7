// The simulated camera's register file and frame source: Aravis's fake camera
// (bootstrap and feature registers, memory with the GenICam description,
// frame pacing, the test pattern) behind one lock, and a wake-up for the
// stream thread whenever the client writes. Any thread.
#pragma once

#include <arv.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace SimCamera {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

class DeviceModel
{
public:
    // The model with `xml` as description, the bootstrap registers filled in
    // for a GigE Vision device with `serial` and `mac`; null if the
    // description cannot be loaded.
    static std::unique_ptr<DeviceModel> create(const std::string &serial, const std::string &xml, uint64_t mac);

    bool readRegister(uint32_t address, uint32_t &value);
    bool writeRegister(uint32_t address, uint32_t value);
    bool readMemory(uint32_t address, uint32_t size, uint8_t *out);
    bool writeMemory(uint32_t address, uint32_t size, const uint8_t *data);
    // The register's value, 0 when it cannot be read.
    uint32_t value(uint32_t address);

    // The pattern fill() draws with; it gets a pointer to the frame number.
    void setFillPattern(ArvFakeCameraFillPattern fill);

    // The current address, mask and gateway that discovery reports (host
    // order).
    void setAddress(uint32_t address, uint32_t mask, uint32_t gateway);

    // Acquisition is on and a client holds control.
    bool acquiring();
    bool softwareTriggerMode();
    // True once per TriggerSoftware written.
    bool takeSoftwareTrigger();
    // Microseconds until the next frame of the free-running or hardware
    // triggered pace.
    uint64_t microsecondsToNextFrame();
    // Fills `buffer` (at least payload() bytes) with frame `frameNumber`:
    // geometry, pixel format, timestamp and pattern.
    void fill(ArvBuffer *buffer, uint64_t frameNumber);
    size_t payload();

    // The number of writes so far; waitForWrite() returns once it differs from
    // `seen`, after `timeoutUs`, or after interrupt().
    uint64_t writes();
    void waitForWrite(uint64_t seen, uint64_t timeoutUs);
    void interrupt();

private:
    DeviceModel(GObjectPtr<ArvFakeCamera> camera, size_t xmlSize);
    void changed();
    // Whether [address, address + size) lies in the register memory, or in
    // the description after it for reading; the fake camera itself does not
    // check.
    bool readable(uint32_t address, uint32_t size) const;
    static bool writable(uint32_t address, uint32_t size);

    const GObjectPtr<ArvFakeCamera> camera_;
    const size_t xmlSize_;
    std::mutex mutex_;
    std::condition_variable written_;
    uint64_t writes_ = 0;       // under mutex_
    uint64_t frameNumber_ = 0;  // under mutex_, read by the pattern
};

} // namespace SimCamera
