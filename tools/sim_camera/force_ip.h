// FORCEIP for the simulated camera: reading the command and moving the
// camera's address, which adds it to the adapter (this needs the rights of
// the network namespace).
#pragma once

#include <cstdint>
#include <cstddef>
#include <string>

namespace SimCamera {

// The address configuration a FORCEIP asks for, host byte order.
struct ForcedAddress {
    uint32_t address;
    uint32_t mask;
    uint32_t gateway;
};

// The address configuration of a FORCEIP command (`packet`, `size` bytes
// with its header) naming `mac`; false for any other packet.
bool parseForceIp(const uint8_t *packet, size_t size, uint64_t mac, ForcedAddress &wanted);

// The subnet mask of the adapter address `address` (host order); false
// when no adapter holds it.
bool adapterMask(uint32_t address, uint32_t &mask);

// Puts `address` on the adapter that holds `current`, unless some adapter has
// it already (needs the rights of the network namespace). True when it is
// there afterwards.
bool addAddress(const std::string &current, const ForcedAddress &wanted);

// Dotted decimal text of an address, and back (0 when not an address).
std::string formatAddress(uint32_t address);
uint32_t parseAddress(const std::string &text);

} // namespace SimCamera
