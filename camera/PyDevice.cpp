#include "PyDevice.h"

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

// A new PyDataStream over `stream`, or None after "Wrong data_stream".
Py::Object wrapStream(KyrCam::Stream *stream)
{
    if (!stream) {
        reportLine("Wrong data_stream\n");
        return Py::None();
    }
    return Py::asObject(new PyDataStream(stream));
}

} // namespace

PyDevice::PyDevice(KyrCam::Device *device)
    : eventId_(Py::Long(0L))
    , device_(device)
    , numStreams_(Py::Long(0L))
{
    if (!device_)
        return;
    info_ = Py::asObject(new PyDeviceInfo(device_->GetInfo()));
    numStreams_ = Py::Long(static_cast<long>(static_cast<int32_t>(device_->GetNumStreams())));
    // Both queries report through the last error, so it ends up holding the
    // transport query's code.
    cameraParameters_ = parameters(device_->GetCameraParameters(&lastError_), "Get camera parameters");
    transportParameters_ = parameters(device_->GetTransportParameters(&lastError_), "Get transport parameters");
}

Py::Object PyDevice::parameters(KyrGenParam::Array *array, const char *what)
{
    if (array && lastError_ == KyrCam::kOk)
        return Py::asObject(new KyrGenParamPy::PyGenParams(array));
    reportError(what, lastError_);
    return Py::None();
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
    KyrCam::DeviceInfo *info = device_ ? device_->GetInfo() : nullptr;
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
    if (device_) {
        device_->Release();
        device_ = nullptr;
    }
    return Py::None();
}

Py::Object PyDevice::IsValid()
{
    return Py::Boolean(device_ != nullptr);
}

Py::Object PyDevice::ReadMem(const Py::Tuple &args)
{
    if (args.length() < 2 || !device_) {
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
    lastError_ = device_->ReadMem(address, bytes, size);
    return Py::TupleN(Py::Long(static_cast<long>(lastError_)), data);
}

Py::Object PyDevice::WriteMem(const Py::Tuple &args)
{
    if (args.length() < 2 || !device_) {
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
    uint64_t written = 0;
    lastError_ = device_->WriteMem(address, payload.data(), size, &written);
    const auto count = static_cast<long>(static_cast<int32_t>(written));
    return Py::TupleN(Py::Long(static_cast<long>(lastError_)), Py::Long(count));
}

Py::Object PyDevice::GetStreamByIndex(const Py::Tuple &args)
{
    if (args.length() < 1 || !device_) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return Py::None();
    }
    return wrapStream(device_->GetStreamByIndex(low32Of(args[0])));
}

Py::Object PyDevice::GetStreamById(const Py::Tuple &args)
{
    if (args.length() < 1 || !device_)
        return Py::None();
    return wrapStream(device_->GetStreamById(strToUtf8(args[0]).c_str()));
}

Py::Object PyDevice::configuration(const Py::Tuple &args, KyrCamErr (KyrCam::Device::*call)(const char *) noexcept)
{
    if (args.length() < 1 || !device_)
        return Py::False();
    const std::string path = strToUtf8(args[0]);
    return Py::Boolean((device_->*call)(path.c_str()) == KyrCam::kOk);
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

Py::Object PyDevice::RegisterEvent(const Py::Tuple &args)
{
    if (args.length() < 2 || !device_)
        return Py::False();
    eventId_ = Py::Long(args[0]);
    // Not callable: TypeError, with the event id already replaced.
    eventCallable_ = Py::Callable(args[1]);
    // The library's code is not kept: registration reports success regardless.
    device_->RegisterEvent(low32Of(eventId_), &PyDevice::CameraCallback, this);
    return Py::True();
}

Py::Object PyDevice::UnRegisterEvent(const Py::Tuple &args)
{
    // The second argument is required, though never read.
    if (args.length() < 2 || !device_)
        return Py::False();
    eventId_ = Py::Long(args[0]);
    eventCallable_ = Py::None();
    device_->UnRegisterEvent(low32Of(eventId_), &PyDevice::CameraCallback, this);
    return Py::True();
}

Py::Object PyDevice::GetLastError()
{
    return Py::Long(static_cast<long>(lastError_));
}

} // namespace KyrCamPy
