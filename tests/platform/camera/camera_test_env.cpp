#include "camera_test_env.h"

#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

namespace KyrCamTest {

namespace {

// A network namespace of this process alone, with its loopback up. Without
// the right to make one (not root), the host's loopback serves.
bool enterPrivateNetwork()
{
    if (unshare(CLONE_NEWNET) != 0) {
        std::perror("unshare(CLONE_NEWNET): testing on the host's loopback");
        return true;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    const bool up = fd >= 0 && ioctl(fd, SIOCGIFFLAGS, &request) == 0 &&
                    (request.ifr_flags |= IFF_UP, ioctl(fd, SIOCSIFFLAGS, &request) == 0);
    if (fd >= 0)
        close(fd);
    return up;
}

bool hasSerial(KyrCam::Interface *iface, const char *serial, KyrCam::DeviceInfo **found)
{
    KyrCam::DeviceInfoList *list = iface->GetDeviceInfoList();
    *found = nullptr;
    for (KyrCam::DeviceInfo *info = list->GetFirst(); info; info = list->GetNext()) {
        if (std::strcmp(info->GetSerialNumber(), serial) == 0)
            *found = info;
    }
    list->Release();
    return *found != nullptr;
}

// The simulated camera of this build, or the one KYR_SIM_CAMERA names: a
// cross-built test runs under an emulator that cannot start a program of its
// own architecture, so it is given the host's.
const char *simCameraPath()
{
    const char *path = std::getenv("KYR_SIM_CAMERA");
    return path && *path ? path : KYR_SIM_CAMERA;
}

} // namespace

KyrCam::Interface *loopbackInterface()
{
    KyrCam::InterfaceList *list = KyrCam_GetSystem()->GetInterfaceList(KyrCam::interfaceMaskBit(KyrCam::kInterfaceGigEVision));
    KyrCam::Interface *loopback = nullptr;
    for (KyrCam::Interface *iface = list->GetFirst(); iface; iface = list->GetNext()) {
        if (std::strstr(iface->GetDescription(), "(127.0.0.1)"))
            loopback = iface;
    }
    list->Release();
    return loopback;
}

KyrCam::DeviceInfo *awaitDevice(const char *serial, bool present, int timeoutMs)
{
    KyrCam::Interface *iface = loopbackInterface();
    if (!iface)
        return nullptr;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    KyrCam::DeviceInfo *found = nullptr;
    // Each rescan blocks for one discovery round: this waits on the camera's
    // answer, not on time.
    while (hasSerial(iface, serial, &found) != present && std::chrono::steady_clock::now() < deadline) {
        bool changed = false;
        iface->ReEnumerateDevices(&changed, ~uint64_t(0));
    }
    return found;
}

SimCamera::SimCamera(bool await)
{
    const char *path = simCameraPath();
    pid_ = fork();
    if (pid_ == 0) {
        execl(path, path, "--address", "127.0.0.1", "--serial", kSerial, static_cast<char *>(nullptr));
        _exit(127);
    }
    if (await)
        info_ = awaitDevice(kSerial, true, 10000);
}

SimCamera::~SimCamera() { kill(); }

void SimCamera::kill()
{
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
}

std::unique_ptr<SimCamera> OpenCamera::camera_;
KyrCam::Device *OpenCamera::device_ = nullptr;

void OpenCamera::SetUpTestSuite()
{
    camera_ = std::make_unique<SimCamera>();
    KyrCamErr err = 0;
    if (camera_->info())
        device_ = KyrCam_CreateDevice(camera_->info(), KyrCam::kOpenControl, &err);
}

void OpenCamera::TearDownTestSuite()
{
    if (device_)
        device_->Release();
    device_ = nullptr;
    camera_.reset();
}

void OpenCamera::SetUp()
{
    ASSERT_NE(device_, nullptr) << "the simulated camera was not found or not opened";
    KyrCamErr err = -1;
    params_ = device_->GetCameraParameters(&err);
    ASSERT_NE(params_, nullptr);
    ASSERT_EQ(err, KyrCam::kOk);
}

} // namespace KyrCamTest

int main(int argc, char **argv)
{
    if (!KyrCamTest::enterPrivateNetwork())
        return 1;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
