// The simulated camera's command line.
#pragma once

#include <cstdint>
#include <string>

namespace SimCamera {

struct Options {
    std::string address = "127.0.0.1";
    std::string serial = "SIM0001";
    std::string xml;
    // Frames kept after their first send to answer PACKETRESEND.
    unsigned resendFrames = 4;
    // Fraction of stream packets left unsent, from a generator seeded with
    // `seed`; resent packets are dropped too only with `dropResends`.
    double drop = 0.0;
    uint32_t seed = 1;
    bool dropResends = false;
    // Pause after each stream packet, on top of the client's GevSCPD.
    uint32_t packetDelayNs = 0;
    // Ceiling on the stream's rate, 0 for none.
    double bandwidthMbps = 0.0;
    // EVENT (ids, block id and timestamp only) instead of EVENTDATA.
    bool plainEvents = false;
    // Process whose end ends the camera too, 0 for none.
    int32_t parent = 0;
};

enum class ParseResult { kRun, kHelp, kError };

// Reads argv into `options`; on kError `error` says what was wrong.
ParseResult parseOptions(int argc, char **argv, Options &options, std::string &error);

// The --help text.
const char *helpText();

} // namespace SimCamera
