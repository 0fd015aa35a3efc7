// The simulated camera for the camera library's tests, and finding it.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <camera/KyrCamApi.h>

namespace KyrCamTest {

constexpr const char *kSerial = "SIM0001";

// Runs kyr-sim-camera on 127.0.0.1 until stopped or destroyed, and waits until
// the library's discovery sees it (unless `await` is false).
class SimCamera
{
public:
    explicit SimCamera(bool await = true);
    ~SimCamera();
    SimCamera(const SimCamera &) = delete;
    SimCamera &operator=(const SimCamera &) = delete;

    // The camera's device info, or null when discovery never saw it.
    KyrCam::DeviceInfo *info() const { return info_; }
    // Kills the camera process (as a pulled cable would) and reaps it.
    void kill();

private:
    pid_t pid_ = -1;
    KyrCam::DeviceInfo *info_ = nullptr;
};

// Test suites that share one simulated camera, opened with control; each test
// starts with its camera parameters in `params_`.
class OpenCamera : public ::testing::Test
{
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;

    static std::unique_ptr<SimCamera> camera_;
    static KyrCam::Device *device_;
    KyrGenParam::Array *params_ = nullptr;
};

// The GigE Vision interface of the loopback adapter.
KyrCam::Interface *loopbackInterface();

// Rescans until a device with `serial` is present (or absent, with `present`
// false), for at most `timeoutMs`; the device info when present.
KyrCam::DeviceInfo *awaitDevice(const char *serial, bool present, int timeoutMs);

} // namespace KyrCamTest
