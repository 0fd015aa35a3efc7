// A GenTL producer for tests, on our own declarations of the interface: a
// Camera Link frame grabber with two ports (one interface, a device per port),
// a CoaXPress interface, an HD-SDI interface (custom transport type "HDSDI")
// and a GigE Vision adapter that tells its device's IP settings through its
// GevDevice* features. Each device is an ArvFakeCamera register model with
// its GenICam description, streaming Mono8 frames whose pixel (x, y) is
// x + y + frame id (the HD-SDI device on two data streams, fill and key, each
// its own count).
//
// Knobs, read by GCInitLib from the environment:
//   KYR_TL_LOG=path          append one line per call (name and arguments)
//   KYR_TL_INIT_FAIL=1       GCInitLib answers GC_ERR_ERROR
//   KYR_TL_INFO_NI=1         every *GetInfo / *GetDeviceInfo answers NOT_IMPLEMENTED
//   KYR_TL_NO_NUL=1          info texts come without their NUL
//   KYR_TL_INCOMPLETE=n      every n-th frame is delivered incomplete
//   KYR_TL_XML=zip|file      the description as local zip or file: URL
//   KYR_TL_XML_ZIP=path      the zip file served for KYR_TL_XML=zip
//   KYR_TL_XML_FILE=path     the file named for KYR_TL_XML=file
//   KYR_TL_SLOW_MS=n         each port access takes n ms longer
//   KYR_TL_SLOW_READS=k      only the first k register reads of a camera do
//                            (its description and the other ports stay quick)
//   KYR_TL_LOSE_AFTER=n      the CoaXPress device disappears after n frames
//   KYR_TL_EVENTS=1          each frame also raises the remote device's
//                            EventExposureEnd (id 0x9001, the frame id as data)
//                            when the device event is registered; 2: the same,
//                            its id only as text (no EVENT_DATA_NUMID)
// Built without KYR_TL_OPTIONAL_EXPORTS it exports only the required
// functions (the "minimal" variant).
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <arv.h>

#include "gentl_api_private.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The description lies above the fake camera's registers.
constexpr uint64_t kXmlAddress = 0x80000000ull;
constexpr size_t kMaxBuffers = 1024;
constexpr size_t kMaxBufferSize = size_t(64) << 20;

struct Config {
    std::string log;
    bool initFail = false;
    bool infoNi = false;
    bool noNul = false;
    unsigned incomplete = 0;
    std::string xmlMode;
    std::string xmlZip;
    std::string xmlFile;
    unsigned slowMs = 0;
    unsigned slowReads = 0;
    unsigned loseAfter = 0;
    unsigned events = 0;
} config;

// The one remote device event of the description, and its port.
constexpr uint64_t kExposureEndId = 0x9001;
const char kEventXml[] =
    "<Integer Name=\"EventExposureEndFrameID\" NameSpace=\"Standard\"><pValue>EventExposureEndFrameIDReg</pValue>"
    "</Integer>\n<IntReg Name=\"EventExposureEndFrameIDReg\" NameSpace=\"Custom\"><Address>0</Address>"
    "<Length>8</Length><AccessMode>RO</AccessMode><pPort>EventExposureEndPort</pPort><Sign>Unsigned</Sign>"
    "<Endianess>LittleEndian</Endianess></IntReg>\n<Port Name=\"EventExposureEndPort\" NameSpace=\"Custom\">"
    "<EventID>9001</EventID></Port>\n";

// What EventGetData gives for a remote device event.
struct RemoteEventData {
    uint64_t id;
    uint64_t frameId;
};

std::mutex logMutex;
std::atomic<unsigned> slowReadsLeft{ 0 };

void logCall(const char *format, ...)
{
    if (config.log.empty())
        return;
    std::lock_guard<std::mutex> lock(logMutex);
    FILE *file = std::fopen(config.log.c_str(), "a");
    if (!file)
        return;
    va_list args;
    va_start(args, format);
    std::vfprintf(file, format, args);
    va_end(args);
    std::fputc('\n', file);
    std::fclose(file);
}

unsigned envNumber(const char *name)
{
    const char *value = std::getenv(name);
    return value ? unsigned(std::strtoul(value, nullptr, 10)) : 0;
}

std::string envText(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

// Writes an info answer the GenTL way: a null buffer asks for the size.
GC_ERROR answer(INFO_DATATYPE type, const void *data, size_t size, INFO_DATATYPE *piType, void *buffer,
                size_t *piSize)
{
    if (!piSize)
        return GC_ERR_INVALID_PARAMETER;
    if (piType)
        *piType = type;
    if (!buffer) {
        *piSize = size;
        return GC_ERR_SUCCESS;
    }
    if (*piSize < size)
        return GC_ERR_BUFFER_TOO_SMALL;
    std::memcpy(buffer, data, size);
    *piSize = size;
    return GC_ERR_SUCCESS;
}

[[maybe_unused]] GC_ERROR answerText(const std::string &text, INFO_DATATYPE *piType, void *buffer, size_t *piSize)
{
    return answer(INFO_DATATYPE_STRING, text.c_str(), text.size() + (config.noNul ? 0 : 1), piType, buffer, piSize);
}

template <typename T>
GC_ERROR answerValue(INFO_DATATYPE type, T value, INFO_DATATYPE *piType, void *buffer, size_t *piSize)
{
    return answer(type, &value, sizeof value, piType, buffer, piSize);
}

// A tiny description for the interface and device modules: one read-only
// integer at address 0.
std::string moduleXml(const char *model, const char *feature)
{
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<RegisterDescription ModelName=\"") + model +
           "\" VendorName=\"Kyr\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
           "ProductGuid=\"0\" VersionGuid=\"0\" xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
           "<Category Name=\"Root\" NameSpace=\"Standard\"><pFeature>" + feature + "</pFeature></Category>\n"
           "<IntReg Name=\"" + feature + "\" NameSpace=\"Custom\"><Address>0</Address><Length>4</Length>"
           "<AccessMode>RO</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign>"
           "<Endianess>LittleEndian</Endianess></IntReg>\n<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

// The GigE Vision adapter's features: DeviceSelector (only 0) selects the
// one device, whose id and IPv4 settings sit in registers.
constexpr uint64_t kSelectorAddress = 0x20;
constexpr uint64_t kGevRegistersEnd = 0x80;
const char kGevDeviceId[] = "GEV0-0";
constexpr uint32_t kGevDeviceIp[] = { 0xC0A80714, 0xFFFFFF00, 0xC0A80701 };  // 192.168.7.20/24 via .1

std::string gevInterfaceXml()
{
    const auto intReg = [](const char *name, unsigned address, const char *access) {
        char node[512];
        std::snprintf(node, sizeof node,
                      "<IntReg Name=\"%s\" NameSpace=\"Standard\"><Address>0x%x</Address><Length>4</Length>"
                      "<AccessMode>%s</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign>"
                      "<Endianess>LittleEndian</Endianess></IntReg>\n",
                      name, address, access);
        return std::string(node);
    };
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<RegisterDescription ModelName=\"TestGEV\" "
                       "VendorName=\"Kyr\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" "
                       "SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" "
                       "MinorVersion=\"0\" SubMinorVersion=\"0\" ProductGuid=\"0\" VersionGuid=\"0\" "
                       "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
                       "<Category Name=\"Root\" NameSpace=\"Standard\"><pFeature>DeviceSelector</pFeature>"
                       "<pFeature>DeviceID</pFeature><pFeature>GevDeviceIPAddress</pFeature>"
                       "<pFeature>GevDeviceSubnetMask</pFeature><pFeature>GevDeviceGateway</pFeature></Category>\n"
                       "<Integer Name=\"DeviceSelector\" NameSpace=\"Standard\"><pValue>DeviceSelectorReg</pValue>"
                       "<Min>0</Min><Max>0</Max></Integer>\n") +
           intReg("DeviceSelectorReg", kSelectorAddress, "RW") + intReg("GevDeviceIPAddress", 0x24, "RO") +
           intReg("GevDeviceSubnetMask", 0x28, "RO") + intReg("GevDeviceGateway", 0x2C, "RO") +
           "<StringReg Name=\"DeviceID\" NameSpace=\"Standard\"><Address>0x40</Address><Length>32</Length>"
           "<AccessMode>RO</AccessMode><pPort>Device</pPort></StringReg>\n"
           "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

enum class Kind { TL, Interface, Device, Stream, Event };

// Every handle starts with its kind, so that a stale or foreign one is told.
struct Module {
    explicit Module(Kind k) : kind(k) {}
    Kind kind;
    std::string xml;     // module description (interface, device module)
    uint32_t value = 0;  // the one register of that description
    std::string registers;  // the GigE Vision adapter's, below kGevRegistersEnd
};

struct Stream;

struct Event : Module {
    explicit Event(EVENT_TYPE t) : Module(Kind::Event), type(t) {}
    const EVENT_TYPE type;
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<EVENT_NEW_BUFFER_DATA> pending;
    std::deque<RemoteEventData> remote;
    unsigned kills = 0;
    bool lost = false;
};

struct Buffer {
    uint8_t *memory;
    size_t size;
    void *priv;
    ArvBuffer *arv;
    bool queued = false;
    bool incomplete = false;
    uint64_t frameId = 0;
};

struct Device;

struct Stream : Module {
    Stream() : Module(Kind::Stream) {}
    Device *device = nullptr;
    uint32_t index = 0;
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<std::unique_ptr<Buffer>> buffers;
    std::deque<Buffer *> input;
    bool acquiring = false;
    bool stop = false;
    uint64_t delivered = 0;
    std::unique_ptr<Event> event;
    std::thread thread;
};

struct Device : Module {
    Device() : Module(Kind::Device) {}
    std::string id, model, serial;
    ArvFakeCamera *camera = nullptr;
    std::string xml;      // remote description bytes (plain or zip)
    std::string url;
    bool open = false;
    bool lost = false;
    bool losable = false;
    uint32_t streamCount = 1;
    std::unique_ptr<Stream> streams[2];
    std::mutex eventMutex;
    std::unique_ptr<Event> remoteEvent;
};

struct Interface : Module {
    Interface() : Module(Kind::Interface) {}
    std::string id, tlType, name;
    std::vector<std::unique_ptr<Device>> devices;
    bool open = false;
};

struct TransportLayer : Module {
    TransportLayer() : Module(Kind::TL) {}
    std::vector<std::unique_ptr<Interface>> interfaces;
    bool open = false;
};

bool initialised = false;
// Never destroyed: a consumer may exit with streams running.
TransportLayer *tl = nullptr;

template <typename T>
T *as(void *handle, Kind kind)
{
    auto *module = static_cast<Module *>(handle);
    return module && module->kind == kind ? static_cast<T *>(module) : nullptr;
}

// The camera model sets the frame's geometry; the pixels and the frame id
// (from 1, without the model's 16-bit wrap) are ours.
void fillPattern(Buffer &buffer, uint64_t frame)
{
    const uint32_t width = uint32_t(arv_buffer_get_image_width(buffer.arv));
    const uint32_t height = uint32_t(arv_buffer_get_image_height(buffer.arv));
    buffer.frameId = frame;
    for (uint32_t y = 0; y < height && size_t(y + 1) * width <= buffer.size; ++y) {
        uint8_t *line = buffer.memory + size_t(y) * width;
        for (uint32_t x = 0; x < width; ++x)
            line[x] = uint8_t(x + y + frame);
    }
}

std::unique_ptr<Device> makeDevice(const std::string &id, const std::string &model, const std::string &serial)
{
    auto device = std::make_unique<Device>();
    device->id = id;
    device->model = model;
    device->serial = serial;
    device->Module::xml = moduleXml("TestDeviceModule", "StreamCount");
    device->value = 1;
    device->camera = arv_fake_camera_new(serial.c_str());
    // The pixels are written by fillPattern; the model's own pattern would
    // only cost time.
    arv_fake_camera_set_fill_pattern(device->camera, [](ArvBuffer *, void *, guint32, guint32, ArvPixelFormat) {},
                                     nullptr);
    size_t size = 0;
    const char *xml = arv_fake_camera_get_genicam_xml(device->camera, &size);
    std::string name = "TestCamera.xml";
    if (config.xmlMode == "zip") {
        std::ifstream file(config.xmlZip, std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        device->xml = content.str();
        name = "TestCamera.zip";
    } else {
        // Padding after the document, as register maps have.
        device->xml.assign(xml, size);
        const size_t end = device->xml.rfind("</RegisterDescription>");
        if (end != std::string::npos)
            device->xml.insert(end, kEventXml);
        device->xml.append(64 - size % 64, '\0');
    }
    char url[512];
    if (config.xmlMode == "file")
        std::snprintf(url, sizeof url, "file:///%s?SchemaVersion=1.1.0", config.xmlFile.c_str() + (config.xmlFile[0] == '/'));
    else
        std::snprintf(url, sizeof url, "local:///%s;%llx;%zx?SchemaVersion=1.1.0", name.c_str(),
                      (unsigned long long)kXmlAddress, device->xml.size());
    device->url = url;
    return device;
}

void buildTree()
{
    tl = new TransportLayer;
    const struct {
        const char *id, *type, *name, *model;
        int devices;
    } layout[] = {
        { "CL0", "CL", "Camera Link grabber", "TestCL", 2 },
        { "CXP0", "CXP", "CoaXPress grabber", "TestCXP", 1 },
        { "SDI0", "HDSDI", "HD-SDI grabber", "TestSDI", 1 },
        { "GEV0", "GEV", "GigE Vision adapter", "TestGEV", 1 },
    };
    for (const auto &entry : layout) {
        auto iface = std::make_unique<Interface>();
        iface->id = entry.id;
        iface->tlType = entry.type;
        iface->name = entry.name;
        iface->value = uint32_t(entry.devices);
        if (std::string(entry.type) == "GEV") {
            iface->Module::xml = gevInterfaceXml();
            iface->registers.assign(kGevRegistersEnd, '\0');
            std::memcpy(&iface->registers[0x24], kGevDeviceIp, sizeof kGevDeviceIp);
            std::memcpy(&iface->registers[0x40], kGevDeviceId, sizeof kGevDeviceId);
        } else {
            iface->Module::xml = moduleXml("TestInterface", "PortCount");
        }
        for (int i = 0; i < entry.devices; ++i) {
            const std::string suffix = std::string(entry.id) + "-" + std::to_string(i);
            auto device = makeDevice(suffix, entry.model, "SN-" + suffix);
            device->losable = std::string(entry.type) == "CXP";
            device->streamCount = std::string(entry.type) == "HDSDI" ? 2 : 1;
            iface->devices.push_back(std::move(device));
        }
        tl->interfaces.push_back(std::move(iface));
    }
}

Interface *findInterface(const char *id)
{
    for (auto &iface : tl->interfaces) {
        if (id && iface->id == id)
            return iface.get();
    }
    return nullptr;
}

Device *findDevice(Interface *iface, const char *id)
{
    for (auto &device : iface->devices) {
        if (id && device->id == id)
            return device.get();
    }
    return nullptr;
}

GC_ERROR copyId(const std::string &id, char *out, size_t *size)
{
    return answer(INFO_DATATYPE_STRING, id.c_str(), id.size() + (config.noNul ? 0 : 1), nullptr, out, size);
}

void loseEvent(Event &event)
{
    std::lock_guard<std::mutex> lock(event.mutex);
    event.lost = true;
    event.wake.notify_all();
}

void loseDevice(Device &device)
{
    device.lost = true;
    for (auto &stream : device.streams) {
        if (stream && stream->event)
            loseEvent(*stream->event);
    }
    std::lock_guard<std::mutex> lock(device.eventMutex);
    if (device.remoteEvent)
        loseEvent(*device.remoteEvent);
}

void raiseExposureEnd(Device &device, uint64_t frameId)
{
    std::lock_guard<std::mutex> lock(device.eventMutex);
    if (!device.remoteEvent)
        return;
    std::lock_guard<std::mutex> eventLock(device.remoteEvent->mutex);
    device.remoteEvent->remote.push_back(RemoteEventData{ kExposureEndId, frameId });
    device.remoteEvent->wake.notify_all();
}

[[maybe_unused]] void runStream(Stream *stream)
{
    Device &device = *stream->device;
    std::unique_lock<std::mutex> lock(stream->mutex);
    for (;;) {
        stream->wake.wait(lock, [&] {
            return stream->stop || (stream->acquiring && !stream->input.empty() &&
                                    arv_fake_camera_get_acquisition_status(device.camera));
        });
        if (stream->stop)
            return;
        Buffer *buffer = stream->input.front();
        stream->input.pop_front();
        buffer->queued = false;
        arv_fake_camera_fill_buffer(device.camera, buffer->arv, nullptr);
        ++stream->delivered;
        fillPattern(*buffer, stream->delivered);
        buffer->incomplete = config.incomplete && stream->delivered % config.incomplete == 0;
        const bool lose = device.losable && config.loseAfter && stream->delivered >= config.loseAfter;
        {
            std::lock_guard<std::mutex> eventLock(stream->event->mutex);
            stream->event->pending.push_back(EVENT_NEW_BUFFER_DATA{ buffer, buffer->priv });
            stream->event->wake.notify_all();
        }
        if (config.events)
            raiseExposureEnd(device, stream->delivered);
        if (lose) {
            loseDevice(device);
            stream->acquiring = false;
        }
    }
}

} // namespace

EXPORT GC_ERROR GCInitLib(void)
{
    config = Config{};
    config.log = envText("KYR_TL_LOG");
    config.initFail = envNumber("KYR_TL_INIT_FAIL") != 0;
    config.infoNi = envNumber("KYR_TL_INFO_NI") != 0;
    config.noNul = envNumber("KYR_TL_NO_NUL") != 0;
    config.incomplete = envNumber("KYR_TL_INCOMPLETE");
    config.xmlMode = envText("KYR_TL_XML");
    config.xmlZip = envText("KYR_TL_XML_ZIP");
    config.xmlFile = envText("KYR_TL_XML_FILE");
    config.slowMs = envNumber("KYR_TL_SLOW_MS");
    config.slowReads = envNumber("KYR_TL_SLOW_READS");
    slowReadsLeft = config.slowReads;
    config.loseAfter = envNumber("KYR_TL_LOSE_AFTER");
    config.events = envNumber("KYR_TL_EVENTS");
    logCall("GCInitLib");
    if (config.initFail)
        return GC_ERR_ERROR;
    if (initialised)
        return GC_ERR_RESOURCE_IN_USE;
    initialised = true;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR GCCloseLib(void)
{
    logCall("GCCloseLib");
    initialised = false;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR TLOpen(TL_HANDLE *phTL)
{
    logCall("TLOpen");
    if (!initialised)
        return GC_ERR_NOT_INITIALIZED;
    if (!phTL)
        return GC_ERR_INVALID_PARAMETER;
    if (!tl)
        buildTree();
    tl->open = true;
    *phTL = tl;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR TLClose(TL_HANDLE hTL)
{
    logCall("TLClose");
    TransportLayer *layer = as<TransportLayer>(hTL, Kind::TL);
    if (!layer)
        return GC_ERR_INVALID_HANDLE;
    layer->open = false;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR TLGetNumInterfaces(TL_HANDLE hTL, uint32_t *piNumIfaces)
{
    logCall("TLGetNumInterfaces");
    if (!as<TransportLayer>(hTL, Kind::TL) || !piNumIfaces)
        return GC_ERR_INVALID_HANDLE;
    *piNumIfaces = uint32_t(tl->interfaces.size());
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR TLGetInterfaceID(TL_HANDLE hTL, uint32_t iIndex, char *sID, size_t *piSize)
{
    logCall("TLGetInterfaceID index=%u buffer=%d size=%zu", iIndex, sID != nullptr, piSize ? *piSize : 0);
    if (!as<TransportLayer>(hTL, Kind::TL))
        return GC_ERR_INVALID_HANDLE;
    if (iIndex >= tl->interfaces.size())
        return GC_ERR_INVALID_INDEX;
    return copyId(tl->interfaces[iIndex]->id, sID, piSize);
}

EXPORT GC_ERROR TLOpenInterface(TL_HANDLE hTL, const char *sIfaceID, IF_HANDLE *phIface)
{
    logCall("TLOpenInterface %s", sIfaceID ? sIfaceID : "(null)");
    if (!as<TransportLayer>(hTL, Kind::TL))
        return GC_ERR_INVALID_HANDLE;
    Interface *iface = findInterface(sIfaceID);
    if (!iface || !phIface)
        return GC_ERR_INVALID_ID;
    iface->open = true;
    *phIface = iface;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR IFClose(IF_HANDLE hIface)
{
    logCall("IFClose");
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface)
        return GC_ERR_INVALID_HANDLE;
    iface->open = false;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR IFGetNumDevices(IF_HANDLE hIface, uint32_t *piNumDevices)
{
    logCall("IFGetNumDevices");
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface || !piNumDevices)
        return GC_ERR_INVALID_HANDLE;
    uint32_t count = 0;
    for (auto &device : iface->devices)
        count += !device->lost;
    *piNumDevices = count;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR IFGetDeviceID(IF_HANDLE hIface, uint32_t iIndex, char *sIDeviceID, size_t *piSize)
{
    logCall("IFGetDeviceID index=%u buffer=%d size=%zu", iIndex, sIDeviceID != nullptr, piSize ? *piSize : 0);
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface)
        return GC_ERR_INVALID_HANDLE;
    std::vector<Device *> present;
    for (auto &device : iface->devices) {
        if (!device->lost)
            present.push_back(device.get());
    }
    if (iIndex >= present.size())
        return GC_ERR_INVALID_INDEX;
    return copyId(present[iIndex]->id, sIDeviceID, piSize);
}

EXPORT GC_ERROR IFOpenDevice(IF_HANDLE hIface, const char *sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlag,
                             DEV_HANDLE *phDevice)
{
    logCall("IFOpenDevice %s flags=%d", sDeviceID ? sDeviceID : "(null)", iOpenFlag);
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface)
        return GC_ERR_INVALID_HANDLE;
    Device *device = findDevice(iface, sDeviceID);
    if (!device || device->lost || !phDevice)
        return GC_ERR_INVALID_ID;
    if (device->open)
        return GC_ERR_RESOURCE_IN_USE;
    device->open = true;
    *phDevice = device;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DevGetPort(DEV_HANDLE hDevice, PORT_HANDLE *phRemoteDevice)
{
    logCall("DevGetPort");
    Device *device = as<Device>(hDevice, Kind::Device);
    if (!device || !phRemoteDevice)
        return GC_ERR_INVALID_HANDLE;
    // The remote port is the camera: told from the module port by address.
    *phRemoteDevice = &device->camera;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DevClose(DEV_HANDLE hDevice)
{
    logCall("DevClose");
    Device *device = as<Device>(hDevice, Kind::Device);
    if (!device)
        return GC_ERR_INVALID_HANDLE;
    device->open = false;
    return GC_ERR_SUCCESS;
}

namespace {

// The remote port of a device is the address of its camera member.
Device *remoteOf(PORT_HANDLE port)
{
    for (auto &iface : tl->interfaces) {
        for (auto &device : iface->devices) {
            if (port == &device->camera)
                return device.get();
        }
    }
    return nullptr;
}

GC_ERROR portAccess(PORT_HANDLE hPort, uint64_t address, void *buffer, size_t *piSize, bool write)
{
    if (!piSize || !buffer)
        return GC_ERR_INVALID_PARAMETER;
    Device *device = tl ? remoteOf(hPort) : nullptr;
    const bool slow = config.slowReads == 0 || (device && !write && address < kXmlAddress && slowReadsLeft.load() > 0 &&
                                                slowReadsLeft.fetch_sub(1) > 0);
    if (config.slowMs && slow)
        std::this_thread::sleep_for(std::chrono::milliseconds(config.slowMs));
    if (device) {
        if (device->lost)
            return GC_ERR_IO;
        if (address >= kXmlAddress) {
            if (write)
                return GC_ERR_ACCESS_DENIED;
            const uint64_t offset = address - kXmlAddress;
            if (offset + *piSize > device->xml.size())
                return GC_ERR_INVALID_ADDRESS;
            std::memcpy(buffer, device->xml.data() + offset, *piSize);
            return GC_ERR_SUCCESS;
        }
        const gboolean done = write ? arv_fake_camera_write_memory(device->camera, guint32(address), guint32(*piSize), buffer)
                                    : arv_fake_camera_read_memory(device->camera, guint32(address), guint32(*piSize), buffer);
        // A write may have started the camera's acquisition.
        for (auto &stream : device->streams) {
            if (write && stream) {
                std::lock_guard<std::mutex> lock(stream->mutex);
                stream->wake.notify_all();
            }
        }
        return done ? GC_ERR_SUCCESS : GC_ERR_INVALID_ADDRESS;
    }
    auto *module = static_cast<Module *>(hPort);
    if (!module || (module->kind != Kind::Interface && module->kind != Kind::Device))
        return GC_ERR_INVALID_HANDLE;
    if (!module->registers.empty() && address < kGevRegistersEnd && address >= 4) {
        if (address + *piSize > kGevRegistersEnd)
            return GC_ERR_INVALID_ADDRESS;
        if (write && (address != kSelectorAddress || *piSize != 4))
            return GC_ERR_ACCESS_DENIED;
        if (write)
            std::memcpy(&module->registers[address], buffer, *piSize);
        else
            std::memcpy(buffer, module->registers.data() + address, *piSize);
        return GC_ERR_SUCCESS;
    }
    if (write)
        return GC_ERR_ACCESS_DENIED;
    std::string space(module->xml);
    space.append(64 - space.size() % 64, '\0');
    if (address < 4) {
        if (address + *piSize > 4)
            return GC_ERR_INVALID_ADDRESS;
        std::memcpy(buffer, reinterpret_cast<const uint8_t *>(&module->value) + address, *piSize);
        return GC_ERR_SUCCESS;
    }
    if (address < 0x10000 || address + *piSize > 0x10000 + space.size())
        return GC_ERR_INVALID_ADDRESS;
    std::memcpy(buffer, space.data() + (address - 0x10000), *piSize);
    return GC_ERR_SUCCESS;
}

[[maybe_unused]] std::string moduleUrl(Module &module)
{
    std::string space(module.xml);
    space.append(64 - space.size() % 64, '\0');
    char url[128];
    std::snprintf(url, sizeof url, "local:///Module.xml;10000;%zx", space.size());
    return url;
}

} // namespace

EXPORT GC_ERROR GCReadPort(PORT_HANDLE hPort, uint64_t iAddress, void *pBuffer, size_t *piSize)
{
    logCall("GCReadPort address=%llx size=%zu", (unsigned long long)iAddress, piSize ? *piSize : 0);
    return portAccess(hPort, iAddress, pBuffer, piSize, false);
}

EXPORT GC_ERROR GCWritePort(PORT_HANDLE hPort, uint64_t iAddress, const void *pBuffer, size_t *piSize)
{
    logCall("GCWritePort address=%llx size=%zu", (unsigned long long)iAddress, piSize ? *piSize : 0);
    return portAccess(hPort, iAddress, const_cast<void *>(pBuffer), piSize, true);
}

#ifdef KYR_TL_OPTIONAL_EXPORTS

namespace {

GC_ERROR layerInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    if (config.infoNi)
        return GC_ERR_NOT_IMPLEMENTED;
    switch (iInfoCmd) {
    case TL_INFO_VENDOR:
        return answerText("Kyr", piType, pBuffer, piSize);
    case TL_INFO_MODEL:
        return answerText("Test producer", piType, pBuffer, piSize);
    case TL_INFO_TLTYPE:
        return answerText("Mixed", piType, pBuffer, piSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

} // namespace

EXPORT GC_ERROR GCGetInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    logCall("GCGetInfo cmd=%d buffer=%d size=%zu", iInfoCmd, pBuffer != nullptr, piSize ? *piSize : 0);
    return layerInfo(iInfoCmd, piType, pBuffer, piSize);
}

EXPORT GC_ERROR TLGetInfo(TL_HANDLE hTL, TL_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    logCall("TLGetInfo cmd=%d buffer=%d size=%zu", iInfoCmd, pBuffer != nullptr, piSize ? *piSize : 0);
    if (!as<TransportLayer>(hTL, Kind::TL))
        return GC_ERR_INVALID_HANDLE;
    return layerInfo(iInfoCmd, piType, pBuffer, piSize);
}

EXPORT GC_ERROR TLUpdateInterfaceList(TL_HANDLE hTL, bool8_t *pbChanged, uint64_t iTimeout)
{
    logCall("TLUpdateInterfaceList timeout=%llu", (unsigned long long)iTimeout);
    if (!as<TransportLayer>(hTL, Kind::TL))
        return GC_ERR_INVALID_HANDLE;
    if (pbChanged)
        *pbChanged = 0;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR TLGetInterfaceInfo(TL_HANDLE hTL, const char *sIfaceID, INTERFACE_INFO_CMD iInfoCmd,
                                   INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    logCall("TLGetInterfaceInfo %s cmd=%d buffer=%d size=%zu", sIfaceID ? sIfaceID : "(null)", iInfoCmd,
            pBuffer != nullptr, piSize ? *piSize : 0);
    if (config.infoNi)
        return GC_ERR_NOT_IMPLEMENTED;
    if (!as<TransportLayer>(hTL, Kind::TL))
        return GC_ERR_INVALID_HANDLE;
    Interface *iface = findInterface(sIfaceID);
    if (!iface)
        return GC_ERR_INVALID_ID;
    switch (iInfoCmd) {
    case INTERFACE_INFO_ID:
        return answerText(iface->id, piType, pBuffer, piSize);
    case INTERFACE_INFO_DISPLAYNAME:
        return answerText(iface->name, piType, pBuffer, piSize);
    case INTERFACE_INFO_TLTYPE:
        return answerText(iface->tlType, piType, pBuffer, piSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

EXPORT GC_ERROR IFGetInfo(IF_HANDLE hIface, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer,
                          size_t *piSize)
{
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface)
        return GC_ERR_INVALID_HANDLE;
    return TLGetInterfaceInfo(tl, iface->id.c_str(), iInfoCmd, piType, pBuffer, piSize);
}

EXPORT GC_ERROR IFUpdateDeviceList(IF_HANDLE hIface, bool8_t *pbChanged, uint64_t iTimeout)
{
    logCall("IFUpdateDeviceList timeout=%llu", (unsigned long long)iTimeout);
    if (!as<Interface>(hIface, Kind::Interface))
        return GC_ERR_INVALID_HANDLE;
    if (pbChanged)
        *pbChanged = 0;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR IFGetDeviceInfo(IF_HANDLE hIface, const char *sDeviceID, DEVICE_INFO_CMD iInfoCmd,
                                INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    logCall("IFGetDeviceInfo %s cmd=%d buffer=%d size=%zu", sDeviceID ? sDeviceID : "(null)", iInfoCmd,
            pBuffer != nullptr, piSize ? *piSize : 0);
    if (config.infoNi)
        return GC_ERR_NOT_IMPLEMENTED;
    Interface *iface = as<Interface>(hIface, Kind::Interface);
    if (!iface)
        return GC_ERR_INVALID_HANDLE;
    Device *device = findDevice(iface, sDeviceID);
    if (!device)
        return GC_ERR_INVALID_ID;
    switch (iInfoCmd) {
    case DEVICE_INFO_ID:
        return answerText(device->id, piType, pBuffer, piSize);
    case DEVICE_INFO_VENDOR:
        return answerText("Kyr", piType, pBuffer, piSize);
    case DEVICE_INFO_MODEL:
        return answerText(device->model, piType, pBuffer, piSize);
    case DEVICE_INFO_TLTYPE:
        return answerText(iface->tlType, piType, pBuffer, piSize);
    case DEVICE_INFO_SERIAL_NUMBER:
        return answerText(device->serial, piType, pBuffer, piSize);
    case DEVICE_INFO_VERSION:
        return answerText("1.0", piType, pBuffer, piSize);
    case DEVICE_INFO_ACCESS_STATUS:
        return answerValue<int32_t>(INFO_DATATYPE_INT32,
                                    device->open ? DEVICE_ACCESS_STATUS_OPEN_READWRITE : DEVICE_ACCESS_STATUS_READWRITE,
                                    piType, pBuffer, piSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

EXPORT GC_ERROR DevGetNumDataStreams(DEV_HANDLE hDevice, uint32_t *piNumDataStreams)
{
    logCall("DevGetNumDataStreams");
    if (!as<Device>(hDevice, Kind::Device) || !piNumDataStreams)
        return GC_ERR_INVALID_HANDLE;
    *piNumDataStreams = as<Device>(hDevice, Kind::Device)->streamCount;
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DevGetDataStreamID(DEV_HANDLE hDevice, uint32_t iIndex, char *sDataStreamID, size_t *piSize)
{
    logCall("DevGetDataStreamID index=%u buffer=%d size=%zu", iIndex, sDataStreamID != nullptr, piSize ? *piSize : 0);
    Device *device = as<Device>(hDevice, Kind::Device);
    if (!device)
        return GC_ERR_INVALID_HANDLE;
    if (iIndex >= device->streamCount)
        return GC_ERR_INVALID_INDEX;
    return copyId("Stream" + std::to_string(iIndex), sDataStreamID, piSize);
}

EXPORT GC_ERROR DevOpenDataStream(DEV_HANDLE hDevice, const char *sDataStreamID, DS_HANDLE *phDataStream)
{
    logCall("DevOpenDataStream %s", sDataStreamID ? sDataStreamID : "(null)");
    Device *device = as<Device>(hDevice, Kind::Device);
    if (!device || !phDataStream)
        return GC_ERR_INVALID_HANDLE;
    uint32_t index = 0;
    while (index < device->streamCount && (!sDataStreamID || "Stream" + std::to_string(index) != sDataStreamID))
        ++index;
    if (index == device->streamCount)
        return GC_ERR_INVALID_ID;
    std::unique_ptr<Stream> &stream = device->streams[index];
    if (stream)
        return GC_ERR_RESOURCE_IN_USE;
    stream = std::make_unique<Stream>();
    stream->device = device;
    stream->index = index;
    stream->thread = std::thread(runStream, stream.get());
    *phDataStream = stream.get();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DevGetInfo(DEV_HANDLE hDevice, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer,
                           size_t *piSize)
{
    Device *device = as<Device>(hDevice, Kind::Device);
    if (!device)
        return GC_ERR_INVALID_HANDLE;
    for (auto &iface : tl->interfaces) {
        if (findDevice(iface.get(), device->id.c_str()) == device)
            return IFGetDeviceInfo(iface.get(), device->id.c_str(), iInfoCmd, piType, pBuffer, piSize);
    }
    return GC_ERR_INVALID_HANDLE;
}

EXPORT GC_ERROR GCGetNumPortURLs(PORT_HANDLE hPort, uint32_t *piNumURLs)
{
    logCall("GCGetNumPortURLs");
    if (!piNumURLs)
        return GC_ERR_INVALID_PARAMETER;
    *piNumURLs = 1;
    return GC_ERR_SUCCESS;
    (void)hPort;
}

EXPORT GC_ERROR GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd, INFO_DATATYPE *piType,
                                 void *pBuffer, size_t *piSize)
{
    logCall("GCGetPortURLInfo index=%u cmd=%d buffer=%d size=%zu", iURLIndex, iInfoCmd, pBuffer != nullptr,
            piSize ? *piSize : 0);
    if (iURLIndex != 0)
        return GC_ERR_INVALID_INDEX;
    if (iInfoCmd != URL_INFO_URL)
        return GC_ERR_NOT_IMPLEMENTED;
    if (Device *device = remoteOf(hPort))
        return answerText(device->url, piType, pBuffer, piSize);
    auto *module = static_cast<Module *>(hPort);
    if (!module || (module->kind != Kind::Interface && module->kind != Kind::Device))
        return GC_ERR_INVALID_HANDLE;
    return answerText(moduleUrl(*module), piType, pBuffer, piSize);
}

#endif // KYR_TL_OPTIONAL_EXPORTS

// The stream functions: without the optional exports a consumer has no stream
// id to open one with, but it still finds them.
EXPORT GC_ERROR GCRegisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE *phEvent)
{
    logCall("GCRegisterEvent type=%d", iEventID);
    if (Device *device = as<Device>(hEventSrc, Kind::Device)) {
        if (!phEvent)
            return GC_ERR_INVALID_PARAMETER;
        if (iEventID != EVENT_REMOTE_DEVICE)
            return GC_ERR_NOT_IMPLEMENTED;
        std::lock_guard<std::mutex> lock(device->eventMutex);
        if (device->remoteEvent)
            return GC_ERR_RESOURCE_IN_USE;
        device->remoteEvent = std::make_unique<Event>(EVENT_REMOTE_DEVICE);
        device->remoteEvent->lost = device->lost;
        *phEvent = device->remoteEvent.get();
        return GC_ERR_SUCCESS;
    }
    Stream *stream = as<Stream>(hEventSrc, Kind::Stream);
    if (!stream || !phEvent)
        return GC_ERR_INVALID_HANDLE;
    if (iEventID != EVENT_NEW_BUFFER)
        return GC_ERR_NOT_IMPLEMENTED;
    std::lock_guard<std::mutex> lock(stream->mutex);
    if (stream->event)
        return GC_ERR_RESOURCE_IN_USE;
    stream->event = std::make_unique<Event>(EVENT_NEW_BUFFER);
    stream->event->lost = stream->device->lost;
    *phEvent = stream->event.get();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR GCUnregisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID)
{
    logCall("GCUnregisterEvent type=%d", iEventID);
    if (Device *device = as<Device>(hEventSrc, Kind::Device)) {
        std::lock_guard<std::mutex> lock(device->eventMutex);
        if (iEventID != EVENT_REMOTE_DEVICE || !device->remoteEvent)
            return GC_ERR_INVALID_ID;
        device->remoteEvent.reset();
        return GC_ERR_SUCCESS;
    }
    Stream *stream = as<Stream>(hEventSrc, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    stream->event.reset();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR EventGetData(EVENT_HANDLE hEvent, void *pBuffer, size_t *piSize, uint64_t iTimeout)
{
    Event *event = as<Event>(hEvent, Kind::Event);
    if (!event || !pBuffer || !piSize)
        return GC_ERR_INVALID_HANDLE;
    const bool remote = event->type == EVENT_REMOTE_DEVICE;
    if (*piSize < (remote ? sizeof(RemoteEventData) : sizeof(EVENT_NEW_BUFFER_DATA)))
        return GC_ERR_BUFFER_TOO_SMALL;
    std::unique_lock<std::mutex> lock(event->mutex);
    // A kill ends the wait it finds or, when none runs, the next one.
    const auto ready = [&] {
        return !event->pending.empty() || !event->remote.empty() || event->kills > 0 || event->lost;
    };
    if (iTimeout == GENTL_INFINITE)
        event->wake.wait(lock, ready);
    else if (!event->wake.wait_for(lock, std::chrono::milliseconds(iTimeout), ready))
        return GC_ERR_TIMEOUT;
    if (!event->remote.empty()) {
        std::memcpy(pBuffer, &event->remote.front(), sizeof(RemoteEventData));
        event->remote.pop_front();
        *piSize = sizeof(RemoteEventData);
        return GC_ERR_SUCCESS;
    }
    if (!event->pending.empty()) {
        std::memcpy(pBuffer, &event->pending.front(), sizeof(EVENT_NEW_BUFFER_DATA));
        event->pending.pop_front();
        *piSize = sizeof(EVENT_NEW_BUFFER_DATA);
        return GC_ERR_SUCCESS;
    }
    if (event->lost)
        return GC_ERR_IO;
    --event->kills;
    return GC_ERR_ABORT;
}

EXPORT GC_ERROR EventGetDataInfo(EVENT_HANDLE hEvent, const void *pInBuffer, size_t iInSize,
                                 EVENT_DATA_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pOutBuffer,
                                 size_t *piOutSize)
{
    logCall("EventGetDataInfo cmd=%d size=%zu", iInfoCmd, iInSize);
    Event *event = as<Event>(hEvent, Kind::Event);
    if (!event || event->type != EVENT_REMOTE_DEVICE || !pInBuffer || iInSize < sizeof(RemoteEventData))
        return GC_ERR_INVALID_PARAMETER;
    RemoteEventData data;
    std::memcpy(&data, pInBuffer, sizeof data);
    char hex[20];
    switch (iInfoCmd) {
    case EVENT_DATA_NUMID:
        // Producers before GenTL 1.5 know only the text id.
        if (config.events == 2)
            return GC_ERR_NOT_IMPLEMENTED;
        return answerValue<uint64_t>(INFO_DATATYPE_UINT64, data.id, piType, pOutBuffer, piOutSize);
    case EVENT_DATA_ID:
        std::snprintf(hex, sizeof hex, "%llX", (unsigned long long)data.id);
        return answerText(hex, piType, pOutBuffer, piOutSize);
    case EVENT_DATA_VALUE:
        return answer(INFO_DATATYPE_BUFFER, &data.frameId, sizeof data.frameId, piType, pOutBuffer, piOutSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

EXPORT GC_ERROR EventKill(EVENT_HANDLE hEvent)
{
    logCall("EventKill");
    Event *event = as<Event>(hEvent, Kind::Event);
    if (!event)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(event->mutex);
    ++event->kills;
    event->wake.notify_all();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR EventFlush(EVENT_HANDLE hEvent)
{
    logCall("EventFlush");
    Event *event = as<Event>(hEvent, Kind::Event);
    if (!event)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(event->mutex);
    event->pending.clear();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DSAnnounceBuffer(DS_HANDLE hDataStream, void *pBuffer, size_t iSize, void *pPrivate,
                                 BUFFER_HANDLE *phBuffer)
{
    logCall("DSAnnounceBuffer size=%zu", iSize);
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream || !pBuffer || !phBuffer || iSize == 0 || iSize > kMaxBufferSize)
        return GC_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lock(stream->mutex);
    if (stream->buffers.size() >= kMaxBuffers)
        return GC_ERR_RESOURCE_EXHAUSTED;
    auto buffer = std::make_unique<Buffer>();
    buffer->memory = static_cast<uint8_t *>(pBuffer);
    buffer->size = iSize;
    buffer->priv = pPrivate;
    buffer->arv = arv_buffer_new(iSize, pBuffer);
    *phBuffer = buffer.get();
    stream->buffers.push_back(std::move(buffer));
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DSQueueBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer)
{
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    for (auto &buffer : stream->buffers) {
        if (buffer.get() == hBuffer) {
            if (buffer->queued)
                return GC_ERR_RESOURCE_IN_USE;
            buffer->queued = true;
            stream->input.push_back(buffer.get());
            stream->wake.notify_all();
            return GC_ERR_SUCCESS;
        }
    }
    return GC_ERR_INVALID_HANDLE;
}

EXPORT GC_ERROR DSRevokeBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void **pBuffer, void **pPrivate)
{
    logCall("DSRevokeBuffer");
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    for (auto it = stream->buffers.begin(); it != stream->buffers.end(); ++it) {
        if (it->get() != hBuffer)
            continue;
        if ((*it)->queued)
            return GC_ERR_BUSY;
        if (pBuffer)
            *pBuffer = (*it)->memory;
        if (pPrivate)
            *pPrivate = (*it)->priv;
        g_object_unref((*it)->arv);
        stream->buffers.erase(it);
        return GC_ERR_SUCCESS;
    }
    return GC_ERR_INVALID_HANDLE;
}

EXPORT GC_ERROR DSFlushQueue(DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation)
{
    logCall("DSFlushQueue op=%d", iOperation);
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    std::unique_lock<std::mutex> eventLock;
    if (stream->event)
        eventLock = std::unique_lock<std::mutex>(stream->event->mutex);
    const auto discardOutput = [&] {
        if (stream->event)
            stream->event->pending.clear();
    };
    switch (iOperation) {
    case ACQ_QUEUE_OUTPUT_DISCARD:
        discardOutput();
        return GC_ERR_SUCCESS;
    case ACQ_QUEUE_ALL_TO_INPUT:
        discardOutput();
        stream->input.clear();
        for (auto &buffer : stream->buffers) {
            buffer->queued = true;
            stream->input.push_back(buffer.get());
        }
        stream->wake.notify_all();
        return GC_ERR_SUCCESS;
    case ACQ_QUEUE_UNQUEUED_TO_INPUT:
        for (auto &buffer : stream->buffers) {
            bool pending = false;
            if (stream->event) {
                for (auto &data : stream->event->pending)
                    pending = pending || data.BufferHandle == buffer.get();
            }
            if (!buffer->queued && !pending) {
                buffer->queued = true;
                stream->input.push_back(buffer.get());
            }
        }
        stream->wake.notify_all();
        return GC_ERR_SUCCESS;
    case ACQ_QUEUE_ALL_DISCARD:
        discardOutput();
        for (Buffer *buffer : stream->input)
            buffer->queued = false;
        stream->input.clear();
        return GC_ERR_SUCCESS;
    default:
        return GC_ERR_INVALID_PARAMETER;
    }
}

EXPORT GC_ERROR DSStartAcquisition(DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags, uint64_t iNumToAcquire)
{
    logCall("DSStartAcquisition flags=%d count=%llu", iStartFlags, (unsigned long long)iNumToAcquire);
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    if (stream->acquiring)
        return GC_ERR_RESOURCE_IN_USE;
    stream->acquiring = true;
    stream->wake.notify_all();
    return GC_ERR_SUCCESS;
}

EXPORT GC_ERROR DSStopAcquisition(DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags)
{
    logCall("DSStopAcquisition flags=%d", iStopFlags);
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    std::lock_guard<std::mutex> lock(stream->mutex);
    if (!stream->acquiring)
        return GC_ERR_RESOURCE_IN_USE;
    stream->acquiring = false;
    return GC_ERR_SUCCESS;
}

namespace {

// The model's own payload query answers 0 before its first frame: the
// geometry registers tell.
size_t payloadOf(ArvFakeCamera *camera)
{
    guint32 width = 0, height = 0, format = 0;
    arv_fake_camera_read_register(camera, ARV_FAKE_CAMERA_REGISTER_WIDTH, &width);
    arv_fake_camera_read_register(camera, ARV_FAKE_CAMERA_REGISTER_HEIGHT, &height);
    arv_fake_camera_read_register(camera, ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT, &format);
    return size_t(width) * height * ARV_PIXEL_FORMAT_BIT_PER_PIXEL(format) / 8;
}

} // namespace

EXPORT GC_ERROR DSGetInfo(DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE *piType, void *pBuffer,
                          size_t *piSize)
{
    logCall("DSGetInfo cmd=%d", iInfoCmd);
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    if (config.infoNi)
        return GC_ERR_NOT_IMPLEMENTED;
    switch (iInfoCmd) {
    case STREAM_INFO_PAYLOAD_SIZE:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, payloadOf(stream->device->camera), piType, pBuffer, piSize);
    case STREAM_INFO_BUF_ANNOUNCE_MIN:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, 1, piType, pBuffer, piSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

EXPORT GC_ERROR DSGetBufferInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd,
                                INFO_DATATYPE *piType, void *pBuffer, size_t *piSize)
{
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    Buffer *buffer = nullptr;
    {
        std::lock_guard<std::mutex> lock(stream->mutex);
        for (auto &owned : stream->buffers)
            buffer = owned.get() == hBuffer ? owned.get() : buffer;
    }
    if (!buffer)
        return GC_ERR_INVALID_HANDLE;
    ArvBuffer *frame = buffer->arv;
    switch (iInfoCmd) {
    case BUFFER_INFO_BASE:
        return answerValue<void *>(INFO_DATATYPE_PTR, buffer->memory, piType, pBuffer, piSize);
    case BUFFER_INFO_SIZE:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, buffer->size, piType, pBuffer, piSize);
    case BUFFER_INFO_TIMESTAMP:
        return answerValue<uint64_t>(INFO_DATATYPE_UINT64, arv_buffer_get_timestamp(frame), piType, pBuffer, piSize);
    case BUFFER_INFO_IS_INCOMPLETE:
        return answerValue<bool8_t>(INFO_DATATYPE_BOOL8, buffer->incomplete, piType, pBuffer, piSize);
    case BUFFER_INFO_SIZE_FILLED: {
        // An incomplete frame lost its second half.
        const size_t size = size_t(arv_buffer_get_image_width(frame)) * size_t(arv_buffer_get_image_height(frame));
        return answerValue<size_t>(INFO_DATATYPE_SIZET, buffer->incomplete ? size / 2 : size, piType, pBuffer, piSize);
    }
    case BUFFER_INFO_WIDTH:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, size_t(arv_buffer_get_image_width(frame)), piType, pBuffer,
                                   piSize);
    case BUFFER_INFO_HEIGHT:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, size_t(arv_buffer_get_image_height(frame)), piType, pBuffer,
                                   piSize);
    case BUFFER_INFO_XOFFSET:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, size_t(arv_buffer_get_image_x(frame)), piType, pBuffer, piSize);
    case BUFFER_INFO_YOFFSET:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, size_t(arv_buffer_get_image_y(frame)), piType, pBuffer, piSize);
    case BUFFER_INFO_XPADDING:
    case BUFFER_INFO_YPADDING:
    case BUFFER_INFO_IMAGEOFFSET:
        return answerValue<size_t>(INFO_DATATYPE_SIZET, 0, piType, pBuffer, piSize);
    case BUFFER_INFO_FRAMEID:
        return answerValue<uint64_t>(INFO_DATATYPE_UINT64, buffer->frameId, piType, pBuffer, piSize);
    case BUFFER_INFO_PIXELFORMAT:
        return answerValue<uint64_t>(INFO_DATATYPE_UINT64, arv_buffer_get_image_pixel_format(frame), piType, pBuffer,
                                     piSize);
    case BUFFER_INFO_PIXELFORMAT_NAMESPACE:
        return answerValue<uint64_t>(INFO_DATATYPE_UINT64, PIXELFORMAT_NAMESPACE_PFNC_32BIT, piType, pBuffer, piSize);
    default:
        return GC_ERR_NOT_IMPLEMENTED;
    }
}

EXPORT GC_ERROR DSClose(DS_HANDLE hDataStream)
{
    logCall("DSClose");
    Stream *stream = as<Stream>(hDataStream, Kind::Stream);
    if (!stream)
        return GC_ERR_INVALID_HANDLE;
    {
        std::lock_guard<std::mutex> lock(stream->mutex);
        stream->stop = true;
        stream->wake.notify_all();
    }
    stream->thread.join();
    for (auto &buffer : stream->buffers)
        g_object_unref(buffer->arv);
    stream->device->streams[stream->index].reset();
    return GC_ERR_SUCCESS;
}
