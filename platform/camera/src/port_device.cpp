#include "port_device_private.h"

extern "C" {

struct KyrPortDevice {
    ArvDevice parent;
    KyrCam::PortTarget *target;
};

struct KyrPortDeviceClass {
    ArvDeviceClass parent_class;
};

G_DEFINE_TYPE(KyrPortDevice, kyr_port_device, ARV_TYPE_DEVICE)

} // extern "C"

namespace KyrCam {

namespace {

KyrPortDevice *asPort(ArvDevice *device) noexcept
{
    return G_TYPE_CHECK_INSTANCE_CAST(device, kyr_port_device_get_type(), KyrPortDevice);
}

gboolean detached(guint64 address, GError **error)
{
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TRANSFER_ERROR,
                "port at 0x%" G_GINT64_MODIFIER "x is closed", address);
    return FALSE;
}

gboolean readMemory(ArvDevice *device, guint64 address, guint32 size, void *buffer, GError **error)
{
    PortTarget *target = asPort(device)->target;
    return target ? target->readPort(address, size, buffer, error) : detached(address, error);
}

gboolean writeMemory(ArvDevice *device, guint64 address, guint32 size, void *buffer, GError **error)
{
    PortTarget *target = asPort(device)->target;
    return target ? target->writePort(address, size, buffer, error) : detached(address, error);
}

gboolean readRegister(ArvDevice *device, guint64 address, guint32 *value, GError **error)
{
    return readMemory(device, address, 4, value, error);
}

gboolean writeRegister(ArvDevice *device, guint64 address, guint32 value, GError **error)
{
    return writeMemory(device, address, 4, &value, error);
}

} // namespace

} // namespace KyrCam

extern "C" {

static void kyr_port_device_init(KyrPortDevice *port)
{
    port->target = nullptr;
}

static void kyr_port_device_class_init(KyrPortDeviceClass *klass)
{
    ArvDeviceClass *device = ARV_DEVICE_CLASS(klass);
    device->read_memory = KyrCam::readMemory;
    device->write_memory = KyrCam::writeMemory;
    device->read_register = KyrCam::readRegister;
    device->write_register = KyrCam::writeRegister;
}

} // extern "C"

namespace KyrCam {

GObjectPtr<ArvDevice> newPort(PortTarget &target)
{
    GObjectPtr<ArvDevice> port(ARV_DEVICE(g_object_new(kyr_port_device_get_type(), nullptr)));
    asPort(port.get())->target = &target;
    return port;
}

void detachPort(ArvDevice *port) noexcept
{
    if (port)
        asPort(port)->target = nullptr;
}

std::unique_ptr<AravisParamArray> describePort(ArvDevice *port, const std::string &xml)
{
    GObjectPtr<ArvGc> gc(arv_gc_new(port, xml.data(), xml.size()));
    if (!gc || !arv_gc_get_node(gc.get(), "Root"))
        return nullptr;
    enableChecks(gc.get());
    return std::make_unique<AravisParamArray>(gc.get());
}

} // namespace KyrCam
