#include "scripted_stream.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <sstream>
#include <stdexcept>

#include "script.h"

namespace Scripted {

namespace {

constexpr uint8_t kFiller = 0xEE;
constexpr uint64_t kForever = ~uint64_t{ 0 };
// Longer waits than this are waits without limit (a year, in milliseconds).
constexpr uint64_t kLongestWait = 365ull * 24 * 3600 * 1000;
// What one stream allocates at the most, so that no test or fuzzer can take
// the machine's memory.
constexpr int64_t kMaxBufferSize = 64 << 20;
constexpr int64_t kMaxBuffers = 1024;

bool parseUnsigned(const std::string &text, uint64_t &value)
{
    char *end = nullptr;
    value = std::strtoull(text.c_str(), &end, 0);
    return !text.empty() && *end == '\0';
}

int nibbleOf(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

bool parseHex(const std::string &text, std::vector<uint8_t> &bytes)
{
    if (text.size() % 2 != 0)
        return false;
    bytes.resize(text.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        const int high = nibbleOf(text[2 * i]);
        const int low = nibbleOf(text[2 * i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

} // namespace

bool parseFrame(const std::string &text, Frame &frame)
{
    using Setter = void (*)(Frame &, uint64_t);
    static const std::map<std::string, Setter> kNumbers = {
        { "width", [](Frame &f, uint64_t v) { f.width = static_cast<uint32_t>(v); } },
        { "height", [](Frame &f, uint64_t v) { f.height = static_cast<uint32_t>(v); } },
        { "pixel", [](Frame &f, uint64_t v) { f.pixelType = v; } },
        { "offset", [](Frame &f, uint64_t v) { f.offset = v; } },
        { "size", [](Frame &f, uint64_t v) { f.size = v; } },
        { "id", [](Frame &f, uint64_t v) { f.frameId = v; } },
        { "timestamp", [](Frame &f, uint64_t v) { f.timestamp = v; } },
        { "incomplete", [](Frame &f, uint64_t v) { f.incomplete = v != 0; } },
        { "xoffset", [](Frame &f, uint64_t v) { f.xOffset = static_cast<int32_t>(v); } },
        { "yoffset", [](Frame &f, uint64_t v) { f.yOffset = static_cast<int32_t>(v); } },
        { "xpadding", [](Frame &f, uint64_t v) { f.xPadding = static_cast<int32_t>(v); } },
        { "ypadding", [](Frame &f, uint64_t v) { f.yPadding = static_cast<int32_t>(v); } },
    };
    frame = Frame{};
    bool sized = false;
    std::istringstream fields(text);
    std::string field;
    while (fields >> field) {
        const size_t equals = field.find('=');
        const std::string key = field.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : field.substr(equals + 1);
        const auto number = kNumbers.find(key);
        uint64_t parsed = 0;
        bool ok = false;
        if (key == "data") {
            ok = parseHex(value, frame.data);
        } else if (number != kNumbers.end() && parseUnsigned(value, parsed)) {
            number->second(frame, parsed);
            sized = sized || key == "size";
            ok = true;
        }
        if (!ok) {
            std::fprintf(stderr, "scripted: bad frame field '%s'\n", field.c_str());
            return false;
        }
    }
    if (!sized)
        frame.size = frame.data.size();
    return true;
}

ScriptedBuffer::ScriptedBuffer(int index, int64_t size)
    : index_(index)
    , memory_(static_cast<size_t>(std::max<int64_t>(size, 0)))
{
}

bool ScriptedBuffer::deliver(const Frame &frame)
{
    const uint64_t payload = std::max<uint64_t>(frame.size, frame.data.size());
    if (frame.offset > uint64_t(kMaxBufferSize) || payload > uint64_t(kMaxBufferSize) - frame.offset)
        return false;
    try {
        memory_.assign(frame.offset + payload, 0);
    } catch (const std::exception &) {
        return false;
    }
    frame_ = frame;
    std::fill_n(memory_.begin(), frame.offset, kFiller);
    std::copy(frame.data.begin(), frame.data.end(), memory_.begin() + frame.offset);
    const auto code = static_cast<uint32_t>(frame.pixelType);
    image_ = KyrImage{};
    image_.pixelType = code;
    image_.width = frame.width;
    image_.height = frame.height;
    image_.bitDepth = KyrPixelBitDepthOf(code);
    image_.components = KyrPixelComponentsOf(code);
    image_.packing = (code >> 8) & 0xFF;
    image_.bitsPerPixel = KyrPixelBitsOf(code);
    image_.stride = static_cast<uint32_t>((uint64_t{ frame.width } * image_.bitsPerPixel + 7) / 8);
    image_.size = frame.size;
    image_.data = memory_.data() + frame.offset;
    delivered_ = true;
    return true;
}

void ScriptedBuffer::retire()
{
    retired_ = true;
    delivered_ = false;
    std::vector<uint8_t>().swap(memory_);
}

bool ScriptedBuffer::gone(const char *getter) const
{
    if (retired_)
        misuse("buffer" + std::to_string(index_) + "." + getter + "()");
    return retired_;
}

KyrImage *ScriptedBuffer::GetImage() noexcept
{
    if (gone("GetImage"))
        return nullptr;
    return delivered_ ? &image_ : nullptr;
}

uint8_t *ScriptedBuffer::GetBufferPtr() noexcept
{
    if (gone("GetBufferPtr"))
        return nullptr;
    return memory_.data();
}

uint64_t ScriptedBuffer::GetImageOffset() noexcept
{
    if (gone("GetImageOffset"))
        return 0;
    return frame_.offset;
}

uint64_t ScriptedBuffer::GetBufferSize() noexcept
{
    if (gone("GetBufferSize"))
        return 0;
    return frame_.size;
}

uint64_t ScriptedBuffer::GetPixelFormat() noexcept
{
    if (gone("GetPixelFormat"))
        return 0;
    return frame_.pixelType;
}

uint64_t ScriptedBuffer::GetFrameID() noexcept
{
    if (gone("GetFrameID"))
        return 0;
    return frame_.frameId;
}

uint64_t ScriptedBuffer::GetTimestamp() noexcept
{
    if (gone("GetTimestamp"))
        return 0;
    return frame_.timestamp;
}

bool ScriptedBuffer::IsIncomplete() noexcept
{
    if (gone("IsIncomplete"))
        return true;
    return frame_.incomplete;
}

uint32_t ScriptedBuffer::GetWidth() noexcept
{
    if (gone("GetWidth"))
        return 0;
    return frame_.width;
}

uint32_t ScriptedBuffer::GetHeight() noexcept
{
    if (gone("GetHeight"))
        return 0;
    return frame_.height;
}

int32_t ScriptedBuffer::GetXOffset() noexcept
{
    if (gone("GetXOffset"))
        return 0;
    return frame_.xOffset;
}

int32_t ScriptedBuffer::GetYOffset() noexcept
{
    if (gone("GetYOffset"))
        return 0;
    return frame_.yOffset;
}

int32_t ScriptedBuffer::GetXPadding() noexcept
{
    if (gone("GetXPadding"))
        return 0;
    return frame_.xPadding;
}

int32_t ScriptedBuffer::GetYPadding() noexcept
{
    if (gone("GetYPadding"))
        return 0;
    return frame_.yPadding;
}

ScriptedStream::ScriptedStream(std::string name)
    : name_(std::move(name))
{
    objectCreated();
}

void ScriptedStream::logCall(const std::string &call)
{
    record(call);
    if (closed_)
        misuse(call);
}

bool ScriptedStream::close()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (closed_)
        return false;
    closed_ = true;
    acquiring_ = false;
    if (waiters_ > 0)
        ++cancels_;
    cancelled_.notify_all();
    cancelled_.wait(lock, [this] { return waiters_ == 0; });
    retireBuffers();
    return true;
}

void ScriptedStream::retireBuffers()
{
    queue_.clear();
    for (auto &buffer : buffers_) {
        buffer->retire();
        retired_.push_back(std::move(buffer));
    }
    buffers_.clear();
}

KyrCamErr ScriptedStream::reply(const std::string &op, const std::string &call, KyrCamErr natural)
{
    logCall(name_ + "." + call);
    return static_cast<KyrCamErr>(answerInt({ name_ + "." + op }, natural));
}

ScriptedBuffer *ScriptedStream::find(KyrCam::Buffer *buffer) const
{
    for (const auto &announced : buffers_) {
        if (announced.get() == buffer)
            return announced.get();
    }
    return nullptr;
}

bool ScriptedStream::queued(const ScriptedBuffer *buffer) const
{
    return std::find(queue_.begin(), queue_.end(), buffer) != queue_.end();
}

ScriptedBuffer *ScriptedStream::announce(int64_t size)
{
    try {
        buffers_.push_back(std::make_unique<ScriptedBuffer>(nextIndex_++, size));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    return buffers_.back().get();
}

// Ends a GetBuffer still waiting on another thread, waits for it to leave,
// then retires the stream and its buffers.
void ScriptedStream::Release() noexcept
{
    logCall(name_ + ".Release()");
    if (close())
        objectReleased();
}

// Answers: the size; 4096 by default.
int64_t ScriptedStream::GetBufferSize() noexcept
{
    logCall(name_ + ".GetBufferSize()");
    return answerInt({ name_ + ".GetBufferSize" }, 4096);
}

// Answers: the alignment; 1 by default.
int64_t ScriptedStream::GetBufferAlignment() noexcept
{
    logCall(name_ + ".GetBufferAlignment()");
    return answerInt({ name_ + ".GetBufferAlignment" }, 1);
}

// Answers: the count; 2 by default.
int64_t ScriptedStream::GetMinNumBuffers() noexcept
{
    logCall(name_ + ".GetMinNumBuffers()");
    return answerInt({ name_ + ".GetMinNumBuffers" }, 2);
}

// Answers: the count; by default the buffers really queued.
int64_t ScriptedStream::GetBufferQueueSize() noexcept
{
    logCall(name_ + ".GetBufferQueueSize()");
    int64_t size = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        size = static_cast<int64_t>(queue_.size());
    }
    return answerInt({ name_ + ".GetBufferQueueSize" }, size);
}

// Answers (here and below): the code; by default what the contract gives the
// stream's state.
KyrCamErr ScriptedStream::StartAcquisition(uint64_t frameCount, const void *reserved) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    const KyrCamErr natural = reserved ? KyrCam::kErrInvalidParameter
                              : acquiring_ ? KyrCam::kErrResourceInUse
                                           : KyrCam::kOk;
    const std::string count = frameCount == kForever ? "all" : std::to_string(frameCount);
    const KyrCamErr code = reply("StartAcquisition", "StartAcquisition(" + count + ")", natural);
    acquiring_ = acquiring_ || code == KyrCam::kOk;
    return code;
}

KyrCamErr ScriptedStream::StopAcquisition(int32_t mode) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    const KyrCamErr natural = mode != KyrCam::kStopDefault && mode != KyrCam::kStopKill ? KyrCam::kErrInvalidParameter
                              : !acquiring_                                              ? KyrCam::kErrInvalidState
                                                                                         : KyrCam::kOk;
    const KyrCamErr code = reply("StopAcquisition", "StopAcquisition(" + std::to_string(mode) + ")", natural);
    acquiring_ = acquiring_ && code != KyrCam::kOk;
    return code;
}

KyrCamErr ScriptedStream::FlushBuffers(int32_t mode) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool known = mode >= KyrCam::kFlushOutputDiscard && mode <= KyrCam::kFlushAllDiscard;
    const KyrCamErr code = reply("FlushBuffers", "FlushBuffers(" + std::to_string(mode) + ")",
                                 known ? KyrCam::kOk : KyrCam::kErrInvalidParameter);
    if (code != KyrCam::kOk)
        return code;
    if (mode == KyrCam::kFlushAllToInput || mode == KyrCam::kFlushUnqueuedToInput) {
        for (const auto &buffer : buffers_) {
            if (!queued(buffer.get()))
                queue_.push_back(buffer.get());
        }
    } else if (mode == KyrCam::kFlushAllDiscard) {
        queue_.clear();
    }
    return code;
}

KyrCamErr ScriptedStream::AllocBufferQueue(void *userData, int64_t count) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    const KyrCamErr natural = count < 1 || count > kMaxBuffers ? KyrCam::kErrInvalidParameter
                              : !buffers_.empty()                ? KyrCam::kErrResourceInUse
                                                                 : KyrCam::kOk;
    const std::string call = std::string("AllocBufferQueue(") + (userData ? "data" : "null") + ", " +
                             std::to_string(count) + ")";
    const KyrCamErr code = reply("AllocBufferQueue", call, natural);
    if (code != KyrCam::kOk)
        return code;
    const int64_t size = answerInt({ name_ + ".GetBufferSize" }, 4096);
    if (size > kMaxBufferSize)
        return KyrCam::kErrOutOfMemory;
    for (int64_t i = 0; i < count; ++i) {
        ScriptedBuffer *buffer = announce(size);
        if (!buffer) {
            queue_.clear();
            buffers_.clear();
            return KyrCam::kErrOutOfMemory;
        }
        queue_.push_back(buffer);
    }
    return code;
}

KyrCamErr ScriptedStream::ReleaseBufferQueue() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    const KyrCamErr code = reply("ReleaseBufferQueue", "ReleaseBufferQueue()",
                                 acquiring_ ? KyrCam::kErrBusy : KyrCam::kOk);
    if (code == KyrCam::kOk)
        retireBuffers();
    return code;
}

KyrCamErr ScriptedStream::CancelBuffer() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        logCall(name_ + ".CancelBuffer()");
        if (waiters_ > 0)
            ++cancels_;
    }
    cancelled_.notify_all();
    return static_cast<KyrCamErr>(answerInt({ name_ + ".CancelBuffer" }, KyrCam::kOk));
}

KyrCamErr ScriptedStream::QueueBuffer(KyrCam::Buffer *buffer) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    ScriptedBuffer *own = find(buffer);
    const KyrCamErr natural = !own ? KyrCam::kErrInvalidBuffer
                              : queued(own) ? KyrCam::kErrResourceInUse
                                            : KyrCam::kOk;
    const std::string which = own ? "buffer" + std::to_string(own->index()) : "foreign";
    const KyrCamErr code = reply("QueueBuffer", "QueueBuffer(" + which + ")", natural);
    if (code == KyrCam::kOk && own && !queued(own))
        queue_.push_back(own);
    return code;
}

KyrCamErr ScriptedStream::RevokeBuffer(KyrCam::Buffer *buffer) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    ScriptedBuffer *own = find(buffer);
    const std::string which = own ? "buffer" + std::to_string(own->index()) : buffer ? "foreign" : "null";
    const KyrCamErr code = reply("RevokeBuffer", "RevokeBuffer(" + which + ")",
                                 own ? KyrCam::kOk : KyrCam::kErrInvalidBuffer);
    if (code == KyrCam::kOk && own) {
        queue_.erase(std::remove(queue_.begin(), queue_.end(), own), queue_.end());
        const auto found = std::find_if(buffers_.begin(), buffers_.end(),
                                        [own](const std::unique_ptr<ScriptedBuffer> &b) { return b.get() == own; });
        own->retire();
        retired_.push_back(std::move(*found));
        buffers_.erase(found);
    }
    return code;
}

KyrCamErr ScriptedStream::waitForCancel(uint64_t timeoutMs, const std::string &call)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const uint64_t seen = cancels_;
    ++waiters_;
    // Logged once the wait can be cancelled, so that a test that waits for
    // the call to enter may cancel it at once.
    logCall(call);
    if (closed_) {
        --waiters_;
        return KyrCam::kErrAbort;
    }
    const auto cancelled = [&] { return cancels_ != seen; };
    bool ended = true;
    if (timeoutMs >= kLongestWait)
        cancelled_.wait(lock, cancelled);
    else
        ended = cancelled_.wait_for(lock, std::chrono::milliseconds(timeoutMs), cancelled);
    --waiters_;
    cancelled_.notify_all();
    return ended ? KyrCam::kErrAbort : KyrCam::kErrTimeout;
}

// Answers: a frame line delivers that frame into the oldest queued buffer
// (with none queued the frame is lost, as a camera drops it: kErrTimeout);
// "null" gives null with "<stream>.GetBuffer.err" (kErrTimeout by default); no
// answer waits for CancelBuffer (kErrAbort) or the timeout (kErrTimeout).
KyrCam::Buffer *ScriptedStream::GetBuffer(uint64_t timeoutMs, KyrCamErr *err) noexcept
{
    const std::string timeout = timeoutMs == kForever ? "forever" : std::to_string(timeoutMs);
    const std::string call = "GetBuffer(" + timeout + ")";
    const std::string key = name_ + ".GetBuffer";
    std::optional<std::string> frameText = answer({ key });
    if (!frameText) {
        *err = waitForCancel(timeoutMs, name_ + "." + call);
        return nullptr;
    }
    logCall(name_ + "." + call);
    if (*frameText == "null") {
        *err = static_cast<KyrCamErr>(answerInt({ key + ".err" }, KyrCam::kErrTimeout));
        return nullptr;
    }
    Frame frame;
    if (!parseFrame(*frameText, frame)) {
        *err = KyrCam::kErrInvalidParameter;
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.empty()) {
        *err = KyrCam::kErrTimeout;
        return nullptr;
    }
    ScriptedBuffer *buffer = queue_.front();
    if (!buffer->deliver(frame)) {
        *err = KyrCam::kErrOutOfMemory;
        return nullptr;
    }
    queue_.pop_front();
    *err = KyrCam::kOk;
    return buffer;
}

// Answers: "<stream>.CreateBuffer" = "null" for no buffer, with
// "<stream>.CreateBuffer.err" (kErrOutOfMemory by default).
KyrCam::Buffer *ScriptedStream::CreateBuffer(int64_t size, void *userData, KyrCamErr *err) noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    logCall(name_ + ".CreateBuffer(" + std::to_string(size) + ", " + (userData ? "data" : "null") + ")");
    const std::string key = name_ + ".CreateBuffer";
    if (answerIsNull({ key })) {
        *err = static_cast<KyrCamErr>(answerInt({ key + ".err" }, KyrCam::kErrOutOfMemory));
        return nullptr;
    }
    if (size < 1) {
        *err = KyrCam::kErrInvalidParameter;
        return nullptr;
    }
    ScriptedBuffer *buffer = size <= kMaxBufferSize ? announce(size) : nullptr;
    *err = buffer ? KyrCam::kOk : KyrCam::kErrOutOfMemory;
    return buffer;
}

} // namespace Scripted
