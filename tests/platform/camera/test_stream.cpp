// Streaming from the simulated camera: pixel data against its pattern in
// several formats, queue rules, flush modes, time-outs and cancelling.

#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include <image/KyrImage.h>
#include <image/KyrPixelType.h>

#include "camera_test_env.h"

using namespace KyrCam;

namespace {

constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 24;

class Streaming : public KyrCamTest::OpenCamera
{
protected:
    void SetUp() override
    {
        OpenCamera::SetUp();
        if (HasFatalFailure())
            return;
        ASSERT_EQ(params_->SetIntegerValue("Width", kWidth), kOk);
        ASSERT_EQ(params_->SetIntegerValue("Height", kHeight), kOk);
        ASSERT_EQ(params_->SetFloatValue("AcquisitionFrameRate", 200.0), kOk);
        ASSERT_EQ(params_->SetEnumValueStr("TriggerMode", "Off"), kOk);
        stream_ = device_->GetStreamByIndex(0);
        ASSERT_NE(stream_, nullptr);
    }
    void TearDown() override
    {
        if (!stream_)
            return;
        stream_->StopAcquisition(kStopKill);
        EXPECT_EQ(stream_->ReleaseBufferQueue(), kOk);
        stream_->Release();
    }

    // Frames only on software trigger.
    void triggerMode()
    {
        ASSERT_EQ(params_->SetEnumValueStr("TriggerSelector", "FrameStart"), kOk);
        ASSERT_EQ(params_->SetEnumValueStr("TriggerSource", "Software"), kOk);
        ASSERT_EQ(params_->SetEnumValueStr("TriggerMode", "On"), kOk);
    }

    Stream *stream_ = nullptr;
};

// The simulated camera's pattern: x + y + frame id, cut to the format.
uint32_t expected(uint32_t x, uint32_t y, uint64_t frame, uint32_t bits)
{
    return uint32_t(x + y + frame) & ((1u << bits) - 1);
}

struct FormatCase {
    const char *name;
    uint32_t pixelType;
    uint32_t bits;
};

class StreamingFormats : public Streaming, public ::testing::WithParamInterface<FormatCase>
{
};

// Checks every pixel of a frame; the first mismatch as text, or "".
std::string mismatch(Buffer *buffer, const FormatCase &format)
{
    const uint8_t *data = buffer->GetBufferPtr() + buffer->GetImageOffset();
    const uint64_t frame = buffer->GetFrameID();
    const KyrImage *image = buffer->GetImage();
    for (uint32_t y = 0; y < kHeight; ++y) {
        const uint8_t *line = data + size_t(y) * image->stride;
        for (uint32_t x = 0; x < kWidth; ++x) {
            uint32_t got = 0;
            uint32_t want = expected(x, y, frame, format.bits);
            switch (KyrPixelBitsOf(format.pixelType)) {
            case 8:
                got = line[x];
                break;
            case 16:
                got = line[2 * x] | (line[2 * x + 1] << 8);
                break;
            case 12: {
                const uint8_t *pair = line + (x / 2) * 3;
                const uint32_t low = format.bits - 8;
                got = x % 2 == 0 ? (uint32_t(pair[0]) << low) | (pair[1] & ((1u << low) - 1))
                                 : (uint32_t(pair[2]) << low) | ((pair[1] >> 4) & ((1u << low) - 1));
                break;
            }
            case 24:
                got = (line[3 * x] << 16) | (line[3 * x + 1] << 8) | line[3 * x + 2];
                want = (uint32_t(uint8_t(x + frame)) << 16) | (uint32_t(uint8_t(y + frame)) << 8) |
                       uint8_t(x + y + frame);
                break;
            }
            if (got != want)
                return "pixel " + std::to_string(x) + "," + std::to_string(y) + " of frame " + std::to_string(frame) +
                       ": " + std::to_string(got) + " instead of " + std::to_string(want);
        }
    }
    return "";
}

TEST_P(StreamingFormats, FramesCarryThePattern)
{
    const FormatCase format = GetParam();
    ASSERT_EQ(params_->SetEnumValueStr("PixelFormat", format.name), kOk);
    const int64_t payload = stream_->GetBufferSize();
    EXPECT_EQ(payload, int64_t(kWidth) * kHeight * KyrPixelBitsOf(format.pixelType) / 8);
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 4), kOk);
    ASSERT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kOk);
    uint64_t previous = 0;
    for (int i = 0; i < 3; ++i) {
        KyrCamErr err = -1;
        Buffer *buffer = stream_->GetBuffer(5000, &err);
        ASSERT_NE(buffer, nullptr) << err;
        EXPECT_FALSE(buffer->IsIncomplete());
        EXPECT_EQ(buffer->GetPixelFormat(), format.pixelType);
        EXPECT_EQ(buffer->GetWidth(), kWidth);
        EXPECT_EQ(buffer->GetHeight(), kHeight);
        EXPECT_EQ(buffer->GetBufferSize(), uint64_t(payload));
        EXPECT_GT(buffer->GetFrameID(), previous);
        previous = buffer->GetFrameID();
        KyrImage *image = buffer->GetImage();
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->pixelType, format.pixelType);
        EXPECT_EQ(image->data, buffer->GetBufferPtr() + buffer->GetImageOffset());
        EXPECT_EQ(mismatch(buffer, format), "");
        EXPECT_EQ(stream_->QueueBuffer(buffer), kOk);
    }
    EXPECT_EQ(stream_->StopAcquisition(kStopDefault), kOk);
    KyrCamErr err = -1;
    EXPECT_GE(device_->GetTransportParameters(&err)->GetIntegerValue("StatCompletedBuffers", &err), 3);
    EXPECT_EQ(params_->SetEnumValueStr("PixelFormat", "Mono8"), kOk);
}

INSTANTIATE_TEST_SUITE_P(Streaming, StreamingFormats,
                         ::testing::Values(FormatCase{ "Mono8", kKyrPixelMono8, 8 },
                                           FormatCase{ "Mono10", kKyrPixelMono10, 10 },
                                           FormatCase{ "Mono12Packed", kKyrPixelMono12Packed, 12 },
                                           FormatCase{ "BayerRG10Packed", kKyrPixelBayerRG10Packed, 10 },
                                           FormatCase{ "BayerGB12", kKyrPixelBayerGB12, 12 },
                                           FormatCase{ "RGB8", kKyrPixelRGB8, 8 }),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(Streaming, QueueRules)
{
    KyrCamErr err = -1;
    EXPECT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kErrInvalidBuffer);
    EXPECT_EQ(stream_->AllocBufferQueue(nullptr, 0), kErrInvalidParameter);
    EXPECT_EQ(stream_->AllocBufferQueue(nullptr, 1025), kErrInvalidParameter);
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 2), kOk);
    EXPECT_EQ(stream_->AllocBufferQueue(nullptr, 2), kErrResourceInUse);
    EXPECT_EQ(stream_->GetBufferQueueSize(), 2);
    EXPECT_EQ(stream_->GetBuffer(10, &err), nullptr);
    EXPECT_EQ(err, kErrNotInitialized);
    EXPECT_EQ(stream_->StopAcquisition(kStopDefault), kErrInvalidState);
    EXPECT_EQ(stream_->StopAcquisition(9), kErrInvalidParameter);

    Buffer *extra = stream_->CreateBuffer(stream_->GetBufferSize(), nullptr, &err);
    ASSERT_NE(extra, nullptr);
    EXPECT_EQ(stream_->CreateBuffer(0, nullptr, &err), nullptr);
    EXPECT_EQ(err, kErrInvalidParameter);
    EXPECT_EQ(extra->GetImage(), nullptr) << "no frame yet";
    EXPECT_EQ(stream_->QueueBuffer(extra), kOk);
    EXPECT_EQ(stream_->QueueBuffer(extra), kErrResourceInUse);
    EXPECT_EQ(stream_->QueueBuffer(nullptr), kErrInvalidBuffer);
    EXPECT_EQ(stream_->RevokeBuffer(extra), kOk) << "queued, not acquiring";
    EXPECT_EQ(stream_->GetBufferQueueSize(), 2);
    EXPECT_EQ(stream_->RevokeBuffer(extra), kErrInvalidBuffer);

    ASSERT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kOk);
    EXPECT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kErrResourceInUse);
    EXPECT_EQ(stream_->ReleaseBufferQueue(), kErrBusy);
    Buffer *buffer = stream_->GetBuffer(5000, &err);
    ASSERT_NE(buffer, nullptr) << err;
    EXPECT_EQ(stream_->StopAcquisition(kStopKill), kOk);
}

TEST_F(Streaming, FrameCountEndsDelivery)
{
    triggerMode();
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 3), kOk);
    ASSERT_EQ(stream_->StartAcquisition(1, nullptr), kOk);
    KyrCamErr err = -1;
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(params_->ExecuteCommand("TriggerSoftware"), kOk);
    EXPECT_NE(stream_->GetBuffer(5000, &err), nullptr) << err;
    EXPECT_EQ(stream_->GetBuffer(300, &err), nullptr);
    EXPECT_EQ(err, kErrTimeout);
}

TEST_F(Streaming, FlushModesMoveBuffersBetweenQueues)
{
    triggerMode();
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 3), kOk);
    EXPECT_EQ(stream_->FlushBuffers(0), kErrInvalidParameter);
    EXPECT_EQ(stream_->FlushBuffers(kFlushAllDiscard), kOk);
    EXPECT_EQ(stream_->GetBufferQueueSize(), 0);
    EXPECT_EQ(stream_->FlushBuffers(kFlushUnqueuedToInput), kOk);
    EXPECT_EQ(stream_->GetBufferQueueSize(), 3);

    ASSERT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kOk);
    ASSERT_EQ(params_->ExecuteCommand("TriggerSoftware"), kOk);
    KyrCamErr err = -1;
    Buffer *held = stream_->GetBuffer(5000, &err);
    ASSERT_NE(held, nullptr) << err;
    EXPECT_EQ(stream_->GetBufferQueueSize(), 2);
    // A delivered buffer is announced again: AllToInput queues it.
    EXPECT_EQ(stream_->FlushBuffers(kFlushAllToInput), kOk);
    EXPECT_EQ(stream_->GetBufferQueueSize(), 3);
    EXPECT_EQ(stream_->QueueBuffer(held), kErrResourceInUse);

    // A filled frame waits in the output queue (it has left the input queue)
    // until OutputDiscard drops it.
    ASSERT_EQ(params_->ExecuteCommand("TriggerSoftware"), kOk);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (stream_->GetBufferQueueSize() == 3 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    ASSERT_EQ(stream_->GetBufferQueueSize(), 2);
    EXPECT_EQ(stream_->FlushBuffers(kFlushOutputDiscard), kOk);
    EXPECT_EQ(stream_->GetBuffer(100, &err), nullptr);
    EXPECT_EQ(err, kErrTimeout);
    EXPECT_EQ(stream_->FlushBuffers(kFlushUnqueuedToInput), kOk);
    EXPECT_EQ(stream_->GetBufferQueueSize(), 3);
}

TEST_F(Streaming, WaitTimesOutAndCancelEndsIt)
{
    triggerMode();
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 2), kOk);
    ASSERT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kOk);
    KyrCamErr err = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(stream_->GetBuffer(150, &err), nullptr);
    EXPECT_EQ(err, kErrTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));

    // Without a waiter a cancel is forgotten.
    EXPECT_EQ(stream_->CancelBuffer(), kOk);
    EXPECT_EQ(stream_->GetBuffer(10, &err), nullptr);
    EXPECT_EQ(err, kErrTimeout);

    auto waiter = std::async(std::launch::async, [&] {
        KyrCamErr code = 0;
        Buffer *buffer = stream_->GetBuffer(~uint64_t(0), &code);
        return std::make_pair(buffer, code);
    });
    // The cancel only counts once the wait has begun: repeat it until the
    // waiter returns.
    while (waiter.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
        stream_->CancelBuffer();
    const auto result = waiter.get();
    EXPECT_EQ(result.first, nullptr);
    EXPECT_EQ(result.second, kErrAbort);
}

TEST_F(Streaming, StopEndsAnEndlessWait)
{
    triggerMode();
    ASSERT_EQ(stream_->AllocBufferQueue(nullptr, 2), kOk);
    ASSERT_EQ(stream_->StartAcquisition(~uint64_t(0), nullptr), kOk);
    auto waiter = std::async(std::launch::async, [&] {
        KyrCamErr code = 0;
        Buffer *buffer = stream_->GetBuffer(~uint64_t(0), &code);
        return std::make_pair(buffer, code);
    });
    // Whether the stop comes before the wait or during it, the wait ends.
    EXPECT_EQ(stream_->StopAcquisition(kStopDefault), kOk);
    const auto result = waiter.get();
    EXPECT_EQ(result.first, nullptr);
    EXPECT_EQ(result.second, kErrNotInitialized);
}

} // namespace
