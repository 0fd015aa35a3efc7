// The Python handle of a stream's acquisition buffer. The stream keeps one and
// refills it on every GetBuffer: the frame's pixels are copied into a new
// bytearray, and its geometry and metadata are read from the native buffer.
// The native buffer and stream belong to the camera library: this wrapper never
// frees or requeues them, except a frame that fails validation.
#pragma once

#include <CXX/Extensions.hxx>

#include <cstdint>
#include <memory>

#include <camera/KyrCamApi.h>

#include "StreamLink.h"

namespace KyrCamPy {

class KyrCameraApiPy;

class PyBuffer : public Py::PythonExtension<PyBuffer>, public BufferUser
{
public:
    // Bound to the stream of `link`, without a native buffer until the first
    // fill.
    explicit PyBuffer(std::shared_ptr<StreamLink> link);
    // Also announces a native buffer of `size` bytes on the stream.
    PyBuffer(std::shared_ptr<StreamLink> link, int64_t size);
    ~PyBuffer() override;

    Py::Object getattr_methods(const char *name) override;

    // Waits for the stream's next buffer with the interpreter lock released,
    // then takes the frame's pixels; a frame of impossible geometry or no bytes
    // goes straight back to the stream. 0, the native code, or kErrUnknown for
    // a released stream or a rejected frame. A buffer delivered while another
    // thread released the stream or freed buffers is not touched: kErrAbort.
    // `timeout` is a Python int.
    KyrCamErr fill(const Py::Object &timeout);

    void forgetBuffer(KyrCam::Buffer *buffer) override;

    // The native buffer; null before the first frame and once it or its
    // stream is gone.
    KyrCam::Buffer *nativeBuffer() const;

    Py::Object GetWidth();
    Py::Object GetHeight();
    Py::Object GetBufferPtr();
    Py::Object GetImage();
    Py::Object IsIncomplete();
    Py::Object GetPixelFormat();
    Py::Object GetFrameID();
    Py::Object GetXOffset();
    Py::Object GetYOffset();
    Py::Object GetXPadding();
    Py::Object GetYPadding();
    Py::Object GetTimestamp();

private:
    friend class KyrCameraApiPy;  // registers the type

    // True when there is a native buffer; otherwise "wrong buffer" is reported.
    bool holdsBuffer() const;
    // A native getter's answer as an int; 0 (and "wrong buffer") without a
    // native buffer.
    template <typename Value>
    Py::Object nativeInt(Value (KyrCam::Buffer::*getter)() noexcept) const;

    Py::Object data_;  // the last frame's bytearray; an empty tuple before
    KyrCam::Buffer *buffer_ = nullptr;
    std::shared_ptr<StreamLink> link_;
    Py::Object size_;
    Py::Object width_;
    Py::Object height_;
};

} // namespace KyrCamPy
