#include "frame_renderer_private.h"

#include <cstring>
#include <new>

#include <display/KyrDisplay.h>
#include <image/KyrPixelType.h>

namespace KyrDisplayQt {

namespace {

enum class Sampled { None, Grey, Rgb, Bgr, Rgba, Bgra, Yuyv, Uyvy, Yuyv16, Yuva };

Sampled sampledKind(uint32_t code) noexcept
{
    switch (code) {
    case kKyrPixelMono8: return Sampled::Grey;
    case kKyrPixelRGB8: return Sampled::Rgb;
    case kKyrPixelBGR8: return Sampled::Bgr;
    case kKyrPixelRGBa8: return Sampled::Rgba;
    case kKyrPixelBGRa8: return Sampled::Bgra;
    case kKyrPixelYUV422_8:
    case kKyrPixelYCbCr422_8: return Sampled::Yuyv;
    case kKyrPixelYUV422_8_UYVY: return Sampled::Uyvy;
    case kKyrPixelYUV422_10: return Sampled::Yuyv16;
    case kKyrPixelYUV444_8: return Sampled::Yuva;
    default: return Sampled::None;
    }
}

bool isMonoDeep(uint32_t code) noexcept
{
    return code == kKyrPixelMono10 || code == kKyrPixelMono12 || code == kKyrPixelMono14 || code == kKyrPixelMono16;
}

// Bayer types by their tile (GR, RG, GB, BG, in the table's order) and depth.
int bayerTile(uint32_t code, uint32_t firstRow) noexcept
{
    const int tile = int(KyrPixelRowOf(code)) - int(firstRow);
    return tile >= 0 && tile < 4 ? tile : -1;
}

bool isBayerDemosaiced(uint32_t code) noexcept
{
    return bayerTile(code, KyrPixelRowOf(kKyrPixelBayerGR8)) >= 0 ||
           bayerTile(code, KyrPixelRowOf(kKyrPixelBayerGR10)) >= 0 ||
           bayerTile(code, KyrPixelRowOf(kKyrPixelBayerGR12)) >= 0;
}

// Bayer 14 and 16-bit types, which the demosaicing library does not take:
// the tile of the 8-bit type they are reduced to, or -1.
int deepBayerTile(uint32_t code) noexcept
{
    const int tile = bayerTile(code, KyrPixelRowOf(kKyrPixelBayerGR14));
    return tile >= 0 ? tile : bayerTile(code, KyrPixelRowOf(kKyrPixelBayerGR16));
}

uint64_t lineBytesOf(uint32_t code, uint32_t width) noexcept
{
    return (uint64_t(width) * KyrPixelBitsOf(code) + 7) / 8;
}

uint32_t strideOf(const KyrImage &image) noexcept
{
    return image.stride ? image.stride : uint32_t(lineBytesOf(image.pixelType, image.width));
}

inline uint8_t clamp8(int value) noexcept
{
    return uint8_t(value < 0 ? 0 : value > 255 ? 255 : value);
}

// Full-range BT.601, 16-bit fixed point.
inline QRgb yuvToRgb(int y, int u, int v) noexcept
{
    u -= 128;
    v -= 128;
    const int r = y + ((91881 * v + 32768) >> 16);
    const int g = y - ((22554 * u + 46802 * v - 32768) >> 16);
    const int b = y + ((116130 * u + 32768) >> 16);
    return qRgb(clamp8(r), clamp8(g), clamp8(b));
}

// One target line from source line `in` of `lineBytes` bytes; `columns` holds
// the source pixel of each target pixel.
void sampleLine(Sampled kind, const uint8_t *in, uint64_t lineBytes, const std::vector<uint32_t> &columns,
                QRgb *out) noexcept
{
    const size_t count = columns.size();
    switch (kind) {
    case Sampled::Grey:
        for (size_t i = 0; i < count; ++i) {
            const uint32_t g = in[columns[i]];
            out[i] = 0xFF000000u | g << 16 | g << 8 | g;
        }
        break;
    case Sampled::Rgb:
    case Sampled::Bgr:
    case Sampled::Rgba:
    case Sampled::Bgra: {
        const uint32_t step = kind == Sampled::Rgb || kind == Sampled::Bgr ? 3 : 4;
        const uint32_t red = kind == Sampled::Rgb || kind == Sampled::Rgba ? 0 : 2;
        for (size_t i = 0; i < count; ++i) {
            const uint8_t *p = in + uint64_t(columns[i]) * step;
            out[i] = qRgb(p[red], p[1], p[2 - red]);
        }
        break;
    }
    case Sampled::Yuyv:
    case Sampled::Uyvy:
    case Sampled::Yuyv16: {
        // Two pixels share one U and one V; a last odd pixel without its
        // pair's chroma is shown grey.
        const uint32_t sample = kind == Sampled::Yuyv16 ? 2 : 1;
        const uint32_t yAt = kind == Sampled::Uyvy ? 1 : 0, uAt = kind == Sampled::Uyvy ? 0 : 1;
        const uint32_t vAt = uAt + 2;
        auto read = [&](uint64_t index) -> int {
            if (sample == 1)
                return in[index];
            uint16_t value;
            std::memcpy(&value, in + index * 2, 2);
            return value >> 2 > 255 ? 255 : value >> 2;
        };
        const uint64_t samples = lineBytes / sample;
        for (size_t i = 0; i < count; ++i) {
            const uint64_t x = columns[i];
            const uint64_t pair = (x & ~uint64_t(1)) * 2;
            const int y = read(pair + yAt + (x & 1) * 2);
            if (pair + 3 >= samples)
                out[i] = qRgb(y, y, y);
            else
                out[i] = yuvToRgb(y, read(pair + uAt), read(pair + vAt));
        }
        break;
    }
    case Sampled::Yuva:
        for (size_t i = 0; i < count; ++i) {
            const uint8_t *p = in + uint64_t(columns[i]) * 4;
            out[i] = yuvToRgb(p[0], p[1], p[2]);
        }
        break;
    case Sampled::None: break;
    }
}

} // namespace

bool isShowable(uint32_t code) noexcept
{
    return sampledKind(code) != Sampled::None || isMonoDeep(code) || KyrUnpackedTypeOf(code) != 0 ||
           isBayerDemosaiced(code) || deepBayerTile(code) >= 0;
}

int32_t Frame::assign(const KyrImage &source) noexcept
{
    const uint32_t code = source.pixelType;
    if (!isShowable(code) || source.width == 0 || source.height == 0 || source.width > kMaxSide ||
        source.height > kMaxSide || !source.data)
        return kKyrDisplayErrInvalidParameter;
    const uint64_t line = lineBytesOf(code, source.width);
    const uint64_t stride = source.stride ? source.stride : line;
    const uint64_t bytesNeeded = stride * (source.height - 1) + line;
    if (stride < line || source.size < bytesNeeded)
        return kKyrDisplayErrInvalidParameter;
    try {
        bytes.resize(bytesNeeded);
    } catch (const std::bad_alloc &) {
        return kKyrDisplayErrOutOfMemory;
    }
    std::memcpy(bytes.data(), source.data, bytesNeeded);
    image = source;
    image.stride = uint32_t(stride);
    image.size = bytesNeeded;
    image.data = bytes.data();
    return kKyrDisplayOk;
}

KyrImage *FrameRenderer::working(ImagePtr &slot, uint32_t pixelType, uint32_t width, uint32_t height)
{
    if (slot && slot->pixelType == pixelType && slot->width == width && slot->height == height)
        return slot.get();
    slot.reset();
    KyrImage *made = nullptr;
    if (KyrCreateImage(&made, KyrImageSize{ width, height }, pixelType) != kKyrImageOk)
        return nullptr;
    slot.reset(made);
    return made;
}

const KyrImage *FrameRenderer::unpacked(const KyrImage &frame)
{
    if (!unpacker_)
        unpacker_.reset(KyrImageUnpacker_CreateComponent());
    KyrImageParams *params = KyrImageUnpacker_GetComponent(unpacker_.get());
    KyrImage *target = working(unpacked_, KyrUnpackedTypeOf(frame.pixelType), frame.width, frame.height);
    if (!params || !target || params->SetInt("cameraType", 0) != kKyrImageOk ||
        params->SetInt("width", frame.width) != kKyrImageOk || params->SetInt("height", frame.height) != kKyrImageOk ||
        KyrImageUnpacker_Unpack(unpacker_.get(), &frame, target) != kKyrImageOk)
        return nullptr;
    return target;
}

const KyrImage *FrameRenderer::toMono8(const KyrImage &source)
{
    if (!converter_)
        converter_.reset(KyrImageConverter_CreateComponent());
    KyrImage *target = working(mono8_, kKyrPixelMono8, source.width, source.height);
    if (!converter_ || !target || KyrImageConverter_ConvertImage(converter_.get(), &source, target) != kKyrImageOk)
        return nullptr;
    return target;
}

const KyrImage *FrameRenderer::demosaiced(const KyrImage &source)
{
    if (!bayer_)
        bayer_.reset(KyrBayer_CreateComponent());
    KyrImage *target = working(colour_, kKyrPixelRGB8, source.width, source.height);
    if (!bayer_ || !target || KyrBayer_ConvertImage(bayer_.get(), &source, target) != kKyrImageOk)
        return nullptr;
    return target;
}

const KyrImage *FrameRenderer::eightBit(const KyrImage &frame)
{
    const uint32_t code = frame.pixelType;
    if (sampledKind(code) != Sampled::None)
        return &frame;
    if (isMonoDeep(code))
        return toMono8(frame);
    if (isBayerDemosaiced(code))
        return demosaiced(frame);
    const int deepTile = deepBayerTile(code);
    if (deepTile >= 0) {
        // Cut to 8 bits by the type's depth, then demosaiced as 8-bit Bayer.
        KyrImage *reduced = working(reduced_, kKyrPixelBayerGR8 + uint32_t(deepTile), frame.width, frame.height);
        if (!reduced)
            return nullptr;
        const uint32_t shift = (code & 0xF00) == 0x400 ? 6 : 8;
        for (uint32_t y = 0; y < frame.height; ++y) {
            const uint8_t *in = frame.data + uint64_t(y) * frame.stride;
            uint8_t *out = reduced->data + uint64_t(y) * reduced->stride;
            for (uint32_t x = 0; x < frame.width; ++x) {
                uint16_t value;
                std::memcpy(&value, in + x * 2, 2);
                out[x] = uint8_t(value >> shift > 255 ? 255 : value >> shift);
            }
        }
        return demosaiced(*reduced);
    }
    if (KyrUnpackedTypeOf(code) != 0) {
        const KyrImage *deep = unpacked(frame);
        if (!deep)
            return nullptr;
        return KyrPixelClassOf(code) == kKyrPixelClassBayer ? demosaiced(*deep) : toMono8(*deep);
    }
    return nullptr;
}

bool FrameRenderer::render(const Frame &frame, QSize size, QImage &out) noexcept
{
    try {
        if (out.size() != size || out.format() != QImage::Format_RGB32)
            out = QImage(size, QImage::Format_RGB32);
        if (out.isNull())
            return false;
        const KyrImage *source = eightBit(frame.image);
        if (!source) {
            out.fill(Qt::black);
            return false;
        }
        const Sampled kind = sampledKind(source->pixelType);
        const uint32_t width = source->width, height = source->height;
        const uint32_t outWidth = uint32_t(size.width()), outHeight = uint32_t(size.height());
        // The source pixel under each target pixel's centre.
        columns_.resize(outWidth);
        for (uint32_t x = 0; x < outWidth; ++x)
            columns_[x] = uint32_t((uint64_t(2 * x + 1) * width) / (2 * uint64_t(outWidth)));
        const uint32_t stride = strideOf(*source);
        const uint64_t lineBytes = lineBytesOf(source->pixelType, width);
        for (uint32_t y = 0; y < outHeight; ++y) {
            const uint32_t sourceLine = uint32_t((uint64_t(2 * y + 1) * height) / (2 * uint64_t(outHeight)));
            sampleLine(kind, source->data + uint64_t(sourceLine) * stride, lineBytes, columns_,
                       reinterpret_cast<QRgb *>(out.scanLine(int(y))));
        }
        return true;
    } catch (...) {
        out.fill(Qt::black);
        return false;
    }
}

} // namespace KyrDisplayQt
