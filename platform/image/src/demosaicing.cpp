// libKyrDemosaicing: bilinear demosaicing of Bayer images, with our own SIMD
// code where the CPU has SSSE3 and OpenCV's elsewhere.
#include <image/KyrBayer.h>

#include <exception>
#include <memory>
#include <new>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <image/KyrPixelType.h>

#include "bayer_bilinear_private.h"
#include "kernels_private.h"
#include "pixel_format_private.h"

using namespace KyrImageLib;

struct KyrBayer {
    // 8-bit copy of a deeper source, kept between calls to spare the allocation.
    std::vector<uint8_t> reduced;
};

namespace {

enum class Tile { None, GR, RG, GB, BG };

Tile tileOf(uint32_t code) noexcept
{
    switch (code) {
    case kKyrPixelBayerGR8: case kKyrPixelBayerGR10: case kKyrPixelBayerGR12: return Tile::GR;
    case kKyrPixelBayerRG8: case kKyrPixelBayerRG10: case kKyrPixelBayerRG12: return Tile::RG;
    case kKyrPixelBayerGB8: case kKyrPixelBayerGB10: case kKyrPixelBayerGB12: return Tile::GB;
    case kKyrPixelBayerBG8: case kKyrPixelBayerBG10: case kKyrPixelBayerBG12: return Tile::BG;
    default: return Tile::None;
    }
}

// OpenCV names a Bayer pattern by its second line's second and third pixels, so
// the tile whose top left is red ("RG") is OpenCV's "BG".
int cvCode(Tile tile, bool bgr) noexcept
{
    switch (tile) {
    case Tile::GR: return bgr ? cv::COLOR_BayerGB2BGR : cv::COLOR_BayerGB2RGB;
    case Tile::RG: return bgr ? cv::COLOR_BayerBG2BGR : cv::COLOR_BayerBG2RGB;
    case Tile::GB: return bgr ? cv::COLOR_BayerGR2BGR : cv::COLOR_BayerGR2RGB;
    default: return bgr ? cv::COLOR_BayerRG2BGR : cv::COLOR_BayerRG2RGB;
    }
}

BayerLayout layoutOf(Tile tile) noexcept
{
    return BayerLayout{ tile == Tile::RG || tile == Tile::GR, tile == Tile::GR || tile == Tile::GB };
}

} // namespace

KyrBayer *KyrBayer_CreateComponent() noexcept
{
    try {
        return std::make_unique<KyrBayer>().release();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void KyrBayer_DeleteComponent(KyrBayer *bayer) noexcept
{
    std::unique_ptr<KyrBayer> owned(bayer);
}

KyrImageStatus KyrBayer_ConvertImage(KyrBayer *bayer, const KyrImage *source, KyrImage *target) noexcept
{
    if (!bayer || !source || !target)
        return kKyrImageErrInvalidArgument;
    const Tile tile = tileOf(source->pixelType);
    if (tile == Tile::None || (target->pixelType != kKyrPixelRGB8 && target->pixelType != kKyrPixelBGR8))
        return kKyrImageErrUnsupportedPixelType;
    const uint32_t width = source->width;
    const uint32_t height = source->height;
    if (target->width != width || target->height != height || width < 2 || height < 2)
        return kKyrImageErrSizeMismatch;
    const uint64_t inLine = lineBytes(source->pixelType, width);
    const uint64_t outLine = lineBytes(target->pixelType, width);
    if (!holdsLines(*source, inLine, height) || !holdsLines(*target, outLine, height))
        return kKyrImageErrSizeMismatch;

    try {
        const uint64_t inStride = strideOf(*source);
        const uint8_t *raw = source->data;
        uint64_t rawStride = inStride;
        if (KyrPixelBitsOf(source->pixelType) != 8) {
            // Deeper samples are cut to 8 bits first: demosaicing 8-bit samples
            // is several times faster than 16-bit ones, and the result is 8-bit.
            bayer->reduced.resize(uint64_t(width) * height);
            uint8_t *reduced = bayer->reduced.data();
            const uint32_t bits = pixelLayout(source->pixelType).bitDepth;
            const uint32_t slices = sliceCount(height, (inLine + width) * height);
            forEachSlice(height, slices, [&](uint32_t, uint32_t first, uint32_t end) {
                for (uint32_t y = first; y < end; ++y)
                    reduceLine(reinterpret_cast<const uint16_t *>(raw + y * inStride), reduced + uint64_t(y) * width,
                               width, bits);
            });
            raw = reduced;
            rawStride = width;
        }
        const bool bgr = target->pixelType == kKyrPixelBGR8;
        if (demosaicBilinear(raw, rawStride, width, height, layoutOf(tile), bgr, target->data, strideOf(*target)))
            return kKyrImageOk;
        const cv::Mat samples(int(height), int(width), CV_8UC1, const_cast<uint8_t *>(raw), rawStride);
        cv::Mat colour(int(height), int(width), CV_8UC3, target->data, strideOf(*target));
        cv::cvtColor(samples, colour, cvCode(tile, bgr));
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    } catch (const std::exception &) {
        return kKyrImageErrInvalidArgument;
    }
    return kKyrImageOk;
}
