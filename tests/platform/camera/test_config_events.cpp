// Configuration files and the device-lost event.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include "camera_test_env.h"

using namespace KyrCam;
using KyrCamTest::SimCamera;

namespace {

std::string tempPath(const char *name)
{
    return std::string(::testing::TempDir()) + "kyrcam_" + name;
}

class Configuration : public ::testing::Test
{
protected:
    void SetUp() override
    {
        camera_ = std::make_unique<SimCamera>();
        ASSERT_NE(camera_->info(), nullptr);
        KyrCamErr err = -1;
        device_ = KyrCam_CreateDevice(camera_->info(), kOpenControl, &err);
        ASSERT_NE(device_, nullptr) << err;
        params_ = device_->GetCameraParameters(&err);
    }
    void TearDown() override
    {
        if (device_)
            device_->Release();
    }

    std::unique_ptr<SimCamera> camera_;
    Device *device_ = nullptr;
    KyrGenParam::Array *params_ = nullptr;
};

TEST_F(Configuration, RoundTripRestoresValuesAndSelectedFeatures)
{
    const std::string path = tempPath("roundtrip.txt");
    ASSERT_EQ(params_->SetIntegerValue("Width", 200), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("PixelFormat", "Mono12Packed"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerSelector", "AcquisitionStart"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerMode", "On"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerSelector", "FrameStart"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerMode", "Off"), kOk);
    ASSERT_EQ(params_->SetStringValue("DeviceUserID", "line=3"), kOk);
    ASSERT_EQ(device_->SaveConfiguration(path.c_str()), kOk);
    EXPECT_STREQ(params_->GetEnumValueStr("TriggerSelector", nullptr), "FrameStart") << "the walk restores selectors";

    ASSERT_EQ(params_->SetIntegerValue("Width", 640), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("PixelFormat", "Mono8"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerSelector", "AcquisitionStart"), kOk);
    ASSERT_EQ(params_->SetEnumValueStr("TriggerMode", "Off"), kOk);
    ASSERT_EQ(params_->SetStringValue("DeviceUserID", ""), kOk);
    ASSERT_EQ(device_->LoadConfiguration(path.c_str()), kOk);

    KyrCamErr err = -1;
    EXPECT_EQ(params_->GetIntegerValue("Width", &err), 200);
    EXPECT_STREQ(params_->GetEnumValueStr("PixelFormat", &err), "Mono12Packed");
    EXPECT_STREQ(params_->GetStringValue("DeviceUserID", &err), "line=3");
    EXPECT_STREQ(params_->GetEnumValueStr("TriggerSelector", &err), "FrameStart");
    ASSERT_EQ(params_->SetEnumValueStr("TriggerSelector", "AcquisitionStart"), kOk);
    EXPECT_STREQ(params_->GetEnumValueStr("TriggerMode", &err), "On");

    // The same file opens the device again and applies itself.
    device_->Release();
    device_ = nullptr;
    Device *reopened = KyrCam_GetSystem()->CreateDeviceFromConfig(path.c_str(), &err);
    ASSERT_NE(reopened, nullptr) << err;
    EXPECT_EQ(err, kOk);
    EXPECT_EQ(reopened->GetCameraParameters(&err)->GetIntegerValue("Width", &err), 200);
    reopened->Release();
    std::remove(path.c_str());
}

TEST_F(Configuration, ForeignOrMissingFilesAreRefused)
{
    const std::string path = tempPath("foreign.txt");
    {
        std::ofstream file(path);
        file << "# KyrCameraApi device configuration\n[Device]\nVendor=Other\nModel=Thing\nSerialNumber=1\n"
                "[Features]\nWidth=8\n";
    }
    KyrCamErr err = 0;
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrWrongConfiguration);
    EXPECT_EQ(KyrCam_GetSystem()->CreateDeviceFromConfig(path.c_str(), &err), nullptr);
    EXPECT_EQ(err, kErrNoDevice);
    {
        std::ofstream file(path);
        file << "Width=8\n";
    }
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrWrongConfiguration);
    EXPECT_EQ(device_->LoadConfiguration("/nonexistent/config.txt"), kErrFileNotFound);
    EXPECT_EQ(KyrCam_GetSystem()->CreateDeviceFromConfig("/nonexistent/config.txt", &err), nullptr);
    EXPECT_EQ(err, kErrFileNotFound);
    EXPECT_EQ(device_->SaveConfiguration("/nonexistent/dir/config.txt"), kErrIo);
    {
        std::ofstream file(path);
        file << "# KyrCameraApi device configuration\n[Device]\nVendor=Aravis\nModel=Fake\nSerialNumber=SIM0001\n"
                "[Features]\nWidth=100000\n";
    }
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrGenICamOutOfRange);
    std::remove(path.c_str());
}

// Writes a configuration file for the simulated camera with `features` after
// its header; `end` ends each header line.
void writeConfig(const std::string &path, const std::string &features, const char *end = "\n")
{
    std::ofstream file(path, std::ios::binary);
    for (const char *line : { "# KyrCameraApi device configuration", "[Device]", "Vendor=Aravis", "Model=Fake",
                              "SerialNumber=SIM0001", "[Features]" })
        file << line << end;
    file << features;
}

TEST_F(Configuration, LoadsAreBoundedAndAllOrNothing)
{
    const std::string path = tempPath("bounded.txt");
    KyrCamErr err = -1;
    ASSERT_EQ(params_->SetIntegerValue("Width", 512), kOk);
    ASSERT_EQ(params_->SetIntegerValue("Height", 512), kOk);
    ASSERT_EQ(params_->SetIntegerValue("OffsetX", 0), kOk);
    const auto unchanged = [&] {
        EXPECT_EQ(params_->GetIntegerValue("Width", &err), 512);
        EXPECT_EQ(params_->GetIntegerValue("Height", &err), 512);
        EXPECT_EQ(params_->GetIntegerValue("OffsetX", &err), 0);
    };

    // Not a configuration file, however long its first line.
    EXPECT_EQ(device_->LoadConfiguration("/dev/zero"), kErrWrongConfiguration);
    writeConfig(path, "Width=256\nDeviceUserID=" + std::string(70 * 1024, 'x') + "\n");
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrWrongConfiguration);
    writeConfig(path, std::string("Width=256\nDeviceUserID=a\0b\n", 27));
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrWrongConfiguration);
    // Every name is checked before anything is written.
    writeConfig(path, "Width=256\nNoSuchFeature=1\n");
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kErrGenICamUnknownParameter);
    unchanged();
    // A value the camera refuses half-way puts back what came before it.
    writeConfig(path, "Width=256\nHeight=128\nOffsetX=8\nPixelFormat=NoSuchFormat\n");
    EXPECT_NE(device_->LoadConfiguration(path.c_str()), kOk);
    unchanged();

    // CRLF line ends, and a long file that says little: the last value wins.
    std::string many;
    for (int i = 0; i < 50000; ++i)
        many += "Width=" + std::to_string(64 + 8 * (i % 8)) + "\r\nOffsetX=" + std::to_string(i % 4) + "\r\n";
    writeConfig(path, many + "Width=320\r\n", "\r\n");
    EXPECT_EQ(device_->LoadConfiguration(path.c_str()), kOk);
    EXPECT_EQ(params_->GetIntegerValue("Width", &err), 320);
    EXPECT_EQ(params_->GetIntegerValue("OffsetX", &err), 3);
    std::remove(path.c_str());
}

struct LostEvents {
    std::mutex mutex;
    std::condition_variable arrived;
    int count = 0;
    std::string data;
};

void onLost(const void *data, unsigned long size, void *context)
{
    auto *events = static_cast<LostEvents *>(context);
    {
        std::lock_guard<std::mutex> lock(events->mutex);
        ++events->count;
        events->data.assign(static_cast<const char *>(data), size);
    }
    events->arrived.notify_all();
}

void ignore(const void *, unsigned long, void *) {}

TEST_F(Configuration, EventRegistrationRules)
{
    LostEvents events;
    EXPECT_EQ(device_->RegisterEvent(0x1234, onLost, &events), kErrNotImplemented);
    EXPECT_EQ(device_->RegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    EXPECT_EQ(device_->RegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    EXPECT_EQ(device_->UnRegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    EXPECT_EQ(device_->UnRegisterEvent(kEventDeviceLost, onLost, &events), kErrInvalidParameter)
        << "registering twice is one registration";
    EXPECT_EQ(device_->UnRegisterEvent(kEventDeviceLost, ignore, &events), kErrInvalidParameter);
}

TEST_F(Configuration, KilledCameraEndsWaitsAndRaisesDeviceLost)
{
    LostEvents events;
    ASSERT_EQ(device_->RegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    Stream *stream = device_->GetStreamByIndex(0);
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(stream->AllocBufferQueue(nullptr, 3), kOk);
    ASSERT_EQ(stream->StartAcquisition(~uint64_t(0), nullptr), kOk);
    KyrCamErr err = -1;
    Buffer *buffer = stream->GetBuffer(5000, &err);
    ASSERT_NE(buffer, nullptr) << err;
    stream->QueueBuffer(buffer);

    camera_->kill();
    // Every wait returns within its time-out; once the heartbeat gives up,
    // waits end with kErrIo.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    do {
        const auto start = std::chrono::steady_clock::now();
        buffer = stream->GetBuffer(500, &err);
        if (buffer)
            stream->QueueBuffer(buffer);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    } while (err != kErrIo && std::chrono::steady_clock::now() < deadline);
    EXPECT_EQ(err, kErrIo);
    {
        std::unique_lock<std::mutex> lock(events.mutex);
        ASSERT_TRUE(events.arrived.wait_for(lock, std::chrono::seconds(5), [&] { return events.count > 0; }));
        EXPECT_EQ(events.data, "Aravis Fake (SIM0001)");
    }
    stream->Release();
    EXPECT_EQ(device_->UnRegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    EXPECT_EQ(events.count, 1);
}


// After the device-lost event the device's and stream's calls answer kErrIo
// at once instead of waiting out the control channel's retries, and the
// release does not wait on the camera either.
TEST_F(Configuration, LostDeviceAnswersAtOnceAndReleasesAtOnce)
{
    using Clock = std::chrono::steady_clock;
    LostEvents events;
    ASSERT_EQ(device_->RegisterEvent(kEventDeviceLost, onLost, &events), kOk);
    Stream *stream = device_->GetStreamByIndex(0);
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(stream->AllocBufferQueue(nullptr, 2), kOk);
    ASSERT_EQ(stream->StartAcquisition(~uint64_t(0), nullptr), kOk);
    camera_->kill();
    {
        std::unique_lock<std::mutex> lock(events.mutex);
        ASSERT_TRUE(events.arrived.wait_for(lock, std::chrono::seconds(30), [&] { return events.count > 0; }));
    }
    const auto callsStart = Clock::now();
    KyrCamErr err = 0;
    EXPECT_EQ(stream->GetBuffer(~uint64_t(0), &err), nullptr);
    EXPECT_EQ(err, kErrIo);
    EXPECT_EQ(stream->StopAcquisition(kStopDefault), kErrIo);
    EXPECT_EQ(stream->StartAcquisition(~uint64_t(0), nullptr), kErrIo);
    EXPECT_EQ(stream->GetBufferSize(), 0);
    EXPECT_EQ(stream->ReleaseBufferQueue(), kOk);
    uint8_t bytes[4] = {};
    uint64_t written = 1;
    EXPECT_EQ(device_->ReadMem(0x100, bytes, 4), kErrIo);
    EXPECT_EQ(device_->WriteMem(0x100, bytes, 4, &written), kErrIo);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(device_->SaveConfiguration(tempPath("lost.txt").c_str()), kErrIo);
    EXPECT_EQ(device_->LoadConfiguration(tempPath("lost.txt").c_str()), kErrIo);
    const auto calls = Clock::now() - callsStart;

    const auto releaseStart = Clock::now();
    stream->Release();
    device_->Release();
    device_ = nullptr;
    const auto release = Clock::now() - releaseStart;
    // Bounds a failure only: each command to a lost camera took 2.5 s.
    EXPECT_LT(calls, std::chrono::seconds(1));
    EXPECT_LT(release, std::chrono::seconds(1));
    std::printf("lost device: calls %.1f ms, release %.1f ms\n",
                std::chrono::duration<double, std::milli>(calls).count(),
                std::chrono::duration<double, std::milli>(release).count());
}

} // namespace
