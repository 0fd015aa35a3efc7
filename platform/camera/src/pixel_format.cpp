#include "pixel_format_private.h"

#include <iterator>

#include <image/KyrImage.h>
#include <image/KyrPixelType.h>

namespace KyrCam {

namespace {

struct FormatPair {
    uint32_t pfnc;
    uint32_t pixelType;
};

// PFNC codes (as GigE Vision and USB3 Vision devices send them) of the formats
// that have a row in the pixel format table.
constexpr FormatPair kFormats[] = {
    { 0x01080001, kKyrPixelMono8 },
    { 0x01100003, kKyrPixelMono10 },
    { 0x010A0046, kKyrPixelMono10p },
    { 0x010C0004, kKyrPixelMono10Packed },
    { 0x01100005, kKyrPixelMono12 },
    { 0x010C0047, kKyrPixelMono12p },
    { 0x010C0006, kKyrPixelMono12Packed },
    { 0x01100025, kKyrPixelMono14 },
    { 0x01100007, kKyrPixelMono16 },
    { 0x01080008, kKyrPixelBayerGR8 },
    { 0x01080009, kKyrPixelBayerRG8 },
    { 0x0108000A, kKyrPixelBayerGB8 },
    { 0x0108000B, kKyrPixelBayerBG8 },
    { 0x0110000C, kKyrPixelBayerGR10 },
    { 0x0110000D, kKyrPixelBayerRG10 },
    { 0x0110000E, kKyrPixelBayerGB10 },
    { 0x0110000F, kKyrPixelBayerBG10 },
    { 0x01100010, kKyrPixelBayerGR12 },
    { 0x01100011, kKyrPixelBayerRG12 },
    { 0x01100012, kKyrPixelBayerGB12 },
    { 0x01100013, kKyrPixelBayerBG12 },
    { 0x010A0056, kKyrPixelBayerGR10p },
    { 0x010C0026, kKyrPixelBayerGR10Packed },
    { 0x010A0058, kKyrPixelBayerRG10p },
    { 0x010C0027, kKyrPixelBayerRG10Packed },
    { 0x010A0054, kKyrPixelBayerGB10p },
    { 0x010C0028, kKyrPixelBayerGB10Packed },
    { 0x010A0052, kKyrPixelBayerBG10p },
    { 0x010C0029, kKyrPixelBayerBG10Packed },
    { 0x010C0057, kKyrPixelBayerGR12p },
    { 0x010C002A, kKyrPixelBayerGR12Packed },
    { 0x010C0059, kKyrPixelBayerRG12p },
    { 0x010C002B, kKyrPixelBayerRG12Packed },
    { 0x010C0055, kKyrPixelBayerGB12p },
    { 0x010C002C, kKyrPixelBayerGB12Packed },
    { 0x010C0053, kKyrPixelBayerBG12p },
    { 0x010C002D, kKyrPixelBayerBG12Packed },
    { 0x01100109, kKyrPixelBayerGR14 },
    { 0x0110010A, kKyrPixelBayerRG14 },
    { 0x0110010B, kKyrPixelBayerGB14 },
    { 0x0110010C, kKyrPixelBayerBG14 },
    { 0x0110002E, kKyrPixelBayerGR16 },
    { 0x0110002F, kKyrPixelBayerRG16 },
    { 0x01100030, kKyrPixelBayerGB16 },
    { 0x01100031, kKyrPixelBayerBG16 },
    { 0x02180014, kKyrPixelRGB8 },
    { 0x02180015, kKyrPixelBGR8 },
    { 0x02200016, kKyrPixelRGBa8 },
    { 0x02200017, kKyrPixelBGRa8 },
    { 0x02300018, kKyrPixelRGB10 },
    { 0x02300019, kKyrPixelBGR10 },
    { 0x0230001A, kKyrPixelRGB12 },
    { 0x0230001B, kKyrPixelBGR12 },
    { 0x0230005E, kKyrPixelRGB14 },
    { 0x0230004A, kKyrPixelBGR14 },
    { 0x02300033, kKyrPixelRGB16 },
    { 0x0230004B, kKyrPixelBGR16 },
    { 0x0210001F, kKyrPixelYUV422_8_UYVY },
    { 0x02100032, kKyrPixelYUV422_8 },
    { 0x02180020, kKyrPixelYUV444_8 },
    { 0x0210003B, kKyrPixelYCbCr422_8 },
};

} // namespace

uint32_t pixelTypeFromPfnc(uint32_t pfnc) noexcept
{
    for (const FormatPair &pair : kFormats) {
        if (pair.pfnc == pfnc)
            return pair.pixelType;
    }
    return 0;
}

uint64_t lineBytes(uint32_t pixelType, uint32_t width) noexcept
{
    return (uint64_t(width) * KyrPixelBitsOf(pixelType) + 7) / 8;
}

} // namespace KyrCam
