#include "stream_private.h"

#include <cstring>

#include "pixel_format_private.h"

namespace KyrCam {

std::unique_ptr<AravisBuffer> AravisBuffer::create(int64_t size, void *userData)
{
    std::unique_ptr<AravisBuffer> buffer(new AravisBuffer);
    if (!buffer->allocate(size, userData))
        return nullptr;
    // Never stale bytes in a first frame's gaps either.
    buffer->clear();
    buffer->arv_.reset(arv_buffer_new_full(size_t(size), buffer->memory(), buffer.get(), nullptr));
    if (!buffer->arv_)
        return nullptr;
    return buffer;
}

void AravisBuffer::clear() noexcept { std::memset(memory(), 0, size()); }

void AravisBuffer::takeFrame(uint64_t frameId, const FrameFormat &acquiring) noexcept
{
    ArvBuffer *frame = arv_.get();
    startFrame();
    frameId_ = frameId;
    timestamp_ = arv_buffer_get_timestamp(frame);
    incomplete_ = arv_buffer_get_status(frame) != ARV_BUFFER_STATUS_SUCCESS;
    size_t received = 0;
    const void *base = arv_buffer_get_data(frame, &received);
    validSize_ = received;
    if (incomplete_) {
        // Aravis keeps an incomplete frame's description only partly (a lost
        // leader leaves the previous frame's in place), so the frame is
        // described as the camera was set to send it: the whole image, with
        // what never came left as the buffer held it.
        xOffset_ = acquiring.xOffset;
        yOffset_ = acquiring.yOffset;
        describe(pixelTypeFromPfnc(acquiring.pfnc), acquiring.width, acquiring.height, 0);
        return;
    }
    const ArvBufferPayloadType payload = arv_buffer_get_payload_type(frame);
    if (payload != ARV_BUFFER_PAYLOAD_TYPE_IMAGE && payload != ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA)
        return;
    gint xPadding = 0, yPadding = 0;
    size_t imageSize = 0;
    const void *image = frameImage(frame, &imageSize, &xPadding, &yPadding);
    if (!image)
        return;
    gint x = 0, y = 0, width = 0, height = 0;
    arv_buffer_get_image_region(frame, &x, &y, &width, &height);
    if (base) {
        imageOffset_ = uint64_t(static_cast<const uint8_t *>(image) - static_cast<const uint8_t *>(base));
        validSize_ = received > imageOffset_ ? received - imageOffset_ : 0;
    }
    xOffset_ = x;
    yOffset_ = y;
    yPadding_ = yPadding;
    describe(pixelTypeFromPfnc(arv_buffer_get_image_pixel_format(frame)), uint32_t(width > 0 ? width : 0),
             uint32_t(height > 0 ? height : 0), xPadding > 0 ? xPadding : 0);
}

void AravisBuffer::describe(uint32_t pixelType, uint32_t width, uint32_t height, int32_t xPadding) noexcept
{
    xPadding_ = xPadding;
    image_.pixelType = pixelType;
    image_.width = width;
    image_.height = height;
    if (incomplete_) {
        // The whole image is handed over, as far as the buffer holds it.
        const uint64_t whole = (lineBytes(pixelType, width) + uint64_t(xPadding)) * height;
        validSize_ = whole < size() ? whole : size();
    }
    finishImage();
}

} // namespace KyrCam
