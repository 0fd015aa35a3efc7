#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace SimCamera {

namespace {

constexpr unsigned kMaxResendFrames = 32;
constexpr uint32_t kMaxPacketDelayNs = 100'000'000;

const char kHelp[] =
    "usage: kyr-sim-camera [OPTION...]\n"
    "Serves a simulated GigE Vision camera until SIGINT or SIGTERM (or --parent's end).\n"
    "\n"
    "  --address IP        the camera's address; it must be on an adapter (default 127.0.0.1)\n"
    "  --serial TEXT       serial number; the MAC address derives from it (default SIM0001)\n"
    "  --xml FILE          GenICam description (default sim_camera.xml beside the program)\n"
    "  --resend-frames N   frames kept for PACKETRESEND after their first send, 0 to 32 (default 4);\n"
    "                      a request for an older block gets a PACKET_UNAVAILABLE stream packet\n"
    "  --drop FRACTION     leave this fraction (0 to 1) of the stream packets unsent on their\n"
    "                      first send (default 0)\n"
    "  --seed N            seed of the drop generator (default 1): the same seed drops the same packets\n"
    "  --drop-resends      let --drop apply to resent packets as well\n"
    "  --packet-delay NS   pause after each stream packet, added to the client's GevSCPD (default 0)\n"
    "  --bandwidth MBPS    most megabits per second the stream sends, 0 for no limit (default 0)\n"
    "  --plain-events      send EVENT instead of EVENTDATA on the message channel\n"
    "  --parent PID        end when process PID ends, however it ends (a camera a script started\n"
    "                      then never outlives it, even when the script is killed)\n"
    "  --help              this text\n"
    "\n"
    "Frames: pixel (x, y) of block b has the value x + y + b cut to the format's bits; RGB8\n"
    "carries x + b, y + b and x + y + b. Block ids count from 1 and skip 0 when they wrap.\n"
    "\n"
    "Events: once the controlling client set the message channel (port 0x0B00, address 0x0B10)\n"
    "and switched EventNotification On for an EventSelector entry (FrameStart id 0x0001,\n"
    "ExposureStart 0x0002, ExposureEnd 0x0003), each frame sends one EVENTDATA command\n"
    "(0x00C2, acknowledge requested) per enabled event, from the port in 0x0B1C:\n"
    "  bytes 0-1 reserved, 2-3 event id, 4-5 stream channel (0), 6-7 block id,\n"
    "  8-15 timestamp in ns, 16-23 block id as 64 bits, 24-31 timestamp again;\n"
    "all big-endian. --plain-events sends EVENT (0x00C0) with bytes 0-15 only. An\n"
    "unacknowledged command goes again after the timeout in 0x0B14 (ms), at most the\n"
    "number of times in 0x0B18.\n";

bool parseUnsigned(const char *text, unsigned long long most, unsigned long long &value)
{
    char *end = nullptr;
    errno = 0;
    value = std::strtoull(text, &end, 0);
    return errno == 0 && end != text && *end == '\0' && text[0] != '-' && value <= most;
}

bool parseReal(const char *text, double least, double most, double &value)
{
    char *end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && std::isfinite(value) && value >= least && value <= most;
}

} // namespace

const char *helpText()
{
    return kHelp;
}

ParseResult parseOptions(int argc, char **argv, Options &options, std::string &error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help")
            return ParseResult::kHelp;
        if (option == "--drop-resends") {
            options.dropResends = true;
            continue;
        }
        if (option == "--plain-events") {
            options.plainEvents = true;
            continue;
        }
        if (i + 1 >= argc) {
            error = option + ": needs a value";
            return ParseResult::kError;
        }
        const char *value = argv[++i];
        unsigned long long number = 0;
        bool good = true;
        if (option == "--address")
            options.address = value;
        else if (option == "--serial")
            options.serial = value;
        else if (option == "--xml")
            options.xml = value;
        else if (option == "--resend-frames") {
            good = parseUnsigned(value, kMaxResendFrames, number);
            options.resendFrames = unsigned(number);
        } else if (option == "--seed") {
            good = parseUnsigned(value, UINT32_MAX, number);
            options.seed = uint32_t(number);
        } else if (option == "--packet-delay") {
            good = parseUnsigned(value, kMaxPacketDelayNs, number);
            options.packetDelayNs = uint32_t(number);
        } else if (option == "--parent") {
            good = parseUnsigned(value, INT32_MAX, number) && number > 0;
            options.parent = int32_t(number);
        } else if (option == "--drop")
            good = parseReal(value, 0.0, 1.0, options.drop);
        else if (option == "--bandwidth")
            good = parseReal(value, 0.0, 1e6, options.bandwidthMbps);
        else {
            error = option + ": unknown option";
            return ParseResult::kError;
        }
        if (!good) {
            error = option + ": bad value " + value;
            return ParseResult::kError;
        }
    }
    return ParseResult::kRun;
}

} // namespace SimCamera
