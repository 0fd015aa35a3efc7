// libKyrImageUnpacker: GigE Vision "Packed" and PFNC "p" layouts into 16-bit
// containers, over whole frames or padded lines.
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
// Pixels handed to a line kernel at once (it counts in 32 bits).
constexpr uint64_t kMaxRun = uint64_t(1) << 30;

struct Packing {
    uint32_t unpacked;  // 0: not a packed type
    bool pfnc;          // "p" layout rather than GigE Vision "Packed"
    uint32_t group;     // pixels that end on a whole byte
    uint32_t groupBytes;
    uint32_t samples = 1;  // samples a pixel (YUV 4:2:2: Y and U, or Y and V)
};

Packing packingOf(uint32_t code) noexcept
{
    if (const uint32_t unpacked = KyrUnpackedTypeOf(code))
        return { unpacked, false, 2, 3 };
    switch (code) {
    case kKyrPixelMono10p: return { kKyrPixelMono10, true, 4, 5 };
    case kKyrPixelBayerGR10p: return { kKyrPixelBayerGR10, true, 4, 5 };
    case kKyrPixelBayerRG10p: return { kKyrPixelBayerRG10, true, 4, 5 };
    case kKyrPixelBayerGB10p: return { kKyrPixelBayerGB10, true, 4, 5 };
    case kKyrPixelBayerBG10p: return { kKyrPixelBayerBG10, true, 4, 5 };
    case kKyrPixelMono12p: return { kKyrPixelMono12, true, 2, 3 };
    case kKyrPixelBayerGR12p: return { kKyrPixelBayerGR12, true, 2, 3 };
    case kKyrPixelBayerRG12p: return { kKyrPixelBayerRG12, true, 2, 3 };
    case kKyrPixelBayerGB12p: return { kKyrPixelBayerGB12, true, 2, 3 };
    case kKyrPixelBayerBG12p: return { kKyrPixelBayerBG12, true, 2, 3 };
    case kKyrPixelYUV422_10_PACKED: return { kKyrPixelYUV422_10, true, 2, 5, 2 };
    default: return { 0, false, 0, 0 };
    }
}

// Unpacks `count` pixels that start on a whole byte group.
void unpackRun(const Packing &packing, const uint8_t *in, uint16_t *out, uint64_t count, uint32_t bits) noexcept
{
    while (count > 0) {
        const uint64_t run = count < kMaxRun ? count : kMaxRun;
        if (packing.pfnc)
            unpackPfncRun(in, out, run * packing.samples, bits);
        else
            unpackLine(in, out, uint32_t(run), bits);
        in += run / packing.group * packing.groupBytes;
        out += run * packing.samples;
        count -= run;
    }
}

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
    const Packing packing = packingOf(source->pixelType);
    const uint32_t wanted = packing.unpacked;
    if (wanted == 0 || target->pixelType != wanted)
        return kKyrImageErrUnsupportedPixelType;
    const int64_t width = params.intValue("width");
    const int64_t height = params.intValue("height");
    if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide)
        return kKyrImageErrSizeMismatch;
    const uint32_t w = uint32_t(width);
    const uint32_t h = uint32_t(height);
    const uint64_t packedLine = lineBytes(source->pixelType, w);
    const uint64_t pixels = uint64_t(w) * h;
    const uint64_t targetLine = uint64_t(w) * 2 * packing.samples;
    const bool wholeFrame = source->stride == 0 || source->stride == packedLine;
    const uint64_t frameBytes = (pixels * KyrPixelBitsOf(source->pixelType) + 7) / 8;
    const bool fits = wholeFrame ? pixels == 0 || (source->data && source->size >= frameBytes)
                                 : holdsLines(*source, packedLine, h);
    if (!fits || !(target->data || h == 0) || target->size < targetLine * h)
        return kKyrImageErrSizeMismatch;

    describe(*target, wanted, w, h);
    target->stride = uint32_t(targetLine);
    const uint32_t bits = pixelLayout(wanted).bitDepth;
    const uint8_t *in = source->data;
    auto *out = reinterpret_cast<uint16_t *>(target->data);
    forEachSlice(h, sliceCount(h, targetLine * h), [&](uint32_t, uint32_t first, uint32_t end) {
        if (!wholeFrame) {
            for (uint32_t y = first; y < end; ++y)
                unpackRun(packing, in + y * source->stride, out + uint64_t(y) * w * packing.samples, w, bits);
            return;
        }
        // Slices start on whole byte groups; the last takes the rest.
        const uint64_t from = uint64_t(first) * w / packing.group * packing.group;
        const uint64_t to = end == h ? pixels : uint64_t(end) * w / packing.group * packing.group;
        unpackRun(packing, in + from / packing.group * packing.groupBytes, out + from * packing.samples, to - from,
                  bits);
    });
    return kKyrImageOk;
}
