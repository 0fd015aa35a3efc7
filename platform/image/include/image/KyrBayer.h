// libKyrDemosaicing: Bayer colour filter images to colour images.
#pragma once

#include <image/KyrImage.h>
#include <image/KyrImageExport.h>

struct KyrBayer;

extern "C" {

// A new demosaicing component, or null when memory is short; deleted with
// KyrBayer_DeleteComponent.
KYRIMAGE_API KyrBayer *KyrBayer_CreateComponent() noexcept;
KYRIMAGE_API void KyrBayer_DeleteComponent(KyrBayer *bayer) noexcept;

// Demosaics `source` (Bayer GR, RG, GB or BG at 8, 10 or 12 bits) into `target`
// (RGB8 or BGR8) of the same width and height, bilinearly. Codes:
// kKyrImageErrInvalidArgument, kKyrImageErrUnsupportedPixelType,
// kKyrImageErrSizeMismatch.
KYRIMAGE_API KyrImageStatus KyrBayer_ConvertImage(KyrBayer *bayer, const KyrImage *source, KyrImage *target) noexcept;

} // extern "C"
