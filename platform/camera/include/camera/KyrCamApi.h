// libKyrCameraApi: camera discovery, devices, streams and buffers.
//
// Object tree: the process-wide System lists Interfaces (transport layers); an
// Interface lists DeviceInfos; a Device is opened from a DeviceInfo and hands
// out its Streams and parameter arrays; a Stream owns its Buffers.
//
// Ownership: objects are handed out as plain pointers. The System, its
// interfaces, their parameter arrays and the DeviceInfos they list belong to the
// library and live until the process ends (a rescan keeps every DeviceInfo it
// ever handed out alive and updates those of devices still present). Lists are
// freed with their Release(). A Device belongs to its opener until
// Device::Release(); a Stream handle until Stream::Release(); Buffers belong to
// their Stream. Everything obtained from a Device is invalid after its Release.
//
// Releases and waits: releasing a stream (its last handle) or its device first
// ends a GetBuffer waiting on another thread, which returns null with
// kErrAbort, and waits for that call to return; only then is anything freed.
// A call that starts on a released object is the caller's fault. After a
// device is lost its objects stay valid until released: waits end with
// kErrIo; Device, Stream and Buffer calls answer kErrIo (or a neutral value)
// without waiting on the camera, and Release returns at once. Parameter array
// calls answer their codes after the transport's own time-outs.
//
// Errors: nothing is thrown. Calls return a KyrCamErr, or a value with the code
// written through a `KyrCamErr *err` out-parameter (written on every call, 0 on
// success). Returned texts are NUL-terminated UTF-8 kept by the library: valid
// until the next call of the same getter on the same object, or until the
// object is gone.
//
// Threads: every operation may be called from any thread.
//
// Callbacks and the interpreter lock: event callbacks run on a library thread.
// When the host process runs Python (the library finds Py_IsInitialized,
// PyGILState_Ensure and PyGILState_Release in the process at run time, and
// Py_IsInitialized() is true), every callback runs holding the interpreter
// lock, so a callback may call into Python directly. The library never links
// Python. A callback must not throw; if it does, the library catches the
// exception, drops that event and goes on.
#pragma once

#include <cstdint>

#include <camera/KyrCamErr.h>
#include <camera/KyrCamExport.h>
#include <camera/KyrGenParam.h>

struct KyrImage;

namespace KyrCam {

// Transport types: Interface::GetType() answers one; masks combine their bits
// (1 << (type - 1)), and kInterfaceAll selects every type.
enum InterfaceType : int32_t {
    kInterfaceUsb3Vision = 1,
    kInterfaceGigEVision = 2,
    kInterfaceCameraLink = 3,
    kInterfaceCoaXPress = 4,
    kInterfaceHdSdi = 5,
    kInterfaceAll = 255,
};

// Bit of a transport type in an interface mask.
constexpr uint32_t interfaceMaskBit(int32_t type) { return 1u << (type - 1); }

// How KyrCam_CreateDevice opens a device.
enum OpenMode : int32_t {
    kOpenReadOnly = 1,   // read features and registers; no streaming, no writes
    kOpenControl = 2,    // full control; other hosts may still read
    kOpenExclusive = 3,  // full control; other hosts are refused
};

// What DeviceInfo::GetAccessStatus() answers.
enum AccessStatus : int32_t {
    kAccessUnknown = 0,
    kAccessReadWrite = 1,   // free: can be opened with control
    kAccessReadOnly = 2,    // another host has control; read only
    kAccessNoAccess = 3,    // another host holds it exclusively
    kAccessBusy = 4,        // opened by this process
    kAccessUnreachable = 5, // found, but not on a reachable subnet
};

// Stream::StopAcquisition modes.
enum StopMode : int32_t {
    kStopDefault = 0,  // stop after the frame in progress
    kStopKill = 1,     // stop at once; the frame in progress is discarded
};

// Stream::FlushBuffers modes (GenTL queue semantics).
enum FlushMode : int32_t {
    kFlushOutputDiscard = 1,     // discard filled buffers not yet delivered
    kFlushAllToInput = 2,        // every announced buffer back to the input queue
    kFlushUnqueuedToInput = 3,   // announced but unqueued buffers to the input queue
    kFlushAllDiscard = 4,        // empty both queues; buffers stay announced
};

// Event ids for Device::RegisterEvent.
enum EventId : uint32_t {
    // The device stopped answering (heartbeat lost, cable pulled, camera gone).
    // Data: the device's display name as UTF-8, without NUL. Once per device.
    kEventDeviceLost = 0x8001,
};
// Any other id is one of the device's own events, as its GenICam description
// declares them: an EventSelector entry of a GigE Vision camera, the EventID
// of an event port for a device of a GenTL producer. Data: the event's data
// as the device sent it, without the id.

// `data` is valid only during the call; `size` may be 0.
using EventCallback = void (*)(const void *data, unsigned long size, void *context);

class Buffer;
class Device;
class DeviceInfo;
class DeviceInfoList;
class Interface;
class InterfaceList;
class Stream;

// Snapshot of the interfaces of some types, in a stable order.
class KYRCAM_API InterfaceList
{
public:
    // First and following interface; null past the end.
    virtual Interface *GetFirst() noexcept = 0;
    virtual Interface *GetNext() noexcept = 0;
    // Frees the list, not the interfaces.
    virtual void Release() noexcept = 0;

protected:
    virtual ~InterfaceList() = default;
};

// Snapshot of the devices that an interface knew at the last enumeration.
class KYRCAM_API DeviceInfoList
{
public:
    virtual DeviceInfo *GetFirst() noexcept = 0;
    virtual DeviceInfo *GetNext() noexcept = 0;
    // Frees the list, not the DeviceInfos.
    virtual void Release() noexcept = 0;

protected:
    virtual ~DeviceInfoList() = default;
};

class KYRCAM_API System
{
public:
    // Interfaces whose type bit is set in `mask` (kInterfaceAll for all); null
    // only when memory is short. Caller releases the list.
    virtual InterfaceList *GetInterfaceList(uint32_t mask) noexcept = 0;
    virtual const char *GetDisplayName() noexcept = 0;
    // Library and engine versions, as text.
    virtual const char *GetVersion() noexcept = 0;
    // Opens the device named in a configuration file written by
    // Device::SaveConfiguration and applies the file to it. Caller owns the
    // device. Codes: kErrFileNotFound, kErrFileRead, kErrWrongConfiguration (not
    // such a file), kErrNoDevice (its device is not found), the codes of
    // KyrCam_CreateDevice and of LoadConfiguration.
    virtual Device *CreateDeviceFromConfig(const char *path, KyrCamErr *err) noexcept = 0;
    // Loads a GenTL producer (.cti) and adds its interfaces. Codes:
    // kErrFileNotFound, kErrNotImplemented (producers not supported by this
    // build), kErrResourceInUse (already registered), kErrGenTL (not a producer).
    virtual KyrCamErr RegisterGenTLProvider(const char *path) noexcept = 0;

protected:
    virtual ~System() = default;
};

class KYRCAM_API Interface
{
public:
    // Devices known since the last enumeration (the first enumeration runs when
    // the interface is listed). Null only when memory is short. Caller releases.
    virtual DeviceInfoList *GetDeviceInfoList() noexcept = 0;
    // The first of those devices, or null when there is none.
    virtual DeviceInfo *GetFirstDeviceInfo() noexcept = 0;
    // Looks for devices again for at most `timeoutMs` (all bits set: as long as
    // the transport needs) and sets `*changed` when the set of devices differs
    // from the previous one. Codes: kErrInvalidParameter (null `changed`), kErrIo.
    virtual KyrCamErr ReEnumerateDevices(bool *changed, uint64_t timeoutMs) noexcept = 0;
    virtual const char *GetDescription() noexcept = 0;
    // An InterfaceType.
    virtual int32_t GetType() noexcept = 0;
    // The interface's own features. Codes: kErrNotAvailable.
    virtual KyrGenParam::Array *GetParameters(KyrCamErr *err) noexcept = 0;

protected:
    virtual ~Interface() = default;
};

class KYRCAM_API DeviceInfo
{
public:
    virtual Interface *GetInterface() noexcept = 0;
    virtual const char *GetVendor() noexcept = 0;
    virtual const char *GetModel() noexcept = 0;
    // "Vendor Model (serial)" or the user-defined name when one is set.
    virtual const char *GetDisplayName() noexcept = 0;
    virtual const char *GetUserDefinedName() noexcept = 0;
    virtual const char *GetSerialNumber() noexcept = 0;
    virtual const char *GetVersion() noexcept = 0;
    // An AccessStatus, read from the device when the transport allows it.
    virtual int32_t GetAccessStatus() noexcept = 0;
    // IPv4 settings as dotted decimal text; "" with kErrNotAvailable for devices
    // without IP.
    virtual const char *GetIPAddress(KyrCamErr *err) noexcept = 0;
    virtual const char *GetIPMask(KyrCamErr *err) noexcept = 0;
    virtual const char *GetIPGateway(KyrCamErr *err) noexcept = 0;
    // The same as 32-bit values in host byte order (192.168.0.1 is 0xC0A80001).
    // Codes: kErrNotAvailable, kErrInvalidParameter (a null pointer).
    virtual KyrCamErr GetIP(uint32_t *address, uint32_t *mask, uint32_t *gateway) noexcept = 0;
    // Sets the device's IP configuration through its MAC address (GigE Vision
    // FORCEIP), waits for the acknowledge and enumerates again. Texts in dotted
    // decimal. Codes: kErrInvalidParameter (not an IPv4 address or mask),
    // kErrNotAvailable (no IP transport), kErrTimeout (no acknowledge), kErrIo.
    virtual KyrCamErr ForceIP(const char *address, const char *mask, const char *gateway) noexcept = 0;

protected:
    virtual ~DeviceInfo() = default;
};

class KYRCAM_API Device
{
public:
    // Ends the GetBuffer waits on its streams (kErrAbort), stops and closes
    // every stream still open, closes the device and frees it.
    virtual void Release() noexcept = 0;
    // The device's own description (owned by the device).
    virtual DeviceInfo *GetInfo() noexcept = 0;
    virtual uint32_t GetNumStreams() noexcept = 0;
    // Opens stream `index` (or takes one more handle on it when it is open);
    // null when there is no such stream. Each handle is released with
    // Stream::Release; the stream closes with its last handle.
    virtual Stream *GetStreamByIndex(uint32_t index) noexcept = 0;
    // The same by stream id ("Stream0", ... as the device names them).
    virtual Stream *GetStreamById(const char *id) noexcept = 0;
    // Register access in the device's address space. Codes: kErrInvalidParameter
    // (null buffer, size below 1), kErrInvalidAddress, kErrAccessDenied, kErrIo,
    // kErrTimeout. ReadMem leaves bytes it could not read untouched.
    virtual KyrCamErr ReadMem(int64_t address, void *buffer, int64_t size) noexcept = 0;
    // `*written` is the number of bytes the device accepted.
    virtual KyrCamErr WriteMem(int64_t address, const void *data, uint64_t size, uint64_t *written) noexcept = 0;
    // Calls `callback(data, size, context)` for each event of `eventId` (an
    // EventId) until unregistered; registering the same (id, callback, context)
    // again changes nothing. Codes: kErrNotImplemented (an id the device cannot
    // send), kErrIo (device lost).
    virtual KyrCamErr RegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept = 0;
    // Withdraws a registration. After it returns no new call starts. A call
    // already running finishes on its own: when the host runs Python the caller
    // holds the interpreter lock that the running call may need, so the library
    // does not wait for it; otherwise it waits, unless called from the callback
    // itself. Codes: kErrInvalidParameter (no such registration).
    virtual KyrCamErr UnRegisterEvent(uint32_t eventId, EventCallback callback, void *context) noexcept = 0;
    // The transport layer's features (packet size, timeouts, statistics).
    virtual KyrGenParam::Array *GetTransportParameters(KyrCamErr *err) noexcept = 0;
    // The camera's own features (from its GenICam description).
    virtual KyrGenParam::Array *GetCameraParameters(KyrCamErr *err) noexcept = 0;
    // Writes the device's writable features to a text file that
    // LoadConfiguration and System::CreateDeviceFromConfig read back. Codes:
    // kErrIo (file not writable), kErrGenICam... (a feature could not be read).
    virtual KyrCamErr SaveConfiguration(const char *path) noexcept = 0;
    // Applies such a file. Codes: kErrFileNotFound, kErrFileRead,
    // kErrWrongConfiguration (another device, or not such a file), the GenICam
    // codes of a value that could not be set.
    virtual KyrCamErr LoadConfiguration(const char *path) noexcept = 0;

protected:
    virtual ~Device() = default;
};

class KYRCAM_API Stream
{
public:
    // Releases this handle; the last one ends a GetBuffer waiting on another
    // thread (kErrAbort) and waits for it to return, then stops acquisition,
    // revokes every buffer and closes the stream.
    virtual void Release() noexcept = 0;
    // Bytes one buffer needs for the current settings (the payload size).
    virtual int64_t GetBufferSize() noexcept = 0;
    virtual int64_t GetBufferAlignment() noexcept = 0;
    virtual int64_t GetMinNumBuffers() noexcept = 0;
    // Buffers waiting in the input queue.
    virtual int64_t GetBufferQueueSize() noexcept = 0;
    // Starts delivering frames into queued buffers, `frameCount` of them (all
    // bits set: without limit). `reserved` must be null. Codes:
    // kErrInvalidParameter, kErrInvalidBuffer (fewer buffers announced than
    // GetMinNumBuffers), kErrResourceInUse (already running), kErrIo.
    virtual KyrCamErr StartAcquisition(uint64_t frameCount, const void *reserved) noexcept = 0;
    // A StopMode. Codes: kErrInvalidParameter (unknown mode), kErrInvalidState
    // (not running).
    virtual KyrCamErr StopAcquisition(int32_t mode) noexcept = 0;
    // A FlushMode. Codes: kErrInvalidParameter (unknown mode).
    virtual KyrCamErr FlushBuffers(int32_t mode) noexcept = 0;
    // Announces `count` buffers of GetBufferSize() bytes and queues them;
    // `userData` is kept with each. Codes: kErrInvalidParameter (count below 1
    // or above 1024), kErrResourceInUse (a queue exists: release it first),
    // kErrOutOfMemory.
    virtual KyrCamErr AllocBufferQueue(void *userData, int64_t count) noexcept = 0;
    // Revokes and frees every buffer of the stream. Codes: kErrBusy (acquiring).
    virtual KyrCamErr ReleaseBufferQueue() noexcept = 0;
    // Ends a GetBuffer that is waiting, from any thread; it returns null with
    // kErrAbort. Without a waiter, the next GetBuffer is not affected.
    virtual KyrCamErr CancelBuffer() noexcept = 0;
    // Gives a delivered or announced buffer back to the input queue. Codes:
    // kErrInvalidBuffer (not a buffer of this stream), kErrResourceInUse
    // (already queued).
    virtual KyrCamErr QueueBuffer(Buffer *buffer) noexcept = 0;
    // Removes a buffer that is not queued from the stream and frees it. Codes:
    // kErrInvalidBuffer, kErrBusy (queued while acquiring).
    virtual KyrCamErr RevokeBuffer(Buffer *buffer) noexcept = 0;
    // Waits up to `timeoutMs` (all bits set: without limit) for the next
    // delivered buffer; the caller hands it back with QueueBuffer. Returns null
    // with kErrTimeout, kErrAbort (CancelBuffer), kErrNotInitialized (not
    // acquiring and nothing delivered), kErrIo (device lost).
    virtual Buffer *GetBuffer(uint64_t timeoutMs, KyrCamErr *err) noexcept = 0;
    // Announces one buffer of `size` bytes (not queued); `userData` is kept with
    // it. Codes: kErrInvalidParameter (size below 1), kErrOutOfMemory.
    virtual Buffer *CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept = 0;

protected:
    virtual ~Stream() = default;
};

// One acquisition buffer. Its values describe the last frame delivered into it
// and are fixed until it is queued again. Owner thread only: the thread that
// took it from GetBuffer.
class KYRCAM_API Buffer
{
public:
    // The image description of the frame, borrowing the buffer's memory; null
    // before the first frame.
    virtual KyrImage *GetImage() noexcept = 0;
    // Start of the buffer memory.
    virtual uint8_t *GetBufferPtr() noexcept = 0;
    // Bytes from the start of the buffer memory to the first pixel.
    virtual uint64_t GetImageOffset() noexcept = 0;
    // Valid image bytes from the image offset on (0 before the first frame).
    virtual uint64_t GetBufferSize() noexcept = 0;
    // Pixel type code of the frame.
    virtual uint64_t GetPixelFormat() noexcept = 0;
    virtual uint64_t GetFrameID() noexcept = 0;
    // Device time stamp in nanoseconds.
    virtual uint64_t GetTimestamp() noexcept = 0;
    // True when part of the frame was lost.
    virtual bool IsIncomplete() noexcept = 0;
    virtual uint32_t GetWidth() noexcept = 0;
    virtual uint32_t GetHeight() noexcept = 0;
    virtual int32_t GetXOffset() noexcept = 0;
    virtual int32_t GetYOffset() noexcept = 0;
    virtual int32_t GetXPadding() noexcept = 0;
    virtual int32_t GetYPadding() noexcept = 0;

protected:
    virtual ~Buffer() = default;
};

} // namespace KyrCam

extern "C" {

// The process-wide system, created on first call and kept until the process
// ends; null when the transports could not be set up. Any thread.
KYRCAM_API KyrCam::System *KyrCam_GetSystem() noexcept;

// Opens a device in an OpenMode. A null `info` opens the first device found on
// any interface. Caller owns the device (Device::Release). Codes: kErrNoDevice,
// kErrInvalidParameter (unknown mode), kErrAccessDenied (another host holds
// it), kErrResourceInUse (already open in this process), kErrIo, kErrTimeout.
KYRCAM_API KyrCam::Device *KyrCam_CreateDevice(KyrCam::DeviceInfo *info, int32_t mode, KyrCamErr *err) noexcept;

} // extern "C"
