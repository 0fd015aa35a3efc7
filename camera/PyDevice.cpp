#include "PyDevice.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "Conversion.h"
#include "ErrorReport.h"
#include "PyDataStream.h"
#include "PyDeviceInfo.h"
#include "genparam/PyGenParams.h"

namespace KyrCamPy {

namespace {

// What register access answers without arguments, without a device or for
// nothing to transfer.
Py::Object noTransfer()
{
    return Py::TupleN(Py::Long(1L), Py::Long(0L));
}

// Python's int() of `value`, cut to its low 32 bits.
uint32_t low32Of(const Py::Object &value)
{
    return static_cast<uint32_t>(toUint64(value));
}

} // namespace

PyDevice::PyDevice(KyrCam::Device *device)
    : eventId_(Py::Long(0L))
    , device_(device, Lifetime::make())
    , numStreams_(Py::Long(0L))
{
    if (!device)
        return;
    info_ = Py::asObject(new PyDeviceInfo(device->GetInfo(), device_.lifetime()));
    numStreams_ = Py::Long(static_cast<long>(static_cast<int32_t>(device->GetNumStreams())));
    // Both queries report through the last error, so it ends up holding the
    // transport query's code.
    cameraParameters_ = parameters(device->GetCameraParameters(&lastError_), "Get camera parameters");
    transportParameters_ = parameters(device->GetTransportParameters(&lastError_), "Get transport parameters");
}

Py::Object PyDevice::parameters(KyrGenParam::Array *array, const char *what)
{
    if (array && lastError_ == KyrCam::kOk)
        return Py::asObject(new KyrGenParamPy::PyGenParams(array, device_.lifetime()));
    reportError(what, lastError_);
    return Py::None();
}

Py::Object PyDevice::wrapStream(KyrCam::Stream *stream)
{
    if (!stream) {
        reportLine("Wrong data_stream\n");
        return Py::None();
    }
    auto *wrapper = new PyDataStream(stream, device_.lifetime());
    const Py::Object object = Py::asObject(wrapper);
    streams_.erase(std::remove_if(streams_.begin(), streams_.end(), [](const auto &link) { return link.expired(); }),
                   streams_.end());
    streams_.push_back(wrapper->link());
    return object;
}

void PyDevice::CameraCallback(const void *data, unsigned long size, void *context)
{
    if (!context)
        return;
    auto *device = static_cast<PyDevice *>(context);
    if (device->eventCallable_.isNone())
        return;
    // A reference of its own: the callable may unregister itself while it runs.
    const Py::Callable callable(device->eventCallable_);
    Py::Tuple args(3);
    const auto *bytes = static_cast<const char *>(data);
    args[0] = takeReference(PyByteArray_FromStringAndSize(bytes, static_cast<Py_ssize_t>(size)));
    args[1] = Py::Long(size);
    args[2] = Py::Long(static_cast<unsigned PY_LONG_LONG>(reinterpret_cast<uintptr_t>(context)));
    callable.apply(args);
}

Py::Object PyDevice::GetInfo()
{
    return info_;
}

Py::Object PyDevice::GetDisplayName()
{
    KyrCam::Device *native = device();
    KyrCam::DeviceInfo *info = native ? native->GetInfo() : nullptr;
    if (!info)
        return Py::None();
    return fromUtf8(info->GetDisplayName());
}

Py::Object PyDevice::GetNumStreams()
{
    return numStreams_;
}

Py::Object PyDevice::GetCameraParameters()
{
    return cameraParameters_;
}

Py::Object PyDevice::Release()
{
    KyrCam::Device *native = device();
    if (!native)
        return Py::None();
    // From here on nothing handed out from the device reaches it; the calls
    // other threads still run on it return first, and waits on its streams
    // end.
    device_.lifetime()->end();
    for (const std::weak_ptr<StreamLink> &weak : streams_) {
        if (const std::shared_ptr<StreamLink> link = weak.lock())
            link->deviceReleased();
    }
    streams_.clear();
    {
        // Closing waits for the device and its streams' threads.
        NativeCall call;
        native->Release();
    }
    // The library dropped the registrations with the device.
    registeredIds_.clear();
    eventHold_ = Py::None();
    return Py::None();
}

Py::Object PyDevice::IsValid()
{
    return Py::Boolean(device() != nullptr);
}

// In this and the methods below, the arguments are converted before the
// device is read: a conversion runs Python code, which may release it.
Py::Object PyDevice::ReadMem(const Py::Tuple &args)
{
    if (args.length() < 2 || !device()) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return noTransfer();
    }
    const int64_t address = toInt64(args[0]);
    const int64_t size = toInt64(args[1]);
    if (size < 1)
        return noTransfer();
    // A bytes object of `size` bytes keeps one more, a 0, after them; the
    // library reads straight into it.
    const Py::Object data = takeReference(PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size)));
    char *bytes = PyBytes_AS_STRING(data.ptr());
    bytes[0] = 0;
    KyrCam::Device *native = device();
    if (!native) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return noTransfer();
    }
    KyrCamErr code = KyrCam::kOk;
    {
        NativeCall call(device_.lifetime());
        code = native->ReadMem(address, bytes, size);
    }
    lastError_ = code;
    return Py::TupleN(Py::Long(static_cast<long>(lastError_)), data);
}

Py::Object PyDevice::WriteMem(const Py::Tuple &args)
{
    if (args.length() < 2 || !device()) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return noTransfer();
    }
    const int64_t address = toInt64(args[0]);
    const Py::Bytes data(args[1]);
    const auto size = static_cast<uint64_t>(PyBytes_GET_SIZE(data.ptr()));
    if (size < 1)
        return noTransfer();
    // What goes to the device is the text of the bytes object's str() ("b'\x01'"
    // and so on), not its raw bytes: the first `size` characters of it. Scripts
    // written against this module rely on it, so it stays.
    const std::string payload = toUtf8(data);
    KyrCam::Device *native = device();
    if (!native) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return noTransfer();
    }
    uint64_t written = 0;
    KyrCamErr code = KyrCam::kOk;
    {
        NativeCall call(device_.lifetime());
        code = native->WriteMem(address, payload.data(), size, &written);
    }
    lastError_ = code;
    const auto count = static_cast<long>(static_cast<int32_t>(written));
    return Py::TupleN(Py::Long(static_cast<long>(lastError_)), Py::Long(count));
}

Py::Object PyDevice::GetStreamByIndex(const Py::Tuple &args)
{
    if (args.length() < 1 || !device()) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return Py::None();
    }
    const uint32_t index = low32Of(args[0]);
    KyrCam::Device *native = device();
    if (!native) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return Py::None();
    }
    KyrCam::Stream *stream = nullptr;
    {
        NativeCall call(device_.lifetime());
        stream = native->GetStreamByIndex(index);
    }
    return wrapStream(stream);
}

Py::Object PyDevice::GetStreamById(const Py::Tuple &args)
{
    if (args.length() < 1 || !device())
        return Py::None();
    const std::string id = strToUtf8(args[0]);
    KyrCam::Device *native = device();
    if (!native)
        return Py::None();
    KyrCam::Stream *stream = nullptr;
    {
        NativeCall call(device_.lifetime());
        stream = native->GetStreamById(id.c_str());
    }
    return wrapStream(stream);
}

Py::Object PyDevice::configuration(const Py::Tuple &args, KyrCamErr (KyrCam::Device::*call)(const char *) noexcept)
{
    if (args.length() < 1 || !device())
        return Py::False();
    const std::string path = strToUtf8(args[0]);
    KyrCam::Device *native = device();
    if (!native)
        return Py::False();
    KyrCamErr code = KyrCam::kOk;
    {
        // A file of many features takes as many round trips to the device.
        NativeCall unlocked(device_.lifetime());
        code = (native->*call)(path.c_str());
    }
    return Py::Boolean(code == KyrCam::kOk);
}

Py::Object PyDevice::SaveConfiguration(const Py::Tuple &args)
{
    return configuration(args, &KyrCam::Device::SaveConfiguration);
}

Py::Object PyDevice::LoadConfiguration(const Py::Tuple &args)
{
    return configuration(args, &KyrCam::Device::LoadConfiguration);
}

Py::Object PyDevice::GetTransportParameters()
{
    return transportParameters_;
}

void PyDevice::holdForEvents()
{
    if (registeredIds_.empty())
        eventHold_ = Py::None();
    else if (eventHold_.isNone())
        eventHold_ = Py::Object(this);  // a reference of its own
}

Py::Object PyDevice::RegisterEvent(const Py::Tuple &args)
{
    if (args.length() < 2 || !device())
        return Py::False();
    eventId_ = Py::Long(args[0]);
    // Not callable: TypeError, with the event id already replaced.
    eventCallable_ = Py::Callable(args[1]);
    KyrCam::Device *native = device();
    if (!native)
        return Py::False();
    const uint32_t id = low32Of(eventId_);
    // The library's code is not answered: registration reports success
    // regardless. It only tells whether the library now holds this wrapper.
    // A camera event is switched on in the camera, a round trip or more.
    KyrCamErr code = KyrCam::kOk;
    {
        NativeCall call(device_.lifetime());
        code = native->RegisterEvent(id, &PyDevice::CameraCallback, this);
    }
    if (code == KyrCam::kOk)
        registeredIds_.insert(id);
    holdForEvents();
    return Py::True();
}

Py::Object PyDevice::UnRegisterEvent(const Py::Tuple &args)
{
    // The second argument is required, though never read.
    if (args.length() < 2 || !device())
        return Py::False();
    eventId_ = Py::Long(args[0]);
    eventCallable_ = Py::None();
    KyrCam::Device *native = device();
    if (!native)
        return Py::False();
    const uint32_t id = low32Of(eventId_);
    {
        NativeCall call(device_.lifetime());
        native->UnRegisterEvent(id, &PyDevice::CameraCallback, this);
    }
    registeredIds_.erase(id);
    holdForEvents();
    return Py::True();
}

Py::Object PyDevice::GetLastError()
{
    return Py::Long(static_cast<long>(lastError_));
}

} // namespace KyrCamPy
