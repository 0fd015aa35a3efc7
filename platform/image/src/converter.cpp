// libKyrImageConverter: monochrome and RGB-family images to Mono8, RGB8 or BGR8.
#include <image/KyrImageConverter.h>

#include <cstring>
#include <memory>
#include <new>

#include <image/KyrPixelType.h>

#include "kernels_private.h"
#include "pixel_format_private.h"

using namespace KyrImageLib;

struct KyrImageConverter {
};

namespace {

enum class Kind { Unsupported, Mono8, Mono16, Rgb, Bgr, Rgba, Bgra };

Kind kindOf(uint32_t code) noexcept
{
    switch (code) {
    case kKyrPixelMono8: return Kind::Mono8;
    case kKyrPixelMono10:
    case kKyrPixelMono12:
    case kKyrPixelMono14:
    case kKyrPixelMono16: return Kind::Mono16;
    case kKyrPixelRGB8: return Kind::Rgb;
    case kKyrPixelBGR8: return Kind::Bgr;
    case kKyrPixelRGBa8: return Kind::Rgba;
    case kKyrPixelBGRa8: return Kind::Bgra;
    default: return Kind::Unsupported;
    }
}

// One line of a colour source (3 or 4 bytes a pixel, red at `red`, blue at
// `blue`) to the target's kind.
void colourLine(const uint8_t *in, uint8_t *out, uint32_t width, uint32_t step, uint32_t red, uint32_t blue,
                Kind target) noexcept
{
    for (uint32_t x = 0; x < width; ++x, in += step) {
        const uint32_t r = in[red], g = in[1], b = in[blue];
        if (target == Kind::Mono8) {
            // ITU-R BT.601 luma in 8-bit fixed point.
            *out++ = uint8_t((77 * r + 150 * g + 29 * b + 128) >> 8);
        } else if (target == Kind::Rgb) {
            *out++ = uint8_t(r); *out++ = uint8_t(g); *out++ = uint8_t(b);
        } else {
            *out++ = uint8_t(b); *out++ = uint8_t(g); *out++ = uint8_t(r);
        }
    }
}

// Grey samples repeated into the three components of a colour line.
void spreadLine(const uint8_t *in, uint8_t *out, uint32_t width) noexcept
{
    for (uint32_t x = 0; x < width; ++x, out += 3)
        out[0] = out[1] = out[2] = in[x];
}

void spreadLine(const uint16_t *in, uint8_t *out, uint32_t width, uint32_t bits) noexcept
{
    const uint32_t shift = bits > 8 ? bits - 8 : 0;
    for (uint32_t x = 0; x < width; ++x, out += 3) {
        const uint32_t value = uint32_t(in[x]) >> shift;
        out[0] = out[1] = out[2] = uint8_t(value > 255 ? 255 : value);
    }
}

} // namespace

KyrImageConverter *KyrImageConverter_CreateComponent() noexcept
{
    try {
        return std::make_unique<KyrImageConverter>().release();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void KyrImageConverter_DeleteComponent(KyrImageConverter *converter) noexcept
{
    std::unique_ptr<KyrImageConverter> owned(converter);
}

KyrImageStatus KyrImageConverter_ConvertImage(KyrImageConverter *converter, const KyrImage *source,
                                              KyrImage *target) noexcept
{
    if (!converter || !source || !target)
        return kKyrImageErrInvalidArgument;
    const Kind from = kindOf(source->pixelType);
    const Kind to = kindOf(target->pixelType);
    if (from == Kind::Unsupported || (to != Kind::Mono8 && to != Kind::Rgb && to != Kind::Bgr))
        return kKyrImageErrUnsupportedPixelType;
    const uint32_t width = source->width;
    const uint32_t height = source->height;
    if (target->width != width || target->height != height)
        return kKyrImageErrSizeMismatch;
    const uint64_t inLine = lineBytes(source->pixelType, width);
    const uint64_t outLine = lineBytes(target->pixelType, width);
    if (!holdsLines(*source, inLine, height) || !holdsLines(*target, outLine, height))
        return kKyrImageErrSizeMismatch;
    const uint64_t inStride = strideOf(*source);
    const uint64_t outStride = target->stride ? target->stride : outLine;
    const uint32_t bits = source->bitDepth ? source->bitDepth : pixelLayout(source->pixelType).bitDepth;
    const uint8_t *in = source->data;
    uint8_t *out = target->data;

    const uint32_t slices = sliceCount(height, (inLine + outLine) * height);
    forEachSlice(height, slices, [&](uint32_t, uint32_t first, uint32_t end) {
        for (uint32_t y = first; y < end; ++y) {
            const uint8_t *line = in + y * inStride;
            uint8_t *result = out + y * outStride;
            switch (from) {
            case Kind::Mono8:
                if (to == Kind::Mono8)
                    std::memcpy(result, line, width);
                else
                    spreadLine(line, result, width);
                break;
            case Kind::Mono16:
                if (to == Kind::Mono8)
                    reduceLine(reinterpret_cast<const uint16_t *>(line), result, width, bits);
                else
                    spreadLine(reinterpret_cast<const uint16_t *>(line), result, width, bits);
                break;
            case Kind::Rgb: colourLine(line, result, width, 3, 0, 2, to); break;
            case Kind::Bgr: colourLine(line, result, width, 3, 2, 0, to); break;
            case Kind::Rgba: colourLine(line, result, width, 4, 0, 2, to); break;
            case Kind::Bgra: colourLine(line, result, width, 4, 2, 0, to); break;
            case Kind::Unsupported: break;
            }
        }
    });
    return kKyrImageOk;
}
