// libKyrImageSerializer: still image files and movies.
#pragma once

#include <image/KyrImage.h>
#include <image/KyrImageExport.h>
#include <image/KyrImageParams.h>

struct KyrImageSerializer;

// Creation kinds: callers that save still images only name the first, movie
// makers the second. A component of either kind does both, since one
// component may serve a caller's stills and movies alike.
constexpr int32_t kKyrSerializerStill = 0;
constexpr int32_t kKyrSerializerStillAndMovie = 1;

extern "C" {

// A new serializer of the given kind, or null for an unknown kind or when memory
// is short; deleted with KyrImageSerializer_DeleteComponent, which also finishes
// a running movie. Parameters: integers "add.palette" (write a palette where the
// format has one), "ticks.per.sec" (movie time base), "min.quantizer" and
// "max.quantizer" (encoder quantizer bounds); texts "movie.compressor" (encoder
// name for the next movie) and, read only, "movie.compressors" (every encoder
// usable for Mono8 and BGR8 frames, each name followed by "|").
KYRIMAGE_API KyrImageSerializer *KyrImageSerializer_CreateComponent(int32_t kind) noexcept;
KYRIMAGE_API void KyrImageSerializer_DeleteComponent(KyrImageSerializer *serializer) noexcept;

// The serializer's parameter object, or null for a null serializer.
KYRIMAGE_API KyrImageParams *KyrImageSerializer_GetComponent(KyrImageSerializer *serializer) noexcept;

// With a file name: writes `image` as a still image whose format follows the
// extension (png, tif/tiff, bmp, jpg/jpeg). 16-bit monochrome of fewer
// significant bits (Mono10, Mono12, ...) is kept by TIFF as the camera's
// counts, with MaxSampleValue and SMaxSampleValue giving their range, and by
// PNG scaled to full range as PNG requires, with sBIT giving the significant
// bits (the counts are the samples shifted down by 16 - sBIT). The file
// appears whole or not at all. With a null file name: appends
// `image` as the next frame of the running movie; it must have the pixel type
// and size the movie was started with. Codes: kKyrImageErrInvalidArgument,
// kKyrImageErrUnsupportedFileType, kKyrImageErrUnsupportedPixelType,
// kKyrImageErrFileOpen, kKyrImageErrFileWrite, kKyrImageErrInvalidState (null file
// name and no movie running), kKyrImageErrSizeMismatch, kKyrImageErrEncoder.
KYRIMAGE_API KyrImageStatus KyrImageSerializer_Save(KyrImageSerializer *serializer, const KyrImage *image,
                                                    const char *fileName) noexcept;

// Starts a movie of frames like `image` (Mono8 or BGR8) at `frameRate` frames
// per second, container from the extension (avi, mkv, mp4), encoder from
// "movie.compressor". Codes: as Save, and kKyrImageErrUnknownEncoder,
// kKyrImageErrInvalidState (a movie is already running).
KYRIMAGE_API KyrImageStatus KyrImageSerializer_StartMovieRecord(KyrImageSerializer *serializer, const KyrImage *image,
                                                                const char *fileName, double frameRate) noexcept;

// Finishes the running movie and closes its file. Codes:
// kKyrImageErrInvalidState (none running), kKyrImageErrFileWrite,
// kKyrImageErrEncoder.
KYRIMAGE_API KyrImageStatus KyrImageSerializer_FinishRecord(KyrImageSerializer *serializer) noexcept;

} // extern "C"
