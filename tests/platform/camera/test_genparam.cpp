// Features of the simulated camera, the transport layer and the interface:
// every type, their bounds and their errors.

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "camera_test_env.h"

using namespace KyrCam;
using namespace KyrGenParam;

namespace {

class Features : public KyrCamTest::OpenCamera
{
};

TEST_F(Features, IntegerBoundsAndRangeChecks)
{
    KyrCamErr err = -1;
    Int *width = params_->GetInt("Width", &err);
    ASSERT_NE(width, nullptr);
    EXPECT_EQ(width->GetMin(&err), 1);
    EXPECT_EQ(width->GetMax(&err), 2048);
    EXPECT_EQ(width->GetIncrement(&err), 1);
    EXPECT_EQ(width->SetValue(320), kOk);
    EXPECT_EQ(params_->GetIntegerValue("Width", &err), 320);
    EXPECT_EQ(err, kOk);
    EXPECT_EQ(width->SetValue(4096), kErrGenICamOutOfRange);
    EXPECT_EQ(width->SetValue(0), kErrGenICamOutOfRange);
    EXPECT_EQ(width->GetValue(&err), 320) << "a refused value reaches the device";
}

struct ErrorCase {
    const char *what;
    KyrCamErr (*call)(Array *);
    KyrCamErr expected;
};

class FeatureErrors : public Features, public ::testing::WithParamInterface<ErrorCase>
{
};

TEST_P(FeatureErrors, ReportTheirCode)
{
    EXPECT_EQ(GetParam().call(params_), GetParam().expected) << GetParam().what;
}

KyrCamErr readError(Array *params, const char *name)
{
    KyrCamErr err = 0;
    params->GetIntegerValue(name, &err);
    return err;
}

INSTANTIATE_TEST_SUITE_P(
    Features, FeatureErrors,
    ::testing::Values(
        ErrorCase{ "unknown name", [](Array *p) { return readError(p, "NoSuchFeature"); }, kErrGenICamUnknownParameter },
        ErrorCase{ "null name", [](Array *p) { return readError(p, nullptr); }, kErrGenICamInvalidArgument },
        ErrorCase{ "wrong type", [](Array *p) {
                       KyrCamErr err = 0;
                       p->GetFloat("Width", &err);
                       return err;
                   }, kErrGenICamType },
        ErrorCase{ "read-only", [](Array *p) { return p->SetIntegerValue("SensorWidth", 100); }, kErrGenICamAccess },
        ErrorCase{ "write-only", [](Array *p) { return readError(p, "AcquisitionCommandRegister"); }, kErrGenICamAccess },
        ErrorCase{ "no such entry", [](Array *p) { return p->SetEnumValueStr("PixelFormat", "Mono99"); }, kErrGenICamOutOfRange },
        ErrorCase{ "no such entry value", [](Array *p) { return p->SetEnumValue("PixelFormat", 12345); }, kErrGenICamOutOfRange },
        ErrorCase{ "float above max", [](Array *p) { return p->SetFloatValue("ExposureTimeAbs", 1e12); }, kErrGenICamOutOfRange },
        ErrorCase{ "string too long", [](Array *p) { return p->SetStringValue("DeviceUserID", "seventeen chars!!"); }, kErrGenICamOutOfRange },
        ErrorCase{ "null string", [](Array *p) { return p->SetStringValue("DeviceUserID", nullptr); }, kErrGenICamInvalidArgument },
        ErrorCase{ "unknown command", [](Array *p) { return p->ExecuteCommand("NoSuchCommand"); }, kErrGenICamUnknownParameter }));

TEST_F(Features, FloatStringBooleanAndCommand)
{
    KyrCamErr err = -1;
    Float *exposure = params_->GetFloat("ExposureTimeAbs", &err);
    ASSERT_NE(exposure, nullptr);
    EXPECT_STREQ(exposure->GetUnit(&err), "us");
    EXPECT_DOUBLE_EQ(exposure->GetMin(&err), 10.0);
    EXPECT_EQ(exposure->SetValue(2500.0), kOk);
    EXPECT_DOUBLE_EQ(params_->GetFloatValue("ExposureTimeAbs", &err), 2500.0);

    String *user = params_->GetString("DeviceUserID", &err);
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(user->GetMaxLength(nullptr), 16);
    EXPECT_EQ(user->SetValue("bench-7"), kOk);
    EXPECT_STREQ(params_->GetStringValue("DeviceUserID", &err), "bench-7");
    EXPECT_EQ(user->SetValue(""), kOk);

    EXPECT_EQ(params_->SetBooleanValue("TestBoolean", true), kOk);
    EXPECT_TRUE(params_->GetBooleanValue("TestBoolean", &err));
    EXPECT_EQ(params_->GetIntegerValue("TestRegister", &err), 321) << "the boolean's on value";
    EXPECT_EQ(params_->SetBooleanValue("TestBoolean", false), kOk);

    Command *trigger = params_->GetCommand("TriggerSoftware", &err);
    ASSERT_NE(trigger, nullptr);
    EXPECT_TRUE(trigger->IsDone(nullptr));
    EXPECT_EQ(trigger->Execute(), kOk);
    EXPECT_TRUE(params_->IsCommandDone("TriggerSoftware", &err)) << "write-only command register counts as done";
}

TEST_F(Features, EnumEntriesInDescriptionOrder)
{
    KyrCamErr err = -1;
    Enum *format = params_->GetEnum("PixelFormat", &err);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->GetCount(&err), 27);
    const std::vector<std::string> first = { "BayerBG8", "BayerGB8", "BayerGR8", "BayerRG8", "Mono8", "RGB8", "Mono16", "Mono10" };
    for (size_t i = 0; i < first.size(); ++i) {
        EnumEntry *entry = format->GetEnumEntryByIndex(int64_t(i));
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->GetValueStr(&err), first[i]);
    }
    EXPECT_EQ(format->GetEnumEntryByIndex(27), nullptr);
    EXPECT_EQ(format->GetEnumEntryByIndex(-1), nullptr);
    EXPECT_EQ(format->SetValueStr("Mono12Packed"), kOk);
    EXPECT_EQ(format->GetValue(&err), 0x010C0006);
    EXPECT_EQ(format->SetValue(0x01080001), kOk);
    EXPECT_STREQ(format->GetValueStr(&err), "Mono8");
}

TEST_F(Features, TreeAndFlatListAgree)
{
    KyrCamErr err = -1;
    Category *root = params_->GetRootCategory(&err);
    ASSERT_NE(root, nullptr);
    EXPECT_STREQ(root->GetName(), "Root");
    ASSERT_GT(root->GetCount(), 0);
    EXPECT_EQ(root->GetParamByIndex(uint32_t(root->GetCount()), &err), nullptr);
    EXPECT_EQ(err, kErrInvalidIndex);
    // Every entry of the flat list is the same object as by name.
    const int32_t count = params_->GetCount();
    ASSERT_GT(count, 20);
    for (int32_t i = 0; i < count; ++i) {
        Param *param = params_->GetParamByIndex(uint32_t(i), &err);
        ASSERT_NE(param, nullptr) << i;
        EXPECT_EQ(params_->GetParam(param->GetName(), &err), param);
        EXPECT_NE(param->GetType(), ParamEnumEntry);
    }
    EXPECT_EQ(params_->GetParamByIndex(uint32_t(count), &err), nullptr);
    Param *period = params_->GetParam("TLParamsLocked", &err);
    ASSERT_NE(period, nullptr);
    EXPECT_EQ(period->GetVisibility(), VisInvisible);
    EXPECT_FALSE(period->IsVisible(VisGuru));
    EXPECT_TRUE(period->IsVisible(VisInvisible));
}

TEST_F(Features, TransportAndInterfaceNodeMaps)
{
    KyrCamErr err = -1;
    Array *transport = device_->GetTransportParameters(&err);
    ASSERT_NE(transport, nullptr);
    EXPECT_EQ(transport->GetIntegerValue("GevSCPSPacketSize", &err), 1400);
    EXPECT_EQ(transport->SetIntegerValue("GevSCPSPacketSize", 4000), kOk);
    EXPECT_EQ(transport->GetIntegerValue("GevSCPSPacketSize", &err), 4000);
    EXPECT_EQ(transport->SetIntegerValue("GevSCPSPacketSize", 1400), kOk);
    EXPECT_EQ(transport->SetIntegerValue("StatCompletedBuffers", 3), kErrGenICamAccess);
    EXPECT_EQ(transport->GetIntegerValue("StatCompletedBuffers", &err), 0) << "no stream open";
    EXPECT_EQ(transport->SetBooleanValue("PacketResendEnable", true), kOk);
    EXPECT_TRUE(transport->GetBooleanValue("PacketResendEnable", &err));

    Array *iface = KyrCamTest::loopbackInterface()->GetParameters(&err);
    ASSERT_NE(iface, nullptr);
    EXPECT_EQ(iface->GetIntegerValue("InterfaceType", &err), kInterfaceGigEVision);
    EXPECT_EQ(iface->GetIntegerValue("GevInterfaceSubnetIPAddress", &err), 0x7F000001);
    EXPECT_EQ(iface->GetIntegerValue("DeviceCount", &err), 1);
}

TEST_F(Features, RegisterAccess)
{
    // TestRegister sits at 0x1f0, big endian.
    ASSERT_EQ(params_->SetIntegerValue("TestRegister", 0x01020304), kOk);
    uint8_t bytes[4] = {};
    ASSERT_EQ(device_->ReadMem(0x1F0, bytes, 4), kOk);
    EXPECT_EQ(bytes[0], 0x01);
    EXPECT_EQ(bytes[3], 0x04);
    const uint8_t value[4] = { 0, 0, 0, 9 };
    uint64_t written = 0;
    EXPECT_EQ(device_->WriteMem(0x1F0, value, 4, &written), kOk);
    EXPECT_EQ(written, 4u);
    KyrCamErr err = -1;
    EXPECT_EQ(params_->GetIntegerValue("TestRegister", &err), 9);
    EXPECT_EQ(device_->ReadMem(0x1F0, nullptr, 4), kErrInvalidParameter);
    EXPECT_EQ(device_->ReadMem(-4, bytes, 4), kErrInvalidAddress);
    EXPECT_EQ(device_->WriteMem(0x1F0, value, 0, &written), kErrInvalidParameter);
}

} // namespace
