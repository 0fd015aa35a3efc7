#include "pixel_format_private.h"

#include <image/KyrPixelType.h>

namespace KyrImageLib {

namespace {

// The table's codes in row order; a code is known when its row holds it.
constexpr uint32_t kCodes[kKyrPixelTypeCount] = {
    kKyrPixelMono8, kKyrPixelMono10, kKyrPixelMono10p, kKyrPixelMono10Packed, kKyrPixelMono10_FLExPacked,
    kKyrPixelMono12, kKyrPixelMono12p, kKyrPixelMono12Packed, kKyrPixelMono12_FLExPacked, kKyrPixelMono14,
    kKyrPixelMono16, kKyrPixelMono8_FLExPacked, kKyrPixelBayerGR8, kKyrPixelBayerRG8, kKyrPixelBayerGB8,
    kKyrPixelBayerBG8, kKyrPixelBayerGR10, kKyrPixelBayerRG10, kKyrPixelBayerGB10, kKyrPixelBayerBG10,
    kKyrPixelBayerGR12, kKyrPixelBayerRG12, kKyrPixelBayerGB12, kKyrPixelBayerBG12, kKyrPixelBayerGR10p,
    kKyrPixelBayerGR10Packed, kKyrPixelBayerRG10p, kKyrPixelBayerRG10Packed, kKyrPixelBayerGB10p,
    kKyrPixelBayerGB10Packed, kKyrPixelBayerBG10p, kKyrPixelBayerBG10Packed, kKyrPixelBayerGR12p,
    kKyrPixelBayerGR12Packed, kKyrPixelBayerRG12p, kKyrPixelBayerRG12Packed, kKyrPixelBayerGB12p,
    kKyrPixelBayerGB12Packed, kKyrPixelBayerBG12p, kKyrPixelBayerBG12Packed, kKyrPixelBayerGR14,
    kKyrPixelBayerRG14, kKyrPixelBayerGB14, kKyrPixelBayerBG14, kKyrPixelBayerGR16, kKyrPixelBayerRG16,
    kKyrPixelBayerGB16, kKyrPixelBayerBG16,
    kKyrPixelTrueSense_BGGR_WBBW_0_8, kKyrPixelTrueSense_BGGR_WBBW_1_8, kKyrPixelTrueSense_BGGR_WBBW_2_8,
    kKyrPixelTrueSense_BGGR_WBBW_3_8, kKyrPixelTrueSense_GBRG_WGGW_0_8, kKyrPixelTrueSense_GBRG_WGGW_1_8,
    kKyrPixelTrueSense_GBRG_WGGW_2_8, kKyrPixelTrueSense_GBRG_WGGW_3_8, kKyrPixelTrueSense_GRBG_WGGW_0_8,
    kKyrPixelTrueSense_GRBG_WGGW_1_8, kKyrPixelTrueSense_GRBG_WGGW_2_8, kKyrPixelTrueSense_GRBG_WGGW_3_8,
    kKyrPixelTrueSense_RGGB_WRRW_0_8, kKyrPixelTrueSense_RGGB_WRRW_1_8, kKyrPixelTrueSense_RGGB_WRRW_2_8,
    kKyrPixelTrueSense_RGGB_WRRW_3_8, kKyrPixelTrueSense_BGGR_WBBW_0_10, kKyrPixelTrueSense_BGGR_WBBW_1_10,
    kKyrPixelTrueSense_BGGR_WBBW_2_10, kKyrPixelTrueSense_BGGR_WBBW_3_10, kKyrPixelTrueSense_GBRG_WGGW_0_10,
    kKyrPixelTrueSense_GBRG_WGGW_1_10, kKyrPixelTrueSense_GBRG_WGGW_2_10, kKyrPixelTrueSense_GBRG_WGGW_3_10,
    kKyrPixelTrueSense_GRBG_WGGW_0_10, kKyrPixelTrueSense_GRBG_WGGW_1_10, kKyrPixelTrueSense_GRBG_WGGW_2_10,
    kKyrPixelTrueSense_GRBG_WGGW_3_10, kKyrPixelTrueSense_RGGB_WRRW_0_10, kKyrPixelTrueSense_RGGB_WRRW_1_10,
    kKyrPixelTrueSense_RGGB_WRRW_2_10, kKyrPixelTrueSense_RGGB_WRRW_3_10, kKyrPixelTrueSense_BGGR_WBBW_0_12,
    kKyrPixelTrueSense_BGGR_WBBW_1_12, kKyrPixelTrueSense_BGGR_WBBW_2_12, kKyrPixelTrueSense_BGGR_WBBW_3_12,
    kKyrPixelTrueSense_GBRG_WGGW_0_12, kKyrPixelTrueSense_GBRG_WGGW_1_12, kKyrPixelTrueSense_GBRG_WGGW_2_12,
    kKyrPixelTrueSense_GBRG_WGGW_3_12, kKyrPixelTrueSense_GRBG_WGGW_0_12, kKyrPixelTrueSense_GRBG_WGGW_1_12,
    kKyrPixelTrueSense_GRBG_WGGW_2_12, kKyrPixelTrueSense_GRBG_WGGW_3_12, kKyrPixelTrueSense_RGGB_WRRW_0_12,
    kKyrPixelTrueSense_RGGB_WRRW_1_12, kKyrPixelTrueSense_RGGB_WRRW_2_12, kKyrPixelTrueSense_RGGB_WRRW_3_12,
    kKyrPixelTrueSense_BGGR_WBBW_0_14, kKyrPixelTrueSense_BGGR_WBBW_1_14, kKyrPixelTrueSense_BGGR_WBBW_2_14,
    kKyrPixelTrueSense_BGGR_WBBW_3_14, kKyrPixelTrueSense_GBRG_WGGW_0_14, kKyrPixelTrueSense_GBRG_WGGW_1_14,
    kKyrPixelTrueSense_GBRG_WGGW_2_14, kKyrPixelTrueSense_GBRG_WGGW_3_14, kKyrPixelTrueSense_GRBG_WGGW_0_14,
    kKyrPixelTrueSense_GRBG_WGGW_1_14, kKyrPixelTrueSense_GRBG_WGGW_2_14, kKyrPixelTrueSense_GRBG_WGGW_3_14,
    kKyrPixelTrueSense_RGGB_WRRW_0_14, kKyrPixelTrueSense_RGGB_WRRW_1_14, kKyrPixelTrueSense_RGGB_WRRW_2_14,
    kKyrPixelTrueSense_RGGB_WRRW_3_14,
    kKyrPixelRGB8, kKyrPixelBGR8, kKyrPixelRGBa8, kKyrPixelBGRa8, kKyrPixelRGB10, kKyrPixelBGR10,
    kKyrPixelRGB12, kKyrPixelBGR12, kKyrPixelRGB14, kKyrPixelBGR14, kKyrPixelRGB16, kKyrPixelBGR16,
    kKyrPixelRGB_8_FLEX_Packed, kKyrPixelRGB_10_FLEX_Packed, kKyrPixelRGB_12_FLEX_Packed,
    kKyrPixelYUV422_8_UYVY, kKyrPixelYUV422_8, kKyrPixelYUV422_10, kKyrPixelYUV422_10_PACKED,
    kKyrPixelYUV444_8, kKyrPixelYCbCr422_8,
};

} // namespace

bool isKnownPixelType(uint32_t code) noexcept
{
    const uint32_t row = KyrPixelRowOf(code);
    return row >= 1 && row <= kKyrPixelTypeCount && kCodes[row - 1] == code;
}

PixelLayout pixelLayout(uint32_t code) noexcept
{
    return { KyrPixelBitDepthOf(code), KyrPixelComponentsOf(code), KyrPixelBitsOf(code) };
}

uint64_t lineBytes(uint32_t code, uint32_t width) noexcept
{
    return (uint64_t(width) * KyrPixelBitsOf(code) + 7) / 8;
}

void describe(KyrImage &image, uint32_t code, uint32_t width, uint32_t height) noexcept
{
    const PixelLayout layout = pixelLayout(code);
    image.pixelType = code;
    image.width = width;
    image.height = height;
    image.bitDepth = layout.bitDepth;
    image.components = layout.components;
    image.packing = (code >> 8) & 0xFF;
    image.bitsPerPixel = layout.bitsPerPixel;
}

uint64_t strideOf(const KyrImage &image) noexcept
{
    return image.stride ? image.stride : lineBytes(image.pixelType, image.width);
}

bool holdsLines(const KyrImage &image, uint64_t bytes, uint32_t height) noexcept
{
    if (height == 0)
        return true;
    const uint64_t stride = image.stride ? image.stride : bytes;
    return image.data && stride >= bytes && image.size >= stride * (height - 1) + bytes;
}

} // namespace KyrImageLib
