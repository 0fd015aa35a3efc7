#include "local_port_private.h"

namespace KyrCam {

namespace {

LocalRegister *registerAt(std::vector<LocalRegister> &registers, guint64 address) noexcept
{
    for (LocalRegister &entry : registers) {
        if (entry.address == address)
            return &entry;
    }
    return nullptr;
}

} // namespace

gboolean LocalParams::readPort(guint64 address, guint32 size, void *buffer, GError **error)
{
    auto *bytes = static_cast<uint8_t *>(buffer);
    for (guint32 offset = 0; offset < size; offset += 4) {
        LocalRegister *entry = registerAt(registers_, address + offset);
        if (!entry) {
            g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS,
                        "no register at 0x%" G_GINT64_MODIFIER "x", address + offset);
            return FALSE;
        }
        const uint32_t value = entry->read();
        for (guint32 i = 0; i < 4 && offset + i < size; ++i)
            bytes[offset + i] = uint8_t(value >> (8 * i));
    }
    return TRUE;
}

gboolean LocalParams::writePort(guint64 address, guint32 size, const void *data, GError **error)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    for (guint32 offset = 0; offset < size; offset += 4) {
        LocalRegister *entry = registerAt(registers_, address + offset);
        if (!entry || !entry->write) {
            g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT,
                        "register 0x%" G_GINT64_MODIFIER "x is not writable", address + offset);
            return FALSE;
        }
        uint32_t value = 0;
        for (guint32 i = 0; i < 4 && offset + i < size; ++i)
            value |= uint32_t(bytes[offset + i]) << (8 * i);
        if (!entry->write(value)) {
            g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER,
                        "value %u refused at 0x%" G_GINT64_MODIFIER "x", value, address + offset);
            return FALSE;
        }
    }
    return TRUE;
}

std::unique_ptr<LocalParams> LocalParams::create(const std::string &xml, std::vector<LocalRegister> registers)
{
    std::unique_ptr<LocalParams> params(new LocalParams);
    params->registers_ = std::move(registers);
    params->device_ = newPort(*params);
    params->array_ = describePort(params->device_.get(), xml);
    return params->array_ ? std::move(params) : nullptr;
}

LocalParams::~LocalParams()
{
    array_.reset();
    detachPort(device_.get());
}

} // namespace KyrCam

namespace KyrCam {

std::string localDescription(const char *model, const std::string &body)
{
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                       "<RegisterDescription ModelName=\"") + model +
           "\" VendorName=\"Kyr\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
           "ProductGuid=\"0\" VersionGuid=\"0\" xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n" +
           body + "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

std::string localCategory(const char *name, const std::vector<const char *> &features)
{
    std::string xml = std::string("<Category Name=\"") + name + "\" NameSpace=\"Standard\">\n";
    for (const char *feature : features)
        xml += std::string("<pFeature>") + feature + "</pFeature>\n";
    return xml + "</Category>\n";
}

std::string localInteger(const char *name, uint32_t address, bool writable, const char *toolTip)
{
    return std::string("<IntReg Name=\"") + name + "\" NameSpace=\"Custom\">\n<ToolTip>" + toolTip +
           "</ToolTip>\n<Address>" + std::to_string(address) + "</Address>\n<Length>4</Length>\n<AccessMode>" +
           (writable ? "RW" : "RO") +
           "</AccessMode>\n<pPort>Device</pPort>\n<Sign>Unsigned</Sign>\n<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n";
}

std::string localBoolean(const char *name, uint32_t address, const char *toolTip)
{
    const std::string reg = std::string(name) + "Reg";
    return std::string("<Boolean Name=\"") + name + "\" NameSpace=\"Custom\">\n<ToolTip>" + toolTip +
           "</ToolTip>\n<pValue>" + reg + "</pValue>\n<OnValue>1</OnValue>\n<OffValue>0</OffValue>\n</Boolean>\n" +
           "<IntReg Name=\"" + reg + "\" NameSpace=\"Custom\">\n<Visibility>Invisible</Visibility>\n<Address>" +
           std::to_string(address) +
           "</Address>\n<Length>4</Length>\n<AccessMode>RW</AccessMode>\n<pPort>Device</pPort>\n"
           "<Sign>Unsigned</Sign>\n<Endianess>LittleEndian</Endianess>\n</IntReg>\n";
}

} // namespace KyrCam
