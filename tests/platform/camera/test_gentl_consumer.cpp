// The GenTL consumer through the public camera API, over the test producer
// (one process: a producer is loaded once and reads its knobs then).

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <camera/KyrCamApi.h>

using namespace KyrCam;

namespace {

constexpr uint32_t kExposureEnd = 0x9001;
constexpr int32_t kOtherGenTL = 6;
// Width register of the producer's camera model.
constexpr int64_t kWidthRegister = 0x100;

// Interfaces of one type, by description.
std::vector<Interface *> interfacesOf(int32_t type)
{
    std::vector<Interface *> found;
    InterfaceList *list = KyrCam_GetSystem()->GetInterfaceList(kInterfaceAll);
    for (Interface *iface = list->GetFirst(); iface; iface = list->GetNext()) {
        if (iface->GetType() == type)
            found.push_back(iface);
    }
    list->Release();
    return found;
}

Device *openFirst(int32_t type)
{
    const std::vector<Interface *> found = interfacesOf(type);
    if (found.empty())
        return nullptr;
    KyrCamErr err = -1;
    Device *device = KyrCam_CreateDevice(found[0]->GetFirstDeviceInfo(), kOpenControl, &err);
    EXPECT_EQ(err, kOk);
    return device;
}

// Exposure-end events as the callback saw them: their frame ids (0 for
// data of another size).
struct EventLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<uint64_t> events;

    static void record(const void *data, unsigned long size, void *context)
    {
        auto *log = static_cast<EventLog *>(context);
        uint64_t frame = 0;
        if (size == sizeof frame)
            std::memcpy(&frame, data, sizeof frame);
        std::lock_guard<std::mutex> lock(log->mutex);
        log->events.push_back(frame);
        log->changed.notify_all();
    }
    bool waitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return events.size() >= count; });
    }
};

class GenTLConsumer : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        setenv("KYR_TL_EVENTS", "1", 1);
        ASSERT_EQ(KyrCam_GetSystem()->RegisterGenTLProvider(KYR_TEST_PRODUCER), kOk);
        ASSERT_EQ(KyrCam_GetSystem()->RegisterGenTLProvider(KYR_TEST_PRODUCER_MINIMAL), kOk);
    }
};

TEST_F(GenTLConsumer, ListsTheProducerInterfacesByTransport)
{
    EXPECT_EQ(KyrCam_GetSystem()->RegisterGenTLProvider(KYR_TEST_PRODUCER), kErrResourceInUse);
    const struct {
        int32_t type;
        const char *description;
        size_t devices;
    } expected[] = {
        { kInterfaceCameraLink, "Camera Link grabber", 2 },
        { kInterfaceCoaXPress, "CoaXPress grabber", 1 },
        { kInterfaceHdSdi, "HD-SDI grabber", 1 },
    };
    for (const auto &want : expected) {
        const std::vector<Interface *> found = interfacesOf(want.type);
        ASSERT_EQ(found.size(), 1u) << want.description;
        EXPECT_STREQ(found[0]->GetDescription(), want.description);
        DeviceInfoList *list = found[0]->GetDeviceInfoList();
        size_t devices = 0;
        for (DeviceInfo *info = list->GetFirst(); info; info = list->GetNext())
            ++devices;
        list->Release();
        EXPECT_EQ(devices, want.devices) << want.description;
    }
    // The minimal variant names no transport: its four interfaces are "other".
    EXPECT_EQ(interfacesOf(kOtherGenTL).size(), 4u);
}

TEST_F(GenTLConsumer, GigEVisionDevicesTellTheirAddressOthersNone)
{
    Interface *adapter = nullptr;
    for (Interface *iface : interfacesOf(kInterfaceGigEVision))
        adapter = std::strcmp(iface->GetDescription(), "GigE Vision adapter") == 0 ? iface : adapter;
    ASSERT_NE(adapter, nullptr);
    DeviceInfo *info = adapter->GetFirstDeviceInfo();
    ASSERT_NE(info, nullptr);
    uint32_t ip[3] = {};
    EXPECT_EQ(info->GetIP(&ip[0], &ip[1], &ip[2]), kOk);
    EXPECT_EQ(ip[0], 0xC0A80714u);
    KyrCamErr err = -1;
    EXPECT_STREQ(info->GetIPAddress(&err), "192.168.7.20");
    EXPECT_EQ(err, kOk);
    EXPECT_STREQ(info->GetIPMask(&err), "255.255.255.0");
    EXPECT_STREQ(info->GetIPGateway(&err), "192.168.7.1");
    EXPECT_EQ(info->GetIP(nullptr, &ip[1], &ip[2]), kErrInvalidParameter);

    DeviceInfo *grabbed = interfacesOf(kInterfaceCoaXPress)[0]->GetFirstDeviceInfo();
    EXPECT_STREQ(grabbed->GetIPAddress(&err), "");
    EXPECT_EQ(err, kErrNotAvailable);
    EXPECT_EQ(grabbed->GetIP(&ip[0], &ip[1], &ip[2]), kErrNotAvailable);
}

TEST_F(GenTLConsumer, ReadsRegistersAndFeaturesThroughThePort)
{
    Device *device = openFirst(kInterfaceCoaXPress);
    ASSERT_NE(device, nullptr);
    KyrCamErr err = -1;
    KyrGenParam::Array *params = device->GetCameraParameters(&err);
    ASSERT_NE(params, nullptr);
    ASSERT_EQ(params->SetIntegerValue("Width", 320), kOk);
    // The model's registers are big-endian, as GigE Vision ones.
    uint8_t width[4] = {};
    EXPECT_EQ(device->ReadMem(kWidthRegister, width, sizeof width), kOk);
    EXPECT_EQ((width[2] << 8) | width[3], 320);
    EXPECT_EQ(device->ReadMem(kWidthRegister, nullptr, 4), kErrInvalidParameter);
    device->Release();
}

TEST_F(GenTLConsumer, RemoteEventsFollowTheFrames)
{
    Device *device = openFirst(kInterfaceCoaXPress);
    ASSERT_NE(device, nullptr);
    EventLog log;
    EXPECT_EQ(device->RegisterEvent(0x1234, &EventLog::record, &log), kErrNotImplemented);
    ASSERT_EQ(device->RegisterEvent(kExposureEnd, &EventLog::record, &log), kOk);
    Stream *stream = device->GetStreamByIndex(0);
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(stream->AllocBufferQueue(nullptr, 2), kOk);
    ASSERT_EQ(stream->StartAcquisition(~uint64_t(0), nullptr), kOk);
    for (int i = 0; i < 5; ++i) {
        KyrCamErr err = -1;
        Buffer *buffer = stream->GetBuffer(5000, &err);
        ASSERT_NE(buffer, nullptr) << err;
        ASSERT_EQ(stream->QueueBuffer(buffer), kOk);
    }
    ASSERT_TRUE(log.waitFor(5));
    EXPECT_EQ(device->UnRegisterEvent(kExposureEnd, &EventLog::record, &log), kOk);
    EXPECT_EQ(device->UnRegisterEvent(kExposureEnd, &EventLog::record, &log), kErrInvalidParameter);
    EXPECT_EQ(stream->StopAcquisition(kStopDefault), kOk);
    stream->Release();
    device->Release();
    std::lock_guard<std::mutex> lock(log.mutex);
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(log.events[i], i + 1);
}

TEST_F(GenTLConsumer, EveryDataStreamIsReachable)
{
    Device *device = openFirst(kInterfaceHdSdi);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetNumStreams(), 2u);
    Stream *second = device->GetStreamByIndex(1);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(device->GetStreamById("Stream1"), second);
    EXPECT_EQ(device->GetStreamByIndex(2), nullptr);
    EXPECT_EQ(device->GetStreamById("Stream2"), nullptr);
    second->Release();
    second->Release();
    device->Release();
}

TEST_F(GenTLConsumer, MissingOptionalExportsLeaveAPlainDevice)
{
    Device *device = openFirst(kOtherGenTL);
    ASSERT_NE(device, nullptr);
    KyrCamErr err = kOk;
    EXPECT_EQ(device->GetCameraParameters(&err), nullptr);
    EXPECT_EQ(err, kErrNotAvailable);
    EXPECT_EQ(device->GetNumStreams(), 0u);
    EXPECT_EQ(device->GetStreamByIndex(0), nullptr);
    EventLog log;
    EXPECT_EQ(device->RegisterEvent(kExposureEnd, &EventLog::record, &log), kErrNotImplemented);
    EXPECT_STREQ(device->GetInfo()->GetIPAddress(&err), "");
    uint32_t width = 0;
    EXPECT_EQ(device->ReadMem(kWidthRegister, &width, sizeof width), kErrNotAvailable) << "no description, no port";
    device->Release();
}

} // namespace
