#include "pattern.h"

#include <cstddef>
#include <cstdint>

namespace SimCamera {

namespace {

void fillMono8(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame)
{
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t *line = data + size_t(y) * width;
        if (size_t(y + 1) * width > size)
            return;
        for (uint32_t x = 0; x < width; ++x)
            line[x] = uint8_t(x + y + frame);
    }
}

void fillMono16(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame, uint32_t bits)
{
    const uint32_t mask = (1u << bits) - 1;
    for (uint32_t y = 0; y < height; ++y) {
        if (size_t(y + 1) * width * 2 > size)
            return;
        uint8_t *line = data + size_t(y) * width * 2;
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t value = uint32_t(x + y + frame) & mask;
            line[2 * x] = uint8_t(value);
            line[2 * x + 1] = uint8_t(value >> 8);
        }
    }
}

// GigE Vision "Packed": two pixels in three bytes, the high bits of each in its
// own byte and the low bits sharing the middle one. The frame is one run of
// pixel pairs, so with an odd width a line starts in the middle of a pair.
void fillPacked(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame, uint32_t bits)
{
    const uint32_t mask = (1u << bits) - 1;
    const uint32_t low = bits - 8;
    const uint64_t pixels = uint64_t(width) * height;
    const auto value = [&](uint64_t i) { return uint32_t(i % width + i / width + frame) & mask; };
    for (uint64_t i = 0; i < pixels; i += 2) {
        uint8_t *out = data + i / 2 * 3;
        const uint32_t p0 = value(i);
        const uint32_t p1 = i + 1 < pixels ? value(i + 1) : 0;
        if (size_t(out - data) + 2 > size)
            return;
        out[0] = uint8_t(p0 >> low);
        out[1] = uint8_t((p0 & ((1u << low) - 1)) | ((p1 & ((1u << low) - 1)) << 4));
        if (i + 1 < pixels && size_t(out - data) + 3 <= size)
            out[2] = uint8_t(p1 >> low);
    }
}

void fillRgb8(uint8_t *data, size_t size, uint32_t width, uint32_t height, uint64_t frame)
{
    for (uint32_t y = 0; y < height; ++y) {
        if (size_t(y + 1) * width * 3 > size)
            return;
        uint8_t *line = data + size_t(y) * width * 3;
        for (uint32_t x = 0; x < width; ++x) {
            line[3 * x] = uint8_t(x + frame);
            line[3 * x + 1] = uint8_t(y + frame);
            line[3 * x + 2] = uint8_t(x + y + frame);
        }
    }
}

} // namespace

void fillPattern(ArvBuffer *buffer, void *frameNumber, guint32, guint32, ArvPixelFormat format)
{
    // The fake camera hands over a buffer of its own, allocated for the
    // payload of the current geometry; its received size is set only after
    // filling, so the size comes from the geometry.
    auto *data = static_cast<uint8_t *>(const_cast<void *>(arv_buffer_get_data(buffer, nullptr)));
    const uint32_t width = uint32_t(arv_buffer_get_image_width(buffer));
    const uint32_t height = uint32_t(arv_buffer_get_image_height(buffer));
    const size_t size = size_t(width) * height * ARV_PIXEL_FORMAT_BIT_PER_PIXEL(format) / 8;
    const uint64_t frame = *static_cast<const uint64_t *>(frameNumber);
    if (!data)
        return;
    switch (format) {
    case ARV_PIXEL_FORMAT_MONO_10:
    case ARV_PIXEL_FORMAT_BAYER_GR_10:
    case ARV_PIXEL_FORMAT_BAYER_RG_10:
    case ARV_PIXEL_FORMAT_BAYER_GB_10:
    case ARV_PIXEL_FORMAT_BAYER_BG_10:
        fillMono16(data, size, width, height, frame, 10);
        break;
    case ARV_PIXEL_FORMAT_MONO_12:
    case ARV_PIXEL_FORMAT_BAYER_GR_12:
    case ARV_PIXEL_FORMAT_BAYER_RG_12:
    case ARV_PIXEL_FORMAT_BAYER_GB_12:
    case ARV_PIXEL_FORMAT_BAYER_BG_12:
        fillMono16(data, size, width, height, frame, 12);
        break;
    case ARV_PIXEL_FORMAT_MONO_16:
        fillMono16(data, size, width, height, frame, 16);
        break;
    case ARV_PIXEL_FORMAT_MONO_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GR_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_RG_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GB_10_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_BG_10_PACKED:
        fillPacked(data, size, width, height, frame, 10);
        break;
    case ARV_PIXEL_FORMAT_MONO_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GR_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_RG_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_GB_12_PACKED:
    case ARV_PIXEL_FORMAT_BAYER_BG_12_PACKED:
        fillPacked(data, size, width, height, frame, 12);
        break;
    case ARV_PIXEL_FORMAT_RGB_8_PACKED:
        fillRgb8(data, size, width, height, frame);
        break;
    default:
        fillMono8(data, size, width, height, frame);
        break;
    }
}

} // namespace SimCamera
