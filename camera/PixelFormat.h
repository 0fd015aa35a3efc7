// The pixel format table: one constant row per pixel type code of the camera
// and image libraries, with the component layout, component count, bit depth
// and the function that finds a component's position within a pixel.
#pragma once

#include <cstddef>
#include <cstdint>

#include <image/KyrPixelType.h>

namespace KyrCamPy {

// Position of a component letter within a pixel; -1 for a letter the layout
// does not hold.
using ComponentIndexFn = int32_t (*)(char16_t letter);

namespace detail {

// A bounded lookup: `letter - first` indexes `indices`; anything outside the
// table gives -1.
template <size_t N>
constexpr int32_t indexIn(char16_t letter, char16_t first, const int8_t (&indices)[N])
{
    if (letter < first || letter - first >= static_cast<int>(N))
        return -1;
    return indices[letter - first];
}

// Indices of the letters 'B' to 'R', 'A' to 'R' and 'U' to 'Y'.
constexpr int8_t kRgb[] = { 2, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0 };
constexpr int8_t kBgr[] = { 0, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 2 };
constexpr int8_t kRgba[] = { 3, 2, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0 };
constexpr int8_t kBgra[] = { 3, 0, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 2 };
constexpr int8_t kYuv[] = { 1, 2, -1, -1, 0 };
constexpr int8_t kMono[] = { 0 };

} // namespace detail

// Monochrome, Bayer and TrueSense pixels hold one sample: Y.
constexpr int32_t GetIndexMONO(char16_t letter) { return detail::indexIn(letter, u'Y', detail::kMono); }
constexpr int32_t GetIndexRGB(char16_t letter) { return detail::indexIn(letter, u'B', detail::kRgb); }
constexpr int32_t GetIndexBGR(char16_t letter) { return detail::indexIn(letter, u'B', detail::kBgr); }
constexpr int32_t GetIndexRGBA(char16_t letter) { return detail::indexIn(letter, u'A', detail::kRgba); }
constexpr int32_t GetIndexBGRA(char16_t letter) { return detail::indexIn(letter, u'A', detail::kBgra); }
constexpr int32_t GetIndexYUV(char16_t letter) { return detail::indexIn(letter, u'U', detail::kYuv); }

struct PixelFormat {
    const char *name;
    // Blank-separated component letters of one pixel, or of the colour-filter
    // tile row by row (G2 the second green, W an unfiltered site).
    const char *layout;
    uint32_t components;  // components stored per pixel
    uint32_t bitDepth;    // bits per component
    ComponentIndexFn componentIndex;
    uint32_t phase;       // TrueSense tile phase 0 to 3; 0 for the others
    uint32_t code;        // the KyrPixelType code
};

// The row of a pixel type code, found by its low byte (the 1-based row
// number) without comparing the rest of the code; null when the low byte is
// no row number.
const PixelFormat *pixelFormatOf(uint32_t code);

} // namespace KyrCamPy
