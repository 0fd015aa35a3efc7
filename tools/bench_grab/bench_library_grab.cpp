// kyr-bench-library-grab: the grab loop of kyr-bench-grab, through the camera
// library (libKyrCameraApi) instead of Aravis directly, so that the camera
// benchmark can tell the library's cost per frame from the Python binding's.
// Finds the camera by serial number on any interface, streams Mono8 frames of
// the given size at the given frame rate and prints one JSON line.
//
// usage: kyr-bench-library-grab SERIAL WIDTH HEIGHT FRAMES PACKET_SIZE FRAME_RATE

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include <camera/KyrCamApi.h>

namespace {

constexpr int kDiscoveryRounds = 15;
constexpr int64_t kBuffers = 8;
constexpr uint64_t kWaitMs = 5000;

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

KyrCam::DeviceInfo *findCamera(const char *serial)
{
    for (int round = 0; round < kDiscoveryRounds; ++round) {
        KyrCam::InterfaceList *interfaces = KyrCam_GetSystem()->GetInterfaceList(KyrCam::kInterfaceAll);
        KyrCam::DeviceInfo *found = nullptr;
        for (KyrCam::Interface *iface = interfaces->GetFirst(); iface && !found; iface = interfaces->GetNext()) {
            KyrCam::DeviceInfoList *infos = iface->GetDeviceInfoList();
            for (KyrCam::DeviceInfo *info = infos->GetFirst(); info && !found; info = infos->GetNext())
                found = std::strcmp(info->GetSerialNumber(), serial) == 0 ? info : nullptr;
            infos->Release();
            bool changed = false;
            if (!found)
                iface->ReEnumerateDevices(&changed, ~uint64_t(0));
        }
        interfaces->Release();
        if (found)
            return found;
    }
    return nullptr;
}

int fail(const char *what, KyrCamErr code)
{
    std::fprintf(stderr, "kyr-bench-library-grab: %s: %d %s\n", what, code, GetKyrCamErrString(code));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 7) {
        std::fprintf(stderr, "usage: kyr-bench-library-grab SERIAL WIDTH HEIGHT FRAMES PACKET_SIZE FRAME_RATE\n");
        return 2;
    }
    const int frames = std::atoi(argv[4]);
    KyrCam::DeviceInfo *info = findCamera(argv[1]);
    if (!info)
        return fail("find", KyrCam::kErrNoDevice);
    KyrCamErr err = KyrCam::kOk;
    KyrCam::Device *device = KyrCam_CreateDevice(info, KyrCam::kOpenControl, &err);
    if (!device)
        return fail("open", err);
    KyrGenParam::Array *camera = device->GetCameraParameters(&err);
    KyrGenParam::Array *transport = device->GetTransportParameters(&err);
    for (KyrCamErr code : { camera->SetIntegerValue("Width", std::atoi(argv[2])),
                            camera->SetIntegerValue("Height", std::atoi(argv[3])),
                            camera->SetEnumValueStr("PixelFormat", "Mono8"),
                            camera->SetFloatValue("AcquisitionFrameRate", std::atof(argv[6])),
                            transport->SetIntegerValue("GevSCPSPacketSize", std::atoi(argv[5])) }) {
        if (code != KyrCam::kOk)
            return fail("configure", code);
    }
    KyrCam::Stream *stream = device->GetStreamByIndex(0);
    if (!stream)
        return fail("stream", KyrCam::kErrNotAvailable);
    if ((err = stream->AllocBufferQueue(nullptr, kBuffers)) != KyrCam::kOk ||
        (err = stream->StartAcquisition(~uint64_t(0), nullptr)) != KyrCam::kOk)
        return fail("start", err);

    // The first frame starts the clock: setting up is not measured.
    KyrCam::Buffer *buffer = stream->GetBuffer(kWaitMs, &err);
    if (!buffer)
        return fail("first frame", err);
    stream->QueueBuffer(buffer);
    const auto wall0 = std::chrono::steady_clock::now();
    const double cpu0 = processCpuSeconds();
    int received = 0, incomplete = 0;
    for (; received < frames; ++received) {
        buffer = stream->GetBuffer(kWaitMs, &err);
        if (!buffer)
            break;
        incomplete += buffer->IsIncomplete();
        stream->QueueBuffer(buffer);
    }
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
    const double cpu = processCpuSeconds() - cpu0;
    stream->StopAcquisition(KyrCam::kStopDefault);
    stream->Release();
    device->Release();
    std::printf("{\"frames\": %d, \"fps\": %.3f, \"cpu_per_frame\": %.9f, \"incomplete\": %d}\n", received,
                received / wall, received ? cpu / received : 0.0, incomplete);
    return received == frames ? 0 : fail("frames", err);
}
