// kyr-sim-camera: serves a GigE Vision camera on one address with Aravis's
// GigE fake camera and the GenICam description beside this program
// (sim_camera.xml), filling each frame with a moving test pattern in the
// selected pixel format. Answers FORCEIP by moving to the address given
// (adding it to the adapter, which needs the rights of the network
// namespace). Runs until SIGINT or SIGTERM.
//
// The pattern: pixel (x, y) of frame f has the value x + y + f, cut to the
// format's bits (mono, Bayer); RGB8 carries x + f, y + f and x + y + f. f is the
// frame id the camera gives the frame. Tests check received frames against it.

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <glib-unix.h>
#include <arv.h>

#include "force_ip.h"

namespace {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};

struct MainLoopUnref {
    void operator()(GMainLoop *loop) const noexcept { g_main_loop_unref(loop); }
};

void fillMono8(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame)
{
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t *line = data + size_t(y) * width;
        if (size_t(y + 1) * width > size)
            return;
        for (uint32_t x = 0; x < width; ++x)
            line[x] = uint8_t(x + y + frame);
    }
}

void fillMono16(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame, uint32_t bits)
{
    const uint32_t mask = (1u << bits) - 1;
    for (uint32_t y = 0; y < height; ++y) {
        if (size_t(y + 1) * width * 2 > size)
            return;
        uint8_t *line = data + size_t(y) * width * 2;
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t value = uint32_t(x + y + frame) & mask;
            line[2 * x] = uint8_t(value);
            line[2 * x + 1] = uint8_t(value >> 8);
        }
    }
}

// GigE Vision "Packed": two pixels in three bytes, the high bits of each in its
// own byte and the low bits sharing the middle one.
// GigE Vision "Packed": the frame is one run of pixel pairs, so with an odd
// width a line starts in the middle of a pair.
void fillPacked(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame, uint32_t bits)
{
    const uint32_t mask = (1u << bits) - 1;
    const uint32_t low = bits - 8;
    const uint64_t pixels = uint64_t(width) * height;
    const auto value = [&](uint64_t i) { return uint32_t(i % width + i / width + frame) & mask; };
    for (uint64_t i = 0; i < pixels; i += 2) {
        uint8_t *out = data + i / 2 * 3;
        const uint32_t p0 = value(i);
        const uint32_t p1 = i + 1 < pixels ? value(i + 1) : 0;
        if (size_t(out - data) + 2 > size)
            return;
        out[0] = uint8_t(p0 >> low);
        out[1] = uint8_t((p0 & ((1u << low) - 1)) | ((p1 & ((1u << low) - 1)) << 4));
        if (i + 1 < pixels && size_t(out - data) + 3 <= size)
            out[2] = uint8_t(p1 >> low);
    }
}

void fillRgb8(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame)
{
    for (uint32_t y = 0; y < height; ++y) {
        if (size_t(y + 1) * width * 3 > size)
            return;
        uint8_t *line = data + size_t(y) * width * 3;
        for (uint32_t x = 0; x < width; ++x) {
            line[3 * x] = uint8_t(x + frame);
            line[3 * x + 1] = uint8_t(y + frame);
            line[3 * x + 2] = uint8_t(x + y + frame);
        }
    }
}

void fillPattern(ArvBuffer *buffer, void *, guint32, guint32, ArvPixelFormat format)
{
    // The fake camera hands over a buffer of its own, allocated for the
    // payload of the current geometry; its received size is set only after
    // filling, so the size comes from the geometry.
    auto *data = static_cast<uint8_t *>(const_cast<void *>(arv_buffer_get_data(buffer, nullptr)));
    const uint32_t width = uint32_t(arv_buffer_get_image_width(buffer));
    const uint32_t height = uint32_t(arv_buffer_get_image_height(buffer));
    const size_t size = size_t(width) * height * ARV_PIXEL_FORMAT_BIT_PER_PIXEL(format) / 8;
    const uint64_t frame = arv_buffer_get_frame_id(buffer);
    if (!data)
        return;
    switch (format) {
    case ARV_PIXEL_FORMAT_MONO_10:
    case ARV_PIXEL_FORMAT_BAYER_GR_10:
    case ARV_PIXEL_FORMAT_BAYER_RG_10:
    case ARV_PIXEL_FORMAT_BAYER_GB_10:
    case ARV_PIXEL_FORMAT_BAYER_BG_10:
        fillMono16(data, size, width, height, frame, 10);
        break;
    case ARV_PIXEL_FORMAT_MONO_12:
    case ARV_PIXEL_FORMAT_BAYER_GR_12:
    case ARV_PIXEL_FORMAT_BAYER_RG_12:
    case ARV_PIXEL_FORMAT_BAYER_GB_12:
    case ARV_PIXEL_FORMAT_BAYER_BG_12:
        fillMono16(data, size, width, height, frame, 12);
        break;
    case ARV_PIXEL_FORMAT_MONO_16:
        fillMono16(data, size, width, height, frame, 16);
        break;
    case ARV_PIXEL_FORMAT_MONO_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GR_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_RG_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GB_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_BG_10_PACKED:
        fillPacked(data, size, width, height, frame, 10);
        break;
    case ARV_PIXEL_FORMAT_MONO_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GR_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_RG_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GB_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_BG_12_PACKED:
        fillPacked(data, size, width, height, frame, 12);
        break;
    case ARV_PIXEL_FORMAT_RGB_8_PACKED:
        fillRgb8(data, size, width, height, frame);
        break;
    default:
        fillMono8(data, size, width, height, frame);
        break;
    }
}

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

// 02:xx:xx:xx:xx:xx from the serial number (FNV-1a).
uint64_t macOf(const std::string &serial)
{
    uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : serial)
        hash = (hash ^ uint8_t(c)) * 0x100000001b3u;
    return 0x020000000000u | (hash & 0xFFFFFFFFFFu);
}

void usage()
{
    std::fprintf(stderr, "usage: kyr-sim-camera [--address IP] [--serial TEXT] [--xml FILE]\n");
}

} // namespace

int main(int argc, char **argv)
{
    std::string address = "127.0.0.1";
    std::string serial = "SIM0001";
    std::string xml = besideProgram("sim_camera.xml");
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (i + 1 >= argc) {
            usage();
            return 2;
        }
        if (option == "--address")
            address = argv[++i];
        else if (option == "--serial")
            serial = argv[++i];
        else if (option == "--xml")
            xml = argv[++i];
        else {
            usage();
            return 2;
        }
    }

    using Camera = std::unique_ptr<ArvGvFakeCamera, GObjectUnref>;
    const auto serve = [&serial, &xml](const std::string &on) {
        Camera made(arv_gv_fake_camera_new_full(on.c_str(), serial.c_str(), xml.c_str()));
        if (!made || !arv_gv_fake_camera_is_running(made.get()))
            return Camera();
        ArvFakeCamera *registers = arv_gv_fake_camera_get_fake_camera(made.get());
        arv_fake_camera_set_fill_pattern(registers, fillPattern, nullptr);
        // The bootstrap registers' device MAC address, high and low.
        const uint64_t mac = macOf(serial);
        arv_fake_camera_write_register(registers, 0x0008, guint32(mac >> 32));
        arv_fake_camera_write_register(registers, 0x000C, guint32(mac));
        return made;
    };
    Camera camera = serve(address);
    if (!camera) {
        std::fprintf(stderr, "kyr-sim-camera: cannot serve on %s\n", address.c_str());
        return 1;
    }

    // Aravis gives every fake camera the same MAC address; FORCEIP names a
    // camera by it, so each serial number gets its own (locally administered).
    SimCamera::ForceIpResponder forceIp(macOf(serial),
                                        [&](const SimCamera::ForcedAddress &wanted) {
        const std::string next = SimCamera::formatAddress(wanted.address);
        if (!SimCamera::addAddress(address, wanted))
            return false;
        // The old camera goes first: both would serve the stream port.
        camera.reset();
        camera = serve(next);
        if (!camera) {
            camera = serve(address);
            return false;
        }
        address = next;
        forceIp.listen(address);
        std::printf("kyr-sim-camera: moved to %s\n", address.c_str());
        std::fflush(stdout);
        return true;
    });
    if (!forceIp.listen(address))
        std::fprintf(stderr, "kyr-sim-camera: FORCEIP not answered (broadcast port taken)\n");

    std::unique_ptr<GMainLoop, MainLoopUnref> loop(g_main_loop_new(nullptr, FALSE));
    g_unix_signal_add(SIGINT, quit, loop.get());
    g_unix_signal_add(SIGTERM, quit, loop.get());
    std::printf("kyr-sim-camera: serving %s on %s\n", serial.c_str(), address.c_str());
    std::fflush(stdout);
    g_main_loop_run(loop.get());
    return 0;
}
