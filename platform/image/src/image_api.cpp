// libKyrImageApi: images that own their memory.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

#include <image/KyrImage.h>

#include "pixel_format_private.h"

namespace {

struct FreeMemory {
    void operator()(uint8_t *memory) const noexcept { std::free(memory); }
};

// The image handed out: the description first, so that the caller's pointer
// is the owner's.
struct OwnedImage : KyrImage {
    std::unique_ptr<uint8_t, FreeMemory> memory;
};

} // namespace

KyrImageStatus KyrCreateImage(KyrImage **image, KyrImageSize size, uint32_t pixelType) noexcept
{
    if (!image)
        return kKyrImageErrInvalidArgument;
    *image = nullptr;
    if (!KyrImageLib::isKnownPixelType(pixelType))
        return kKyrImageErrUnsupportedPixelType;
    const uint64_t stride = KyrImageLib::lineBytes(pixelType, size.width);
    const uint64_t bytes = stride * size.height;
    if (stride > UINT32_MAX)
        return kKyrImageErrOutOfMemory;
    std::unique_ptr<OwnedImage> owned;
    try {
        owned = std::make_unique<OwnedImage>();
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    if (bytes > 0) {
        // calloc: large zeroed blocks come straight from the kernel, already zero.
        owned->memory.reset(static_cast<uint8_t *>(std::calloc(bytes, 1)));
        if (!owned->memory)
            return kKyrImageErrOutOfMemory;
    }
    KyrImageLib::describe(*owned, pixelType, size.width, size.height);
    owned->stride = uint32_t(stride);
    owned->size = bytes;
    owned->data = owned->memory.get();
    *image = owned.release();
    return kKyrImageOk;
}

KyrImageStatus KyrReleaseImage(KyrImage **image) noexcept
{
    if (!image)
        return kKyrImageErrInvalidArgument;
    std::unique_ptr<OwnedImage> owned(static_cast<OwnedImage *>(*image));
    *image = nullptr;
    return kKyrImageOk;
}
