// Discovery, device information and opening devices.

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "camera_test_env.h"

using namespace KyrCam;
using KyrCamTest::SimCamera;

namespace {

class Discovery : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { camera_ = std::make_unique<SimCamera>(); }
    static void TearDownTestSuite() { camera_.reset(); }
    void SetUp() override { ASSERT_NE(camera_->info(), nullptr) << "the simulated camera was not discovered"; }

    static std::unique_ptr<SimCamera> camera_;
};

std::unique_ptr<SimCamera> Discovery::camera_;

std::vector<int32_t> typesFor(uint32_t mask)
{
    std::vector<int32_t> types;
    InterfaceList *list = KyrCam_GetSystem()->GetInterfaceList(mask);
    for (Interface *iface = list->GetFirst(); iface; iface = list->GetNext())
        types.push_back(iface->GetType());
    list->Release();
    return types;
}

TEST_F(Discovery, InterfaceMaskSelectsTransportTypes)
{
    // The test's network namespace has the loopback adapter only.
    EXPECT_EQ(typesFor(kInterfaceAll), (std::vector<int32_t>{ kInterfaceGigEVision, kInterfaceUsb3Vision }));
    EXPECT_EQ(typesFor(interfaceMaskBit(kInterfaceGigEVision)), std::vector<int32_t>{ kInterfaceGigEVision });
    EXPECT_EQ(typesFor(interfaceMaskBit(kInterfaceUsb3Vision)), std::vector<int32_t>{ kInterfaceUsb3Vision });
    EXPECT_TRUE(typesFor(interfaceMaskBit(kInterfaceCameraLink)).empty());
}

TEST_F(Discovery, DeviceInfoCarriesDiscoveryData)
{
    DeviceInfo *info = camera_->info();
    EXPECT_STREQ(info->GetVendor(), "Aravis");
    EXPECT_STREQ(info->GetModel(), "Fake");
    EXPECT_STREQ(info->GetSerialNumber(), KyrCamTest::kSerial);
    EXPECT_STRNE(info->GetVersion(), "");
    EXPECT_STREQ(info->GetDisplayName(), "Aravis Fake (SIM0001)");
    EXPECT_EQ(info->GetInterface(), KyrCamTest::loopbackInterface());
    KyrCamErr err = -1;
    EXPECT_STREQ(info->GetIPAddress(&err), "127.0.0.1");
    EXPECT_EQ(err, kOk);
    uint32_t address = 0, mask = 1, gateway = 1;
    ASSERT_EQ(info->GetIP(&address, &mask, &gateway), kOk);
    EXPECT_EQ(address, 0x7F000001u);
    EXPECT_EQ(info->GetIP(nullptr, &mask, &gateway), kErrInvalidParameter);
    EXPECT_EQ(info->GetAccessStatus(), kAccessReadWrite);
}

// A text handed to one thread stays as it was while other threads ask the
// same getter (a script's thread and a GUI thread read the same objects).
TEST_F(Discovery, TextsOfOneThreadSurviveOtherThreadsCalls)
{
    DeviceInfo *info = camera_->info();
    const std::string expected = std::string("Aravis Fake (") + KyrCamTest::kSerial + ")";
    const char *mine = info->GetDisplayName();
    ASSERT_EQ(expected, mine);  // long enough to live on the heap
    KyrCamErr err = kOk;
    const char *address = info->GetIPAddress(&err);
    std::thread other([info] {
        for (int i = 0; i < 200; ++i) {
            KyrCamErr otherErr = kOk;
            info->GetDisplayName();
            info->GetIPAddress(&otherErr);
        }
    });
    other.join();
    EXPECT_EQ(expected, mine);
    EXPECT_STREQ(address, "127.0.0.1");
}

TEST_F(Discovery, OpenDeviceIsBusyAndRefusedTwice)
{
    DeviceInfo *info = camera_->info();
    KyrCamErr err = -1;
    Device *device = KyrCam_CreateDevice(info, kOpenControl, &err);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(err, kOk);
    EXPECT_EQ(device->GetInfo(), info);
    EXPECT_EQ(info->GetAccessStatus(), kAccessBusy);
    EXPECT_EQ(KyrCam_CreateDevice(info, kOpenControl, &err), nullptr);
    EXPECT_EQ(err, kErrResourceInUse);
    device->Release();
    EXPECT_EQ(info->GetAccessStatus(), kAccessReadWrite);
}

TEST_F(Discovery, ReadOnlyOpenLeavesControlToOthers)
{
    DeviceInfo *info = camera_->info();
    KyrCamErr err = -1;
    Device *device = KyrCam_CreateDevice(info, kOpenReadOnly, &err);
    ASSERT_NE(device, nullptr) << err;
    uint32_t privilege = 0xFF;
    uint8_t bytes[4] = {};
    ASSERT_EQ(device->ReadMem(0x0A00, bytes, 4), kOk);
    privilege = (uint32_t(bytes[2]) << 8) | bytes[3];
    EXPECT_EQ(privilege, 0u) << "no control taken";
    EXPECT_GT(device->GetCameraParameters(&err)->GetIntegerValue("Width", &err), 0);
    uint64_t written = 1;
    EXPECT_EQ(device->WriteMem(0x1F0, bytes, 4, &written), kErrAccessDenied);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(device->GetStreamByIndex(0), nullptr) << "streaming needs control";
    device->Release();

    device = KyrCam_CreateDevice(info, kOpenExclusive, &err);
    ASSERT_NE(device, nullptr) << err;
    ASSERT_EQ(device->ReadMem(0x0A00, bytes, 4), kOk);
    EXPECT_EQ(bytes[3] & 0x3, 0x3) << "exclusive and control";
    device->Release();
}

TEST_F(Discovery, BadArgumentsAreRefused)
{
    DeviceInfo *info = camera_->info();
    KyrCamErr err = 0;
    EXPECT_EQ(KyrCam_CreateDevice(info, 7, &err), nullptr);
    EXPECT_EQ(err, kErrInvalidParameter);
    // A pointer the library never handed out is no device of its own.
    alignas(DeviceInfo *) char foreign[64] = {};
    EXPECT_EQ(KyrCam_CreateDevice(reinterpret_cast<DeviceInfo *>(foreign), kOpenControl, &err), nullptr);
    EXPECT_EQ(err, kErrNoDevice);
    EXPECT_EQ(info->ForceIP("300.1.1.1", "255.0.0.0", "0.0.0.0"), kErrInvalidParameter);
    EXPECT_EQ(info->ForceIP("10.1.1.1", "255.0.255.0", "0.0.0.0"), kErrInvalidParameter);
    EXPECT_EQ(info->ForceIP(nullptr, "255.0.0.0", "0.0.0.0"), kErrInvalidParameter);
    EXPECT_EQ(KyrCamTest::loopbackInterface()->ReEnumerateDevices(nullptr, 0), kErrInvalidParameter);
    EXPECT_EQ(KyrCam_GetSystem()->RegisterGenTLProvider("/nonexistent.cti"), kErrFileNotFound);
}

TEST_F(Discovery, RescanHonoursTimeoutAndReportsChanges)
{
    Interface *iface = KyrCamTest::loopbackInterface();
    bool changed = true;
    ASSERT_EQ(iface->ReEnumerateDevices(&changed, ~uint64_t(0)), kOk);
    EXPECT_FALSE(changed);
    // Beyond what std::chrono can add to a time point: waits as long as needed.
    ASSERT_EQ(iface->ReEnumerateDevices(&changed, uint64_t(1) << 63), kOk);

    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(iface->ReEnumerateDevices(&changed, 50), kOk);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));

    // A lost camera and its return are both changes, and the camera comes
    // back with the device info handed out before.
    DeviceInfo *before = camera_->info();
    const auto rescanUntil = [&](bool present) {
        bool sawChange = false;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            EXPECT_EQ(iface->ReEnumerateDevices(&changed, ~uint64_t(0)), kOk);
            sawChange = sawChange || changed;
            if ((iface->GetFirstDeviceInfo() != nullptr) == present)
                break;
        }
        return sawChange;
    };
    camera_->kill();
    EXPECT_TRUE(rescanUntil(false));
    EXPECT_EQ(iface->GetFirstDeviceInfo(), nullptr);
    camera_ = std::make_unique<SimCamera>(false);
    EXPECT_TRUE(rescanUntil(true));
    EXPECT_EQ(iface->GetFirstDeviceInfo(), before);
}

} // namespace

