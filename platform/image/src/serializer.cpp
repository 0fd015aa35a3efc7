// libKyrImageSerializer: still image files and movies.
#include <image/KyrImageSerializer.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "movie_writer_private.h"
#include "params_private.h"
#include "pixel_format_private.h"
#include "still_writers_private.h"
#include "temp_file_private.h"

using namespace KyrImageLib;

struct KyrImageSerializer {
    ParamSet params;
    std::vector<uint8_t> scratch;  // converted lines of the last still
    std::unique_ptr<MovieWriter> movie;
};

namespace {

// The longest list of encoder names the component hands out, with its NUL.
constexpr size_t kCompressorsLimit = 255;

enum class StillFormat { None, Png, Tiff, Bmp, Jpeg };

StillFormat stillFormatOf(const std::string &extension) noexcept
{
    if (extension == "png")
        return StillFormat::Png;
    if (extension == "tif" || extension == "tiff")
        return StillFormat::Tiff;
    if (extension == "bmp")
        return StillFormat::Bmp;
    if (extension == "jpg" || extension == "jpeg")
        return StillFormat::Jpeg;
    return StillFormat::None;
}

KyrImageStatus saveStill(KyrImageSerializer &serializer, const KyrImage &image, const char *fileName)
{
    const StillFormat format = stillFormatOf(extensionOf(fileName));
    if (format == StillFormat::None)
        return kKyrImageErrUnsupportedFileType;
    StillPixels pixels;
    if (!stillPixelsOf(image, pixels))
        return kKyrImageErrUnsupportedPixelType;
    const uint64_t line = lineBytes(image.pixelType, image.width);
    if (image.width == 0 || image.height == 0 || !holdsLines(image, line, image.height))
        return kKyrImageErrSizeMismatch;
    pixels.stride = strideOf(image);

    TempFile file;
    KyrImageStatus status = file.open(fileName);
    if (status != kKyrImageOk)
        return status;
    const bool palette = serializer.params.intValue("add.palette") != 0;
    if (format == StillFormat::Tiff) {
        status = writeTiff(file.releaseDescriptor(), fileName, pixels, palette, serializer.scratch);
    } else if (format == StillFormat::Bmp) {
        status = writeBmp(file.descriptor(), pixels);
    } else {
        FILE *stream = file.stream();
        if (!stream)
            return kKyrImageErrOutOfMemory;
        status = format == StillFormat::Png ? writePng(stream, pixels, palette) : writeJpeg(stream, pixels);
    }
    if (status != kKyrImageOk)
        return status;
    return file.commit();
}

} // namespace

KyrImageSerializer *KyrImageSerializer_CreateComponent(int32_t kind) noexcept
{
    if (kind != kKyrSerializerStill && kind != kKyrSerializerStillAndMovie)
        return nullptr;
    try {
        auto serializer = std::make_unique<KyrImageSerializer>();
        ParamSet &params = serializer->params;
        params.declareInt("add.palette", 0);
        params.declareInt("ticks.per.sec", 100000000);
        params.declareInt("min.quantizer", -1);
        params.declareInt("max.quantizer", -1);
        params.declareString("movie.compressor", "mpeg4");
        params.declareString("movie.compressors", usableEncoders(kCompressorsLimit), true);
        return serializer.release();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void KyrImageSerializer_DeleteComponent(KyrImageSerializer *serializer) noexcept
{
    std::unique_ptr<KyrImageSerializer> owned(serializer);
    if (owned && owned->movie)
        owned->movie->finish();
}

KyrImageParams *KyrImageSerializer_GetComponent(KyrImageSerializer *serializer) noexcept
{
    return serializer ? &serializer->params : nullptr;
}

KyrImageStatus KyrImageSerializer_Save(KyrImageSerializer *serializer, const KyrImage *image,
                                       const char *fileName) noexcept
{
    if (!serializer || !image)
        return kKyrImageErrInvalidArgument;
    if (!fileName) {
        if (!serializer->movie)
            return kKyrImageErrInvalidState;
        return serializer->movie->append(*image);
    }
    try {
        return saveStill(*serializer, *image, fileName);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
}

KyrImageStatus KyrImageSerializer_StartMovieRecord(KyrImageSerializer *serializer, const KyrImage *image,
                                                   const char *fileName, double frameRate) noexcept
{
    if (!serializer || !image || !fileName)
        return kKyrImageErrInvalidArgument;
    if (serializer->movie)
        return kKyrImageErrInvalidState;
    const ParamSet &params = serializer->params;
    try {
        const MovieSettings settings{ params.stringValue("movie.compressor"), params.intValue("ticks.per.sec"),
                                      params.intValue("min.quantizer"), params.intValue("max.quantizer"), frameRate };
        return MovieWriter::start(settings, *image, fileName, serializer->movie);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
}

KyrImageStatus KyrImageSerializer_FinishRecord(KyrImageSerializer *serializer) noexcept
{
    if (!serializer)
        return kKyrImageErrInvalidArgument;
    if (!serializer->movie)
        return kKyrImageErrInvalidState;
    std::unique_ptr<MovieWriter> movie = std::move(serializer->movie);
    return movie->finish();
}
