// What the image libraries know of a pixel type code: whether it is in the
// pixel format table, and the geometry of its pixels in memory.
#pragma once

#include <cstdint>

#include <image/KyrImage.h>

namespace KyrImageLib {

struct PixelLayout {
    uint32_t bitDepth;      // bits per component
    uint32_t components;    // components per pixel
    uint32_t bitsPerPixel;  // bits one pixel occupies in memory
};

// True for the 133 codes of the pixel format table and nothing else.
bool isKnownPixelType(uint32_t code) noexcept;

// The layout of a known code.
PixelLayout pixelLayout(uint32_t code) noexcept;

// Bytes of one line of `width` pixels: packed lines end on a byte boundary.
uint64_t lineBytes(uint32_t code, uint32_t width) noexcept;

// Fills the description fields of `image` (not data, stride or size) for a
// known code and geometry.
void describe(KyrImage &image, uint32_t code, uint32_t width, uint32_t height) noexcept;

// The distance between lines of `image`: its stride, or the packed line size
// when the stride is 0.
uint64_t strideOf(const KyrImage &image) noexcept;

// True when `image` has memory for `height` lines of `lineBytes` bytes at its stride.
bool holdsLines(const KyrImage &image, uint64_t lineBytes, uint32_t height) noexcept;

} // namespace KyrImageLib
