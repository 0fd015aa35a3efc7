#include "frame_renderer_private.h"

#include <cstring>
#include <new>

#include <display/KyrDisplay.h>
#include <image/KyrPixelType.h>

namespace KyrDisplayQt {

namespace {

// How a sampler reads an image: 8-bit or 16-bit samples (the latter cut to
// their top eight significant bits), and their order in a pixel.
enum class Sampled { None, Grey, Grey16, Rgb, Bgr, Rgba, Bgra, Rgb16, Bgr16, Yuyv, Uyvy, Yuyv16, Yuva, Bayer, Bayer16 };

Sampled sampledKind(uint32_t code) noexcept
{
    switch (code) {
    case kKyrPixelMono8: return Sampled::Grey;
    case kKyrPixelMono10:
    case kKyrPixelMono12:
    case kKyrPixelMono14:
    case kKyrPixelMono16: return Sampled::Grey16;
    case kKyrPixelRGB8: return Sampled::Rgb;
    case kKyrPixelBGR8: return Sampled::Bgr;
    case kKyrPixelRGBa8: return Sampled::Rgba;
    case kKyrPixelBGRa8: return Sampled::Bgra;
    case kKyrPixelRGB10:
    case kKyrPixelRGB12:
    case kKyrPixelRGB14:
    case kKyrPixelRGB16: return Sampled::Rgb16;
    case kKyrPixelBGR10:
    case kKyrPixelBGR12:
    case kKyrPixelBGR14:
    case kKyrPixelBGR16: return Sampled::Bgr16;
    case kKyrPixelYUV422_8:
    case kKyrPixelYCbCr422_8: return Sampled::Yuyv;
    case kKyrPixelYUV422_8_UYVY: return Sampled::Uyvy;
    case kKyrPixelYUV422_10: return Sampled::Yuyv16;
    case kKyrPixelYUV444_8: return Sampled::Yuva;
    default: break;
    }
    if (KyrPixelClassOf(code) == kKyrPixelClassBayer && KyrPixelPackingOf(code) == 0)
        return KyrPixelBitsOf(code) == 8 ? Sampled::Bayer : Sampled::Bayer16;
    return Sampled::None;
}

bool isBayer(Sampled kind) noexcept
{
    return kind == Sampled::Bayer || kind == Sampled::Bayer16;
}

// The tile of an unpacked Bayer type, named by its first line's colours: GR,
// RG, GB, BG are 0 to 3, in the table's order at every depth.
uint32_t bayerTile(uint32_t code) noexcept
{
    return (KyrPixelRowOf(code) - KyrPixelRowOf(kKyrPixelBayerGR8)) % 4;
}

// The type the unpacker makes of a packed type, or 0: the GigE Vision
// "Packed" types, the PFNC "p" ones and YUV422_10_PACKED.
uint32_t unpackedTypeOf(uint32_t code) noexcept
{
    if (const uint32_t unpacked = KyrUnpackedTypeOf(code))
        return unpacked;
    if (code == kKyrPixelYUV422_10_PACKED)
        return kKyrPixelYUV422_10;
    constexpr uint32_t kPfnc = 2;
    if (KyrPixelPackingOf(code) != kPfnc)
        return 0;
    const uint32_t depth = KyrPixelBitDepthOf(code);
    if (KyrPixelClassOf(code) == kKyrPixelClassMono)
        return depth == 10 ? uint32_t(kKyrPixelMono10) : depth == 12 ? uint32_t(kKyrPixelMono12) : 0;
    if (KyrPixelClassOf(code) != kKyrPixelClassBayer)
        return 0;
    // The 10p and 12p rows alternate with the "Packed" ones, tile by tile
    // from GR10p; 12p starts after the eight 10-bit rows.
    const uint32_t tile = (KyrPixelRowOf(code) - KyrPixelRowOf(kKyrPixelBayerGR10p)) / 2 % 4;
    return depth == 10 ? kKyrPixelBayerGR10 + tile : depth == 12 ? kKyrPixelBayerGR12 + tile : 0;
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

// A sample of `bits` significant bits in a 16-bit container, as its top eight
// bits; larger values saturate (the image libraries' rule).
inline uint32_t deep(const uint8_t *at, uint32_t shift) noexcept
{
    uint16_t value;
    std::memcpy(&value, at, 2);
    const uint32_t reduced = uint32_t(value) >> shift;
    return reduced > 255 ? 255 : reduced;
}

// Full-range BT.601, 16-bit fixed point.
inline QRgb yuvToRgb(int y, int u, int v) noexcept
{
    u -= 128;
    v -= 128;
    const int r = y + ((91881 * v + 32768) >> 16);
    const int g = y - ((22554 * u + 46802 * v + 32768) >> 16);
    const int b = y + ((116130 * u + 32768) >> 16);
    return qRgb(clamp8(r), clamp8(g), clamp8(b));
}

// One target line from source line `in` of `lineBytes` bytes; `columns` holds
// the source pixel of each target pixel; `shift` cuts 16-bit samples.
void sampleLine(Sampled kind, const uint8_t *in, uint64_t lineBytes, uint32_t shift,
                const std::vector<uint32_t> &columns, QRgb *out) noexcept
{
    const size_t count = columns.size();
    switch (kind) {
    case Sampled::Grey:
        for (size_t i = 0; i < count; ++i)
            out[i] = 0xFF000000u | in[columns[i]] * 0x010101u;
        break;
    case Sampled::Grey16:
        for (size_t i = 0; i < count; ++i)
            out[i] = 0xFF000000u | deep(in + uint64_t(columns[i]) * 2, shift) * 0x010101u;
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
    case Sampled::Rgb16:
    case Sampled::Bgr16: {
        const uint32_t red = kind == Sampled::Rgb16 ? 0 : 4;
        for (size_t i = 0; i < count; ++i) {
            const uint8_t *p = in + uint64_t(columns[i]) * 6;
            out[i] = qRgb(int(deep(p + red, shift)), int(deep(p + 2, shift)), int(deep(p + 4 - red, shift)));
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
            return sample == 1 ? in[index] : int(deep(in + index * 2, shift));
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
    case Sampled::Bayer:
    case Sampled::Bayer16:
    case Sampled::None: break;
    }
}

// One line of 2x2 Bayer cells as RGB32 pixels, one per cell: `redLine` and
// `blueLine` are the cell row's two source lines, `redAt` 0 or 1 the red
// sample's place in its line (blue sits in the other column of the other
// line, the greens in the two places left). Plain loops over whole lines,
// so that the compiler vectorises them.
template <bool Deep, uint32_t RedAt>
void cellLine(const uint8_t *redLine, const uint8_t *blueLine, uint32_t shift, uint32_t cells, uint32_t *out) noexcept
{
    constexpr uint32_t redAt = RedAt, blueAt = 1 - RedAt;
    if (Deep) {
        const auto *red = reinterpret_cast<const uint16_t *>(redLine);
        const auto *blue = reinterpret_cast<const uint16_t *>(blueLine);
        auto cut = [shift](uint32_t value) { value >>= shift; return value > 255 ? 255u : value; };
        for (size_t i = 0; i < cells; ++i) {
            const uint32_t g = (cut(red[2 * i + blueAt]) + cut(blue[2 * i + redAt]) + 1) >> 1;
            out[i] = 0xFF000000u | cut(red[2 * i + redAt]) << 16 | g << 8 | cut(blue[2 * i + blueAt]);
        }
        return;
    }
    for (size_t i = 0; i < cells; ++i) {
        const uint32_t g = (uint32_t(redLine[2 * i + blueAt]) + blueLine[2 * i + redAt] + 1) >> 1;
        out[i] = 0xFF000000u | uint32_t(redLine[2 * i + redAt]) << 16 | g << 8 | blueLine[2 * i + blueAt];
    }
}

// The source index of each of `count` targets spread over `size` sources,
// the one under each target's centre.
void nearest(std::vector<uint32_t> &indices, uint32_t count, uint32_t size)
{
    indices.resize(count);
    for (uint32_t i = 0; i < count; ++i)
        indices[i] = uint32_t((uint64_t(2 * i + 1) * size) / (2 * uint64_t(count)));
}

} // namespace

bool isShowable(uint32_t code) noexcept
{
    return sampledKind(code) != Sampled::None || sampledKind(unpackedTypeOf(code)) != Sampled::None;
}

int32_t Frame::assign(const KyrImage &source) noexcept
{
    const uint32_t code = source.pixelType;
    if (!isShowable(code) || source.width == 0 || source.height == 0 || source.width > kMaxSide ||
        source.height > kMaxSide || !source.data)
        return kKyrDisplayErrInvalidParameter;
    const uint64_t line = lineBytesOf(code, source.width);
    const uint64_t stride = source.stride ? source.stride : line;
    // Unpadded lines of packed pixels are one run that may start a line
    // inside a byte (how cameras send them): the frame needs only its bits.
    const uint64_t bytesNeeded = stride == line
        ? (uint64_t(source.width) * source.height * KyrPixelBitsOf(code) + 7) / 8
        : stride * (source.height - 1) + line;
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

const KyrImage *FrameRenderer::unpacked(const KyrImage &frame, uint32_t unpackedType)
{
    if (!unpacker_)
        unpacker_.reset(KyrImageUnpacker_CreateComponent());
    KyrImageParams *params = KyrImageUnpacker_GetComponent(unpacker_.get());
    KyrImage *target = working(unpacked_, unpackedType, frame.width, frame.height);
    if (!params || !target || params->SetInt("cameraType", 0) != kKyrImageOk ||
        params->SetInt("width", frame.width) != kKyrImageOk || params->SetInt("height", frame.height) != kKyrImageOk ||
        KyrImageUnpacker_Unpack(unpacker_.get(), &frame, target) != kKyrImageOk)
        return nullptr;
    return target;
}

const KyrImage *FrameRenderer::demosaiced(const KyrImage &source)
{
    if (!bayer_)
        bayer_.reset(KyrBayer_CreateComponent());
    const KyrImage *mosaic = &source;
    if (KyrPixelBitDepthOf(source.pixelType) > 12) {
        // The demosaicing library takes up to 12 bits: deeper samples are cut
        // to 8 bits first, as it does itself for 10 and 12.
        KyrImage *reduced = working(reduced_, kKyrPixelBayerGR8 + bayerTile(source.pixelType), source.width,
                                    source.height);
        if (!reduced)
            return nullptr;
        const uint32_t shift = KyrPixelBitDepthOf(source.pixelType) - 8;
        for (uint32_t y = 0; y < source.height; ++y) {
            const uint8_t *in = source.data + uint64_t(y) * strideOf(source);
            uint8_t *out = reduced->data + uint64_t(y) * reduced->stride;
            for (uint32_t x = 0; x < source.width; ++x)
                out[x] = uint8_t(deep(in + uint64_t(x) * 2, shift));
        }
        mosaic = reduced;
    }
    KyrImage *target = working(colour_, kKyrPixelRGB8, source.width, source.height);
    if (!bayer_ || !target || KyrBayer_ConvertImage(bayer_.get(), mosaic, target) != kKyrImageOk)
        return nullptr;
    return target;
}

const KyrImage *FrameRenderer::sampled(const KyrImage &frame, bool cells)
{
    const KyrImage *source = &frame;
    if (const uint32_t unpackedType = unpackedTypeOf(frame.pixelType)) {
        source = unpacked(frame, unpackedType);
        if (!source)
            return nullptr;
    }
    if (isBayer(sampledKind(source->pixelType)) && !cells)
        return demosaiced(*source);
    return source;
}

void FrameRenderer::sampleCells(const KyrImage &source, QSize size, QImage &out)
{
    const uint32_t outWidth = uint32_t(size.width()), outHeight = uint32_t(size.height());
    const uint32_t cells = source.width / 2, cellRows = source.height / 2;
    nearest(columns_, outWidth, cells);
    cellRow_.resize(cells);
    const bool deepSamples = sampledKind(source.pixelType) == Sampled::Bayer16;
    const uint32_t shift = KyrPixelBitDepthOf(source.pixelType) - 8;
    const uint32_t tile = bayerTile(source.pixelType);
    // Red on the cell's second line for GB and BG, in its first column for
    // RG and GB.
    const bool redBelow = tile >= 2;
    const uint32_t redAt = tile == 1 || tile == 2 ? 0 : 1;
    const uint64_t stride = strideOf(source);
    uint64_t made = UINT64_MAX;
    for (uint32_t y = 0; y < outHeight; ++y) {
        const uint64_t cellRow = (uint64_t(2 * y + 1) * cellRows) / (2 * uint64_t(outHeight));
        if (cellRow != made) {
            const uint8_t *first = source.data + cellRow * 2 * stride, *second = first + stride;
            const uint8_t *redLine = redBelow ? second : first, *blueLine = redBelow ? first : second;
            uint32_t *row = cellRow_.data();
            if (deepSamples)
                (redAt ? cellLine<true, 1> : cellLine<true, 0>)(redLine, blueLine, shift, cells, row);
            else
                (redAt ? cellLine<false, 1> : cellLine<false, 0>)(redLine, blueLine, shift, cells, row);
            made = cellRow;
        }
        auto *line = reinterpret_cast<QRgb *>(out.scanLine(int(y)));
        for (uint32_t x = 0; x < outWidth; ++x)
            line[x] = cellRow_[columns_[x]];
    }
}

void FrameRenderer::sampleLines(const KyrImage &source, QSize size, QImage &out)
{
    const Sampled kind = sampledKind(source.pixelType);
    const uint32_t outWidth = uint32_t(size.width()), outHeight = uint32_t(size.height());
    nearest(columns_, outWidth, source.width);
    const uint32_t stride = strideOf(source);
    const uint64_t lineBytes = lineBytesOf(source.pixelType, source.width);
    const uint32_t shift = KyrPixelBitDepthOf(source.pixelType) - 8;
    for (uint32_t y = 0; y < outHeight; ++y) {
        const uint32_t sourceLine = uint32_t((uint64_t(2 * y + 1) * source.height) / (2 * uint64_t(outHeight)));
        sampleLine(kind, source.data + uint64_t(sourceLine) * stride, lineBytes, shift, columns_,
                   reinterpret_cast<QRgb *>(out.scanLine(int(y))));
    }
}

bool FrameRenderer::render(const Frame &frame, QSize size, QImage &out) noexcept
{
    try {
        if (out.size() != size || out.format() != QImage::Format_RGB32)
            out = QImage(size, QImage::Format_RGB32);
        if (out.isNull())
            return false;
        const KyrImage &image = frame.image;
        const bool cells = int64_t(size.width()) * 4 <= int64_t(image.width) * 3 &&
                           int64_t(size.height()) * 4 <= int64_t(image.height) * 3;
        const KyrImage *source = sampled(image, cells);
        if (!source) {
            out.fill(Qt::black);
            return false;
        }
        if (isBayer(sampledKind(source->pixelType)))
            sampleCells(*source, size, out);
        else
            sampleLines(*source, size, out);
        return true;
    } catch (...) {
        out.fill(Qt::black);
        return false;
    }
}

} // namespace KyrDisplayQt
