// One acquisition stream of an opened device: its buffer queue, acquisition
// start and stop, and the frames it hands out through its one PyBuffer. The
// native stream belongs to the script: only Release gives it back.
#pragma once

#include <CXX/Extensions.hxx>

#include <memory>

#include <camera/KyrCamApi.h>

#include "Lifetime.h"
#include "StreamLink.h"

namespace KyrCamPy {

class KyrCameraApiPy;
class PyBuffer;

class PyDataStream : public Py::PythonExtension<PyDataStream>
{
public:
    // `stream` is not null: the device makes no wrapper without one. It is
    // gone when `device` ends, or with Release.
    PyDataStream(KyrCam::Stream *stream, const Lifetime::Ref &device);

    // What the stream's wrappers share; the device keeps it to close the
    // stream with itself.
    const std::shared_ptr<StreamLink> &link() const { return link_; }

    // The flush modes as integer attributes, then the methods.
    Py::Object getattr(const char *name) override;
    Py::Object getattr_methods(const char *name) override;

    Py::Object GetBufferSize();
    Py::Object GetBufferAlignment();
    Py::Object GetMinNumBuffers();
    Py::Object StartAcquisition();
    Py::Object StopAcquisition(const Py::Tuple &args);
    Py::Object CreateBuffer(const Py::Tuple &args);
    Py::Object GetBufferQueueSize();
    Py::Object QueueBuffer(const Py::Tuple &args);
    Py::Object GetBuffer(const Py::Tuple &args);
    Py::Object FlushBuffers(const Py::Tuple &args);
    Py::Object Release();
    Py::Object RevokeBuffer(const Py::Tuple &args);
    Py::Object AllocBufferQueue(const Py::Tuple &args);
    Py::Object ReleaseBufferQueue();
    Py::Object CancelBuffer();
    Py::Object GetLastError();

private:
    friend class KyrCameraApiPy;  // registers the type

    // True when `args` holds no item: `message` is written and the last error
    // says so.
    bool missingArg(const Py::Tuple &args, const char *message);
    // The stop or flush call with the mode in args[0].
    Py::Object withMode(const Py::Tuple &args, const char *message, KyrCamErr (KyrCam::Stream::*call)(int32_t) noexcept);

    // The native stream, null once released, and the buffers borrowed from it.
    KyrCam::Stream *stream() const { return link_->stream(); }

    const std::shared_ptr<StreamLink> link_;
    Py::Object buffer_;         // the stream's one PyBuffer, or None
    Py::Object bufferSize_;     // last answer of GetBufferSize
    Py::Object minNumBuffers_;  // last answer of GetMinNumBuffers
    KyrCamErr lastError_ = KyrCam::kOk;
};

} // namespace KyrCamPy
