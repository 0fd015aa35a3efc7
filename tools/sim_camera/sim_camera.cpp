// kyr-sim-camera: a simulated GigE Vision camera on one address. Aravis's
// fake camera is the register model and the frame source (with the GenICam
// description beside this program, sim_camera.xml, and the test pattern of
// pattern.h); the network side is this program's own: the control channel
// (gvcp_server.h), the stream channel with packet resend, loss and pacing
// (gvsp_sender.h) and the message channel's events (event_channel.h). The
// options are in options.cpp (--help). Runs until SIGINT or SIGTERM, or
// until the process named by --parent ends.

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <glib-unix.h>

#include "device_model.h"
#include "event_channel.h"
#include "force_ip.h"
#include "gvcp_server.h"
#include "gvsp_sender.h"
#include "options.h"
#include "pattern.h"

namespace {

struct MainLoopUnref {
    void operator()(GMainLoop *loop) const noexcept { g_main_loop_unref(loop); }
};

std::string besideProgram(const char *name)
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0)
        return name;
    path[length] = '\0';
    std::string dir(path);
    return dir.substr(0, dir.rfind('/') + 1) + name;
}

gboolean quit(gpointer loop)
{
    g_main_loop_quit(static_cast<GMainLoop *>(loop));
    return G_SOURCE_REMOVE;
}

// A pidfd becomes readable when its process ends.
gboolean parentEnded(gint, GIOCondition, gpointer loop)
{
    return quit(loop);
}

// 02:xx:xx:xx:xx:xx from the serial number (FNV-1a): FORCEIP names a camera
// by its MAC address, so each serial number gets its own (locally
// administered).
uint64_t macOf(const std::string &serial)
{
    uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : serial)
        hash = (hash ^ uint8_t(c)) * 0x100000001b3u;
    return 0x020000000000u | (hash & 0xFFFFFFFFFFu);
}

} // namespace

int main(int argc, char **argv)
{
    SimCamera::Options options;
    options.xml = besideProgram("sim_camera.xml");
    std::string error;
    switch (SimCamera::parseOptions(argc, argv, options, error)) {
    case SimCamera::ParseResult::kHelp:
        std::fputs(SimCamera::helpText(), stdout);
        return 0;
    case SimCamera::ParseResult::kError:
        std::fprintf(stderr, "kyr-sim-camera: %s\n%s", error.c_str(), SimCamera::helpText());
        return 2;
    case SimCamera::ParseResult::kRun:
        break;
    }

    const uint64_t mac = macOf(options.serial);
    std::unique_ptr<SimCamera::DeviceModel> model = SimCamera::DeviceModel::create(options.serial, options.xml, mac);
    if (!model) {
        std::fprintf(stderr, "kyr-sim-camera: cannot load %s\n", options.xml.c_str());
        return 1;
    }
    model->setFillPattern(SimCamera::fillPattern);
    SimCamera::EventChannel events(*model, options.plainEvents);
    SimCamera::GvspSender stream(*model, events, options);
    SimCamera::GvcpServer server(*model, stream, events, mac);
    const uint32_t address = SimCamera::parseAddress(options.address);
    if (address == 0 || !server.listen(address)) {
        std::fprintf(stderr, "kyr-sim-camera: cannot serve on %s\n", options.address.c_str());
        return 1;
    }

    std::unique_ptr<GMainLoop, MainLoopUnref> loop(g_main_loop_new(nullptr, FALSE));
    g_unix_signal_add(SIGINT, quit, loop.get());
    g_unix_signal_add(SIGTERM, quit, loop.get());
    if (options.parent != 0) {
        // A pidfd rather than PR_SET_PDEATHSIG: that one follows the thread
        // that started this program, not the process. The descriptor lives
        // as long as the program.
        const int parent = int(syscall(SYS_pidfd_open, options.parent, 0));
        if (parent < 0) {
            std::fprintf(stderr, "kyr-sim-camera: cannot watch process %d: %s\n", options.parent,
                         std::strerror(errno));
            return 1;
        }
        g_unix_fd_add(parent, G_IO_IN, parentEnded, loop.get());
    }
    std::printf("kyr-sim-camera: serving %s on %s\n", options.serial.c_str(), options.address.c_str());
    std::fflush(stdout);
    g_main_loop_run(loop.get());
    return 0;
}
