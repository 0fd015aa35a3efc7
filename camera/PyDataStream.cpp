#include "PyDataStream.h"

#include "Conversion.h"
#include "ErrorReport.h"
#include "MethodTable.h"
#include "PyBuffer.h"

namespace KyrCamPy {

namespace {

constexpr NamedConstant kFlushModes[] = {
    { "Flush_OutputDiscard", KyrCam::kFlushOutputDiscard },
    { "Flush_AllToInput", KyrCam::kFlushAllToInput },
    { "Flush_UnqueuedToInput", KyrCam::kFlushUnqueuedToInput },
    { "Flush_AllDiscard", KyrCam::kFlushAllDiscard },
};

// The frame count of StartAcquisition that acquires without limit.
constexpr uint64_t kUnlimited = ~uint64_t{ 0 };

// The PyBuffer in `object`, or null for anything else.
PyBuffer *asBuffer(const Py::Object &object)
{
    return PyBuffer::check(object) ? static_cast<PyBuffer *>(object.ptr()) : nullptr;
}

} // namespace

PyDataStream::PyDataStream(KyrCam::Stream *stream, const Lifetime::Ref &device)
    : link_(std::make_shared<StreamLink>(stream, device))
    , bufferSize_(Py::Long(325546L))
    , minNumBuffers_(Py::Long(3L))
{
}

Py::Object PyDataStream::getattr(const char *name)
{
    if (const NamedConstant *flush = findConstant(kFlushModes, name))
        return Py::Long(static_cast<long>(flush->value));
    return getattr_methods(name);
}

Py::Object PyDataStream::getattr_methods(const char *name)
{
    if (PyObject *method = MethodTable<PyDataStream>::bind(this, name))
        return Py::asObject(method);
    return PythonExtension::getattr_methods(name);
}

bool PyDataStream::missingArg(const Py::Tuple &args, const char *message)
{
    if (args.length() >= 1)
        return false;
    reportLine(message);
    lastError_ = KyrCam::kErrNotEnoughArguments;
    return true;
}

Py::Object PyDataStream::GetBufferSize()
{
    if (KyrCam::Stream *native = stream())
        bufferSize_ = Py::Long(static_cast<PY_LONG_LONG>(native->GetBufferSize()));
    return bufferSize_;
}

Py::Object PyDataStream::GetBufferAlignment()
{
    KyrCam::Stream *native = stream();
    return Py::Long(static_cast<PY_LONG_LONG>(native ? native->GetBufferAlignment() : 0));
}

Py::Object PyDataStream::GetMinNumBuffers()
{
    if (KyrCam::Stream *native = stream())
        minNumBuffers_ = Py::Long(static_cast<PY_LONG_LONG>(native->GetMinNumBuffers()));
    return minNumBuffers_;
}

Py::Object PyDataStream::StartAcquisition()
{
    KyrCam::Stream *native = stream();
    if (!native)
        return Py::False();
    KyrCamErr code = KyrCam::kOk;
    {
        NativeCall unlocked(link_->lifetime());
        code = native->StartAcquisition(kUnlimited, nullptr);
    }
    return Py::Boolean(code == KyrCam::kOk);
}

Py::Object PyDataStream::withMode(const Py::Tuple &args, const char *message,
                                  KyrCamErr (KyrCam::Stream::*call)(int32_t) noexcept)
{
    if (missingArg(args, message))
        return Py::False();
    const auto mode = static_cast<int32_t>(toInt64(args[0]));
    KyrCam::Stream *native = stream();
    if (!native)
        return Py::False();
    KyrCamErr code = KyrCam::kOk;
    {
        // Stopping waits for the device; flushing is cheap but shares the path.
        NativeCall unlocked(link_->lifetime());
        code = (native->*call)(mode);
    }
    return Py::Boolean(code == KyrCam::kOk);
}

Py::Object PyDataStream::StopAcquisition(const Py::Tuple &args)
{
    return withMode(args, "Not enough actual args\n", &KyrCam::Stream::StopAcquisition);
}

Py::Object PyDataStream::CreateBuffer(const Py::Tuple &args)
{
    if (missingArg(args, "Not enough actual args\n"))
        return Py::None();
    if (!stream()) {
        reportLine("wrong dataStream\n");
        return Py::None();
    }
    // The buffer looks at the stream again after the size's conversion.
    buffer_ = Py::asObject(new PyBuffer(link_, toInt64(args[0])));
    return buffer_;
}

Py::Object PyDataStream::GetBufferQueueSize()
{
    KyrCam::Stream *native = stream();
    return Py::Long(static_cast<PY_LONG_LONG>(native ? native->GetBufferQueueSize() : 0));
}

Py::Object PyDataStream::QueueBuffer(const Py::Tuple &args)
{
    if (missingArg(args, "QueueBuffer not enough actual args\n"))
        return Py::False();
    PyBuffer *buffer = asBuffer(args[0]);
    KyrCam::Stream *native = stream();
    if (!buffer || !buffer->nativeBuffer() || !native)
        return Py::False();
    return Py::Boolean(native->QueueBuffer(buffer->nativeBuffer()) == KyrCam::kOk);
}

Py::Object PyDataStream::GetBuffer(const Py::Tuple &args)
{
    // The default is the unsigned all-ones timeout, which the fill's signed
    // conversion turns into -1 (no limit) with an OverflowError left pending.
    // That order is kept as scripts have always met it.
    const Py::Object timeout =
        args.length() >= 1 ? Py::Long(args[0]) : Py::Long(static_cast<unsigned PY_LONG_LONG>(~0ULL));
    // Held here so that the buffer outlives a replacement made by another
    // thread while the fill waits.
    const Py::Object current = buffer_;
    PyBuffer *buffer = asBuffer(current);
    if (!buffer)
        return Py::None();
    lastError_ = buffer->fill(timeout);
    return lastError_ == KyrCam::kOk ? current : Py::None();
}

Py::Object PyDataStream::FlushBuffers(const Py::Tuple &args)
{
    return withMode(args, "FlushBuffers not enough actual args\n", &KyrCam::Stream::FlushBuffers);
}

Py::Object PyDataStream::Release()
{
    link_->release();
    return Py::None();
}

Py::Object PyDataStream::RevokeBuffer(const Py::Tuple &args)
{
    if (missingArg(args, "RevokeBuffer not enough actual args\n"))
        return Py::False();
    PyBuffer *buffer = asBuffer(args[0]);
    KyrCam::Stream *native = stream();
    if (!native || !buffer)
        return Py::False();
    KyrCam::Buffer *revoked = buffer->nativeBuffer();
    if (native->RevokeBuffer(revoked) != KyrCam::kOk)
        return Py::False();
    link_->buffersFreed(revoked);
    buffer->forgetBuffer(revoked);
    return Py::True();
}

Py::Object PyDataStream::AllocBufferQueue(const Py::Tuple &args)
{
    if (missingArg(args, "AllocBufferQueue not enough actual args\n"))
        return Py::False();
    const int64_t count = toInt64(args[0]);
    KyrCam::Stream *native = stream();
    if (!native || native->AllocBufferQueue(nullptr, count) != KyrCam::kOk)
        return Py::False();
    buffer_ = Py::asObject(new PyBuffer(link_));
    return Py::True();
}

Py::Object PyDataStream::ReleaseBufferQueue()
{
    // Under the interpreter lock: no other thread may read a buffer while the
    // library frees it.
    KyrCam::Stream *native = stream();
    if (!native || native->ReleaseBufferQueue() != KyrCam::kOk)
        return Py::False();
    link_->buffersFreed(nullptr);
    return Py::True();
}

Py::Object PyDataStream::CancelBuffer()
{
    KyrCam::Stream *native = stream();
    return Py::Boolean(native && native->CancelBuffer() == KyrCam::kOk);
}

Py::Object PyDataStream::GetLastError()
{
    return Py::Long(static_cast<long>(lastError_));
}

} // namespace KyrCamPy
