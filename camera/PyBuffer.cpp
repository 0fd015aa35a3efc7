#include "PyBuffer.h"

#include "Conversion.h"
#include "ErrorReport.h"
#include "PyImage.h"

namespace KyrCamPy {

namespace {

// Frames wider or higher than this are taken for garbage and requeued.
constexpr uint32_t kMaxSide = 20480;

// Releases the interpreter lock for its lifetime, so that other Python threads
// run (and may cancel the wait) while the native stream waits. Nothing inside
// its scope may touch a Python object.
class InterpreterUnlocked
{
public:
    InterpreterUnlocked() : state_(PyEval_SaveThread()) {}
    ~InterpreterUnlocked() { PyEval_RestoreThread(state_); }

    InterpreterUnlocked(const InterpreterUnlocked &) = delete;
    InterpreterUnlocked &operator=(const InterpreterUnlocked &) = delete;

private:
    PyThreadState *state_;
};

Py::Object toPyInt(uint64_t value)
{
    return Py::Long(static_cast<unsigned PY_LONG_LONG>(value));
}

Py::Object toPyInt(int32_t value)
{
    return Py::Long(static_cast<long>(value));
}

} // namespace

PyBuffer::PyBuffer(KyrCam::Stream *stream)
    : data_(Py::Tuple())
    , stream_(stream)
    , size_(Py::Long(0L))
    , width_(Py::Long(0L))
    , height_(Py::Long(0L))
{
}

PyBuffer::PyBuffer(KyrCam::Stream *stream, int64_t size)
    : PyBuffer(stream)
{
    size_ = Py::Long(static_cast<PY_LONG_LONG>(size));
    if (!stream_) {
        reportLine("wrong dataStream\n");
        return;
    }
    KyrCamErr err = KyrCam::kOk;
    buffer_ = stream_->CreateBuffer(size, nullptr, &err);
    if (!buffer_) {
        reportCode("wrong buffer. Error", err);
        return;
    }
    width_ = Py::Long(static_cast<unsigned long>(buffer_->GetWidth()));
    height_ = Py::Long(static_cast<unsigned long>(buffer_->GetHeight()));
}

KyrCamErr PyBuffer::fill(const Py::Object &timeout)
{
    if (!stream_) {
        reportLine("wrong dataStream\n");
        return KyrCam::kErrUnknown;
    }
    // A timeout beyond the signed 64-bit range comes out as -1, all bits set,
    // which is the wait without limit; the OverflowError of that conversion is
    // deliberately left pending for the caller's interpreter to find.
    const auto timeoutMs = static_cast<uint64_t>(PyLong_AsLongLong(timeout.ptr()));
    KyrCam::Stream *stream = stream_;
    KyrCamErr err = KyrCam::kOk;
    KyrCam::Buffer *buffer = nullptr;
    {
        InterpreterUnlocked unlocked;
        buffer = stream->GetBuffer(timeoutMs, &err);
    }
    buffer_ = buffer;
    if (!buffer) {
        if (err == KyrCam::kErrTimeout)
            reportLine("Get buffer error: timeout\n");
        else
            reportCode("wrong buffer. Error", err);
        return err;
    }

    const uint32_t width = buffer->GetWidth();
    const uint32_t height = buffer->GetHeight();
    width_ = Py::Long(static_cast<unsigned long>(width));
    height_ = Py::Long(static_cast<unsigned long>(height));
    const uint64_t size = buffer->GetBufferSize();
    const uint8_t *pixels = buffer->GetBufferPtr() + buffer->GetImageOffset();
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide || size == 0) {
        stream->QueueBuffer(buffer);
        return KyrCam::kErrUnknown;
    }
    data_ = takeReference(
        PyByteArray_FromStringAndSize(reinterpret_cast<const char *>(pixels), static_cast<Py_ssize_t>(size)));
    return KyrCam::kOk;
}

void PyBuffer::forgetStream()
{
    stream_ = nullptr;
    buffer_ = nullptr;
}

void PyBuffer::forgetNativeBuffer()
{
    buffer_ = nullptr;
}

KyrCam::Buffer *PyBuffer::nativeBuffer() const
{
    return buffer_;
}

bool PyBuffer::holdsBuffer() const
{
    if (!buffer_)
        reportLine("wrong buffer\n");
    return buffer_ != nullptr;
}

template <typename Value>
Py::Object PyBuffer::nativeInt(Value (KyrCam::Buffer::*getter)() noexcept) const
{
    if (!holdsBuffer())
        return Py::Long(0L);
    return toPyInt((buffer_->*getter)());
}

Py::Object PyBuffer::GetWidth()
{
    return width_;
}

Py::Object PyBuffer::GetHeight()
{
    return height_;
}

Py::Object PyBuffer::GetBufferPtr()
{
    return data_;
}

Py::Object PyBuffer::GetImage()
{
    if (!holdsBuffer())
        return Py::None();
    return Py::asObject(new PyImage(buffer_->GetImage()));
}

Py::Object PyBuffer::IsIncomplete()
{
    if (!holdsBuffer())
        return Py::True();
    return Py::Boolean(buffer_->IsIncomplete());
}

Py::Object PyBuffer::GetPixelFormat()
{
    return nativeInt(&KyrCam::Buffer::GetPixelFormat);
}

Py::Object PyBuffer::GetFrameID()
{
    return nativeInt(&KyrCam::Buffer::GetFrameID);
}

Py::Object PyBuffer::GetXOffset()
{
    return nativeInt(&KyrCam::Buffer::GetXOffset);
}

Py::Object PyBuffer::GetYOffset()
{
    return nativeInt(&KyrCam::Buffer::GetYOffset);
}

Py::Object PyBuffer::GetXPadding()
{
    return nativeInt(&KyrCam::Buffer::GetXPadding);
}

Py::Object PyBuffer::GetYPadding()
{
    return nativeInt(&KyrCam::Buffer::GetYPadding);
}

Py::Object PyBuffer::GetTimestamp()
{
    return nativeInt(&KyrCam::Buffer::GetTimestamp);
}

} // namespace KyrCamPy
