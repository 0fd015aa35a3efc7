// One opened camera: its description, stream count and parameter collections
// (fetched once, at construction), register access, streams, configuration
// files and device events. Only Release gives the native device back; the
// destructor drops the Python references only, so a device never released
// stays open in the library. Release ends the device's lifetime: the streams,
// parameters, buffers and description handed out from it then answer as for
// a missing object.
#pragma once

#include <CXX/Extensions.hxx>

#include <memory>
#include <set>
#include <vector>

#include <camera/KyrCamApi.h>

#include "Lifetime.h"
#include "StreamLink.h"

namespace KyrCamPy {

class KyrCameraApiPy;

class PyDevice : public Py::PythonExtension<PyDevice>
{
public:
    // `device` may be null (a failed creation): the wrapper then reports
    // itself invalid and caches nothing.
    explicit PyDevice(KyrCam::Device *device);

    // Event callback handed to the library with the wrapper as context. It
    // runs on the library's event thread, which holds the interpreter lock
    // around it, and calls the registered callable with (bytearray, size,
    // context). A Python exception leaves it as a PyCXX exception: the library
    // catches it and drops the event. The wrapper stays alive while the
    // library holds a registration with it.
    static void CameraCallback(const void *data, unsigned long size, void *context);

    Py::Object GetInfo();
    Py::Object GetDisplayName();
    Py::Object GetNumStreams();
    Py::Object GetCameraParameters();
    Py::Object Release();
    Py::Object IsValid();
    Py::Object ReadMem(const Py::Tuple &args);
    Py::Object WriteMem(const Py::Tuple &args);
    Py::Object GetStreamByIndex(const Py::Tuple &args);
    // Registered as "GetStreamByName".
    Py::Object GetStreamById(const Py::Tuple &args);
    Py::Object SaveConfiguration(const Py::Tuple &args);
    Py::Object LoadConfiguration(const Py::Tuple &args);
    Py::Object GetTransportParameters();
    Py::Object RegisterEvent(const Py::Tuple &args);
    Py::Object UnRegisterEvent(const Py::Tuple &args);
    Py::Object GetLastError();

private:
    friend class KyrCameraApiPy;  // registers the type

    // The native call's array as a PyGenParams, or None after printing
    // "<what> error: <code> <text>" when it failed.
    Py::Object parameters(KyrGenParam::Array *array, const char *what);
    Py::Object configuration(const Py::Tuple &args, KyrCamErr (KyrCam::Device::*call)(const char *) noexcept);
    // A new PyDataStream over `stream`, or None after "Wrong data_stream".
    Py::Object wrapStream(KyrCam::Stream *stream);
    // The native device; null once released.
    KyrCam::Device *device() const { return device_.get(); }
    // Keeps the wrapper, the context of the library's registrations, alive
    // while it has any.
    void holdForEvents();

    // One callable for every event id of this device; None when unregistered.
    Py::Object eventId_;
    Py::Object eventCallable_;
    std::set<uint32_t> registeredIds_;
    Py::Object eventHold_;  // the wrapper itself while registeredIds_ has any
    Py::Object info_;
    Py::Object cameraParameters_;
    Py::Object transportParameters_;
    Borrowed<KyrCam::Device> device_;
    // The streams handed out, which the device's release closes.
    std::vector<std::weak_ptr<StreamLink>> streams_;
    Py::Object numStreams_;
    KyrCamErr lastError_ = KyrCam::kOk;
};

} // namespace KyrCamPy
