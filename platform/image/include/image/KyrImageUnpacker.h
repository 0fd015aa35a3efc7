// libKyrImageUnpacker: packed pixel layouts into 16-bit containers.
#pragma once

#include <image/KyrImage.h>
#include <image/KyrImageExport.h>
#include <image/KyrImageParams.h>

struct KyrImageUnpacker;

extern "C" {

// A new unpacker, or null when memory is short. The caller deletes it with
// KyrImageUnpacker_DeleteComponent. Parameters (integers): "cameraType" (0 for
// the GigE Vision packed layouts, the only one known), "width" and "height" (the
// geometry of the source frame, 0 at creation).
KYRIMAGE_API KyrImageUnpacker *KyrImageUnpacker_CreateComponent() noexcept;
KYRIMAGE_API void KyrImageUnpacker_DeleteComponent(KyrImageUnpacker *unpacker) noexcept;

// The unpacker's parameter object, or null for a null unpacker.
KYRIMAGE_API KyrImageParams *KyrImageUnpacker_GetComponent(KyrImageUnpacker *unpacker) noexcept;

// Unpacks `source` of the geometry in "width" and "height" into `target`,
// whose pixel type names the unpacked format (Mono10, Mono12, the matching
// Bayer 10 or 12-bit type); the target's width, height and stride are set from
// the parameters. Sources: the GigE Vision "Packed" layouts (Mono10Packed,
// Mono12Packed, the packed Bayer types: two pixels in three bytes) and the
// PFNC "p" ones (Mono10p, Mono12p, the Bayer 10p and 12p types: pixels one
// after another, least significant bit first), and YUV422_10_PACKED into
// YUV422_10 (its 10-bit samples Y0 U Y1 V one after another the same way,
// two pixels in five bytes).
//
// A camera packs the whole frame as one run of pixels, so a line may start in
// the middle of a byte group: a source whose stride is 0, or the line's packed
// size rounded up to whole bytes, is read that way (it holds at least
// width x height pixels' bits). A larger stride means padded lines, each
// packed on its own from a byte at line x stride.
//
// Codes: kKyrImageErrInvalidArgument, kKyrImageErrUnsupportedPixelType (no
// such pair), kKyrImageErrSizeMismatch (source too short or target memory too
// small).
KYRIMAGE_API KyrImageStatus KyrImageUnpacker_Unpack(KyrImageUnpacker *unpacker, const KyrImage *source,
                                                    KyrImage *target) noexcept;

} // extern "C"
