// What the buffers of our streams share: memory of their own, aligned for
// any pixel access, the queue the buffer is in, and the description of the
// last frame put in, which the Buffer getters answer. Each stream fills the
// description its own way. Owner thread only.
#pragma once

#include <cstdint>
#include <memory>

#include <camera/KyrCamApi.h>
#include <image/KyrImage.h>

namespace KyrCam {

class FrameBuffer : public Buffer
{
public:
    enum class State {
        Announced,  // known to the stream, in no queue (new, delivered or flushed)
        Input,      // waiting in the engine's input queue
        Output,     // filled, waiting in the stream's output queue
    };
    State state = State::Announced;

    uint8_t *memory() noexcept { return memory_.get(); }
    size_t size() const noexcept { return size_; }

    KyrImage *GetImage() noexcept override { return hasFrame_ && image_.data ? &image_ : nullptr; }
    uint8_t *GetBufferPtr() noexcept override { return memory_.get(); }
    uint64_t GetImageOffset() noexcept override { return imageOffset_; }
    uint64_t GetBufferSize() noexcept override { return validSize_; }
    uint64_t GetPixelFormat() noexcept override { return image_.pixelType; }
    uint64_t GetFrameID() noexcept override { return frameId_; }
    uint64_t GetTimestamp() noexcept override { return timestamp_; }
    bool IsIncomplete() noexcept override { return incomplete_; }
    uint32_t GetWidth() noexcept override { return image_.width; }
    uint32_t GetHeight() noexcept override { return image_.height; }
    int32_t GetXOffset() noexcept override { return xOffset_; }
    int32_t GetYOffset() noexcept override { return yOffset_; }
    int32_t GetXPadding() noexcept override { return xPadding_; }
    int32_t GetYPadding() noexcept override { return yPadding_; }

protected:
    FrameBuffer() = default;
    // False when `size` is below 1 or memory is short.
    bool allocate(int64_t size, void *userData) noexcept;
    // A new frame: every field back to 0.
    void startFrame() noexcept;
    // Makes image_ the frame's image from its pixel type, width, height,
    // padding, offset and valid size; no image for an unknown pixel type or
    // an empty geometry.
    void finishImage() noexcept;

    bool hasFrame_ = false;
    bool incomplete_ = false;
    uint64_t imageOffset_ = 0, validSize_ = 0, frameId_ = 0, timestamp_ = 0;
    int32_t xOffset_ = 0, yOffset_ = 0, xPadding_ = 0, yPadding_ = 0;
    KyrImage image_{};

private:
    struct Free {
        void operator()(uint8_t *memory) const noexcept;
    };
    std::unique_ptr<uint8_t, Free> memory_;
    size_t size_ = 0;
    void *userData_ = nullptr;
};

} // namespace KyrCam
