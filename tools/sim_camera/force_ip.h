// FORCEIP for the simulated camera, which Aravis's fake camera does not
// answer: a GVCP FORCEIP broadcast that names the camera's MAC address gets
// its acknowledge, and the camera moves to the address given.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace SimCamera {

// The address configuration a FORCEIP asks for, host byte order.
struct ForcedAddress {
    uint32_t address;
    uint32_t mask;
    uint32_t gateway;
};

class ForceIpResponder
{
public:
    // Answers FORCEIP for `mac` on the broadcast address of the adapter that
    // holds `address`. `move` puts the camera on the new address and answers
    // whether it could; the acknowledge says so.
    ForceIpResponder(uint64_t mac, std::function<bool(const ForcedAddress &)> move);
    ~ForceIpResponder();

    ForceIpResponder(const ForceIpResponder &) = delete;
    ForceIpResponder &operator=(const ForceIpResponder &) = delete;

    // Listens on the broadcast address of the adapter holding `address`
    // (dotted decimal); false when no adapter holds it or the port is taken.
    bool listen(const std::string &address);

private:
    static int onPacket(int fd, unsigned condition, void *self);
    void answer();
    void stop();

    const uint64_t mac_;
    const std::function<bool(const ForcedAddress &)> move_;
    int fd_ = -1;
    unsigned source_ = 0;
};

// Puts `address` on the adapter that holds `current`, unless some adapter has
// it already (needs the rights of the network namespace). True when it is
// there afterwards.
bool addAddress(const std::string &current, const ForcedAddress &wanted);

// Dotted decimal text of an address.
std::string formatAddress(uint32_t address);

} // namespace SimCamera
