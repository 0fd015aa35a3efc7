// Camera frames turned into screen images: the pixel types shown, the copy a
// display keeps of a frame, and the conversion of that copy to RGB32 at the
// size it is drawn (only the pixels drawn are computed).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QImage>
#include <QSize>

#include <image/KyrBayer.h>
#include <image/KyrImage.h>
#include <image/KyrImageUnpacker.h>

namespace KyrDisplayQt {

// Largest side of a frame a display takes.
constexpr uint32_t kMaxSide = 65535;

// True for the pixel types a display can show.
bool isShowable(uint32_t pixelType) noexcept;

// A display's own copy of a frame: its description, with `image.data`
// pointing into `bytes`.
struct Frame {
    KyrImage image{};
    std::vector<uint8_t> bytes;

    // Copies `source` (one copy of its lines, stride kept). Returns
    // kKyrDisplayErrInvalidParameter for a frame not shown or whose data is
    // shorter than its geometry, kKyrDisplayErrOutOfMemory.
    int32_t assign(const KyrImage &source) noexcept;
};

struct UnpackerDelete { void operator()(KyrImageUnpacker *p) const noexcept { KyrImageUnpacker_DeleteComponent(p); } };
struct BayerDelete { void operator()(KyrBayer *p) const noexcept { KyrBayer_DeleteComponent(p); } };
struct ImageRelease { void operator()(KyrImage *p) const noexcept { KyrReleaseImage(&p); } };
using ImagePtr = std::unique_ptr<KyrImage, ImageRelease>;

// Owner thread only (a display's GUI thread). Keeps the image components and
// working images between frames.
class FrameRenderer
{
public:
    // `frame` scaled into `size` (nearest sample, aspect as given) as RGB32 in
    // `out`; false when the image libraries refused it (out is then black).
    // A Bayer frame drawn at full quality is demosaiced whole by the
    // demosaicing library; one drawn at most 3/4 of its size in both
    // directions takes each drawn pixel from one 2x2 cell of the mosaic (red,
    // mean of the greens, blue): a half-size demosaic of only the cells drawn.
    bool render(const Frame &frame, QSize size, QImage &out) noexcept;

private:
    // `frame` as an image the samplers read: itself, or a working image made
    // by the unpacker or the demosaicing library; null on failure.
    const KyrImage *sampled(const KyrImage &frame, bool cells);
    const KyrImage *unpacked(const KyrImage &frame, uint32_t unpackedType);
    const KyrImage *demosaiced(const KyrImage &source);
    void sampleCells(const KyrImage &source, QSize size, QImage &out);
    void sampleLines(const KyrImage &source, QSize size, QImage &out);
    // A working image of that type and size, kept while they stay the same.
    KyrImage *working(ImagePtr &slot, uint32_t pixelType, uint32_t width, uint32_t height);

    std::unique_ptr<KyrImageUnpacker, UnpackerDelete> unpacker_;
    std::unique_ptr<KyrBayer, BayerDelete> bayer_;
    ImagePtr unpacked_, reduced_, colour_;
    std::vector<uint32_t> columns_;
    std::vector<uint32_t> cellRow_;
};

} // namespace KyrDisplayQt
