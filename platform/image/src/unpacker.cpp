// libKyrImageUnpacker: GigE Vision "Packed" layouts into 16-bit containers.
#include <image/KyrImageUnpacker.h>

#include <memory>
#include <new>

#include <image/KyrPixelType.h>

#include "kernels_private.h"
#include "params_private.h"
#include "pixel_format_private.h"

using namespace KyrImageLib;

struct KyrImageUnpacker {
    ParamSet params;
};

namespace {

constexpr int64_t kGigEVisionLayout = 0;
constexpr int64_t kMaxSide = 1 << 20;

} // namespace

KyrImageUnpacker *KyrImageUnpacker_CreateComponent() noexcept
{
    try {
        auto unpacker = std::make_unique<KyrImageUnpacker>();
        unpacker->params.declareInt("cameraType", kGigEVisionLayout);
        unpacker->params.declareInt("width", 0);
        unpacker->params.declareInt("height", 0);
        return unpacker.release();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void KyrImageUnpacker_DeleteComponent(KyrImageUnpacker *unpacker) noexcept
{
    std::unique_ptr<KyrImageUnpacker> owned(unpacker);
}

KyrImageParams *KyrImageUnpacker_GetComponent(KyrImageUnpacker *unpacker) noexcept
{
    return unpacker ? &unpacker->params : nullptr;
}

KyrImageStatus KyrImageUnpacker_Unpack(KyrImageUnpacker *unpacker, const KyrImage *source, KyrImage *target) noexcept
{
    if (!unpacker || !source || !target)
        return kKyrImageErrInvalidArgument;
    const ParamSet &params = unpacker->params;
    if (params.intValue("cameraType") != kGigEVisionLayout)
        return kKyrImageErrInvalidArgument;
    const uint32_t wanted = KyrUnpackedTypeOf(source->pixelType);
    if (wanted == 0 || target->pixelType != wanted)
        return kKyrImageErrUnsupportedPixelType;
    const int64_t width = params.intValue("width");
    const int64_t height = params.intValue("height");
    if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide)
        return kKyrImageErrSizeMismatch;
    const uint32_t w = uint32_t(width);
    const uint32_t h = uint32_t(height);
    const uint64_t packedLine = lineBytes(source->pixelType, w);
    const uint64_t sourceStride = source->stride ? source->stride : packedLine;
    const uint64_t targetLine = uint64_t(w) * 2;
    if (!holdsLines(*source, packedLine, h) || !(target->data || h == 0) || target->size < targetLine * h)
        return kKyrImageErrSizeMismatch;

    describe(*target, wanted, w, h);
    target->stride = uint32_t(targetLine);
    const uint32_t bits = pixelLayout(wanted).bitDepth;
    const uint8_t *in = source->data;
    uint8_t *out = target->data;
    forEachSlice(h, sliceCount(h, targetLine * h), [&](uint32_t, uint32_t first, uint32_t end) {
        for (uint32_t y = first; y < end; ++y)
            unpackLine(in + y * sourceStride, reinterpret_cast<uint16_t *>(out + y * targetLine), w, bits);
    });
    return kKyrImageOk;
}
