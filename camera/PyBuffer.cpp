#include "PyBuffer.h"

#include <cstring>

#include "Conversion.h"
#include "ErrorReport.h"
#include "Lifetime.h"
#include "MethodTable.h"
#include "PyImage.h"

namespace KyrCamPy {

namespace {

// Frames wider or higher than this are taken for garbage and requeued.
constexpr uint32_t kMaxSide = 20480;

Py::Object toPyInt(uint64_t value)
{
    return Py::Long(static_cast<unsigned PY_LONG_LONG>(value));
}

Py::Object toPyInt(int32_t value)
{
    return Py::Long(static_cast<long>(value));
}

// Keeps the int a frame's geometry had while it stays the same: a new int
// on every frame is an allocation and a free the loop has no use for.
void keepLong(Py::Object &held, uint32_t value)
{
    if (PyLong_AsUnsignedLong(held.ptr()) != value)
        held = Py::Long(static_cast<unsigned long>(value));
}

} // namespace

PyBuffer::PyBuffer(std::shared_ptr<StreamLink> link)
    : data_(Py::Tuple())
    , link_(std::move(link))
    , size_(Py::Long(0L))
    , width_(Py::Long(0L))
    , height_(Py::Long(0L))
{
    link_->attach(this);
}

PyBuffer::PyBuffer(std::shared_ptr<StreamLink> link, int64_t size)
    : PyBuffer(std::move(link))
{
    size_ = Py::Long(static_cast<PY_LONG_LONG>(size));
    KyrCam::Stream *stream = link_->stream();
    if (!stream) {
        reportLine("wrong dataStream\n");
        return;
    }
    KyrCamErr err = KyrCam::kOk;
    buffer_ = stream->CreateBuffer(size, nullptr, &err);
    if (!buffer_) {
        reportCode("wrong buffer. Error", err);
        return;
    }
    width_ = Py::Long(static_cast<unsigned long>(buffer_->GetWidth()));
    height_ = Py::Long(static_cast<unsigned long>(buffer_->GetHeight()));
}

PyBuffer::~PyBuffer()
{
    link_->detach(this);
}

Py::Object PyBuffer::getattr_methods(const char *name)
{
    if (PyObject *method = MethodTable<PyBuffer>::bind(this, name))
        return Py::asObject(method);
    return PythonExtension::getattr_methods(name);
}

KyrCamErr PyBuffer::fill(const Py::Object &timeout)
{
    KyrCam::Stream *stream = link_->stream();
    if (!stream) {
        reportLine("wrong dataStream\n");
        return KyrCam::kErrUnknown;
    }
    // A timeout beyond the signed 64-bit range comes out as -1, all bits set,
    // which is the wait without limit; the OverflowError of that conversion is
    // deliberately left pending for the caller's interpreter to find.
    const auto timeoutMs = static_cast<uint64_t>(PyLong_AsLongLong(timeout.ptr()));
    // The conversion may have run Python code that released the stream.
    stream = link_->stream();
    if (!stream) {
        reportLine("wrong dataStream\n");
        return KyrCam::kErrUnknown;
    }
    const uint64_t epoch = link_->epoch();
    KyrCamErr err = KyrCam::kOk;
    KyrCam::Buffer *buffer = nullptr;
    {
        StreamLink::Wait wait(*link_);
        buffer = stream->GetBuffer(timeoutMs, &err);
    }
    if (buffer && (!link_->stream() || link_->epoch() != epoch)) {
        // Another thread released the stream, its queue or a buffer while the
        // lock was free: what came may be freed memory by now.
        buffer = nullptr;
        err = KyrCam::kErrAbort;
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
    keepLong(width_, width);
    keepLong(height_, height);
    const uint64_t size = buffer->GetBufferSize();
    const uint8_t *pixels = buffer->GetBufferPtr() + buffer->GetImageOffset();
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide || size == 0) {
        stream->QueueBuffer(buffer);
        return KyrCam::kErrUnknown;
    }
    const auto length = static_cast<Py_ssize_t>(size);
    // Each frame is a new bytearray as far as a script can tell. One that
    // nothing but this buffer holds any more is refilled instead: the copy
    // then lands in memory the cache and the page tables already know, which
    // makes it about twice as fast for a VGA frame.
    if (PyByteArray_CheckExact(data_.ptr()) && Py_REFCNT(data_.ptr()) == 1 &&
        PyByteArray_GET_SIZE(data_.ptr()) == length) {
        std::memcpy(PyByteArray_AS_STRING(data_.ptr()), pixels, size);
        return KyrCam::kOk;
    }
    data_ = takeReference(PyByteArray_FromStringAndSize(reinterpret_cast<const char *>(pixels), length));
    return KyrCam::kOk;
}

void PyBuffer::forgetBuffer(KyrCam::Buffer *buffer)
{
    if (!buffer || buffer == buffer_)
        buffer_ = nullptr;
}

KyrCam::Buffer *PyBuffer::nativeBuffer() const
{
    return link_->stream() ? buffer_ : nullptr;
}

bool PyBuffer::holdsBuffer() const
{
    if (!nativeBuffer())
        reportLine("wrong buffer\n");
    return nativeBuffer() != nullptr;
}

template <typename Value>
Py::Object PyBuffer::nativeInt(Value (KyrCam::Buffer::*getter)() noexcept) const
{
    if (!holdsBuffer())
        return Py::Long(0L);
    return toPyInt((nativeBuffer()->*getter)());
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
    return Py::asObject(new PyImage(buffer_->GetImage(), buffer_, link_));
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
