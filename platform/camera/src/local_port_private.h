// Node maps of our own: a GenICam description we write ourselves, served by
// ArvGc over a port whose registers are C++ getters and setters. The
// interface and transport layer features are built this way.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "port_device_private.h"

namespace KyrCam {

// One 32-bit register of a local port, little endian in the port's memory.
struct LocalRegister {
    uint32_t address;
    std::function<uint32_t()> read;
    // Null for read-only registers; false when the value was refused.
    std::function<bool(uint32_t)> write;
};

// A parameter array over `xml`, whose nodes reach `registers` through a port
// named "Device". Any thread (the array's mutex guards the registers too).
class LocalParams final : public PortTarget
{
public:
    // Null when the description does not parse.
    static std::unique_ptr<LocalParams> create(const std::string &xml, std::vector<LocalRegister> registers);
    ~LocalParams();

    AravisParamArray *array() noexcept { return array_.get(); }

    gboolean readPort(guint64 address, guint32 size, void *buffer, GError **error) override;
    gboolean writePort(guint64 address, guint32 size, const void *data, GError **error) override;

private:
    LocalParams() = default;

    std::vector<LocalRegister> registers_;
    GObjectPtr<ArvDevice> device_;
    std::unique_ptr<AravisParamArray> array_;
};

} // namespace KyrCam

namespace KyrCam {

// Pieces of a local GenICam description: a whole document around `body`, a
// category, an integer feature over one register, a boolean feature over one.
std::string localDescription(const char *model, const std::string &body);
std::string localCategory(const char *name, const std::vector<const char *> &features);
std::string localInteger(const char *name, uint32_t address, bool writable, const char *toolTip);
std::string localBoolean(const char *name, uint32_t address, const char *toolTip);

} // namespace KyrCam
