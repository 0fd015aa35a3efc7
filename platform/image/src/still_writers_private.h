// Still image file writers: the pixels of one image in one file format.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include <image/KyrImage.h>

namespace KyrImageLib {

// The pixels a writer takes: 8-bit grey, grey in 16-bit containers with
// `bits` significant bits, or 8-bit colour in either component order.
struct StillPixels {
    enum class Format { Grey8, Grey16, Rgb8, Bgr8 };
    Format format;
    uint32_t bits;
    uint32_t width;
    uint32_t height;
    uint64_t stride;
    const uint8_t *data;
};

// The view of an image the writers take; false for pixel types they do not write.
bool stillPixelsOf(const KyrImage &image, StillPixels &pixels) noexcept;

// Each writer writes the whole file to `file` or `fd` (which the TIFF writer
// closes). Grey with more than 8 bits is scaled to the full 16-bit range by
// PNG and TIFF and cut to 8 bits by BMP and JPEG. `palette` writes 8-bit grey
// as indexed colour with a grey ramp (BMP always does). Codes:
// kKyrImageErrFileWrite, kKyrImageErrOutOfMemory.
KyrImageStatus writePng(FILE *file, const StillPixels &pixels, bool palette) noexcept;
// `converted` holds converted lines; kept by the caller, it saves allocating
// and clearing a whole image's memory on every save.
KyrImageStatus writeTiff(int fd, const char *name, const StillPixels &pixels, bool palette,
                         std::vector<uint8_t> &converted) noexcept;
KyrImageStatus writeBmp(int fd, const StillPixels &pixels) noexcept;
KyrImageStatus writeJpeg(FILE *file, const StillPixels &pixels) noexcept;

} // namespace KyrImageLib
