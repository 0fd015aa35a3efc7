// libKyrImageConverter: pixel format conversion.
#pragma once

#include <image/KyrImage.h>
#include <image/KyrImageExport.h>

struct KyrImageConverter;

extern "C" {

// A new converter, or null when memory is short; deleted with
// KyrImageConverter_DeleteComponent.
KYRIMAGE_API KyrImageConverter *KyrImageConverter_CreateComponent() noexcept;
KYRIMAGE_API void KyrImageConverter_DeleteComponent(KyrImageConverter *converter) noexcept;

// Converts `source` into the pixel type of `target`, which must have the same
// width and height: Mono10, Mono12 and Mono16 in 16-bit containers to Mono8,
// and any supported source to Mono8 or BGR8. Codes: kKyrImageErrInvalidArgument,
// kKyrImageErrUnsupportedPixelType, kKyrImageErrSizeMismatch.
KYRIMAGE_API KyrImageStatus KyrImageConverter_ConvertImage(KyrImageConverter *converter, const KyrImage *source,
                                                           KyrImage *target) noexcept;

} // extern "C"
