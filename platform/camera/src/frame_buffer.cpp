#include "frame_buffer_private.h"

#include <cstdlib>

#include <image/KyrPixelType.h>

#include "pixel_format_private.h"

namespace KyrCam {

namespace {

constexpr size_t kBufferAlignment = 64;

} // namespace

void FrameBuffer::Free::operator()(uint8_t *memory) const noexcept { std::free(memory); }

bool FrameBuffer::allocate(int64_t size, void *userData) noexcept
{
    void *memory = nullptr;
    if (size < 1 || posix_memalign(&memory, kBufferAlignment, size_t(size)) != 0)
        return false;
    memory_.reset(static_cast<uint8_t *>(memory));
    size_ = size_t(size);
    userData_ = userData;
    return true;
}

void FrameBuffer::startFrame() noexcept
{
    hasFrame_ = true;
    incomplete_ = false;
    imageOffset_ = validSize_ = frameId_ = timestamp_ = 0;
    xOffset_ = yOffset_ = xPadding_ = yPadding_ = 0;
    image_ = KyrImage{};
}

void FrameBuffer::finishImage() noexcept
{
    const uint32_t pixelType = image_.pixelType;
    if (pixelType == 0 || image_.width == 0 || image_.height == 0)
        return;
    image_.bitsPerPixel = KyrPixelBitsOf(pixelType);
    image_.bitDepth = KyrPixelBitDepthOf(pixelType);
    image_.components = KyrPixelComponentsOf(pixelType);
    image_.packing = (pixelType >> 8) & 0xFF;
    image_.stride = uint32_t(lineBytes(pixelType, image_.width) + uint32_t(xPadding_ > 0 ? xPadding_ : 0));
    image_.size = validSize_;
    image_.data = memory_.get() + imageOffset_;
}

} // namespace KyrCam
