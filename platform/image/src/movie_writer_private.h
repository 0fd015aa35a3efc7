// Movies through FFmpeg: one container file, one video stream, frames appended
// one by one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <image/KyrImage.h>

namespace KyrImageLib {

struct MovieSettings {
    std::string encoder;    // FFmpeg encoder name
    int64_t ticksPerSecond; // time base of the stream's time stamps
    int64_t minQuantizer;   // encoder quantizer bounds; negative keeps the encoder's own
    int64_t maxQuantizer;
    double frameRate;
};

class MovieWriter
{
public:
    // Opens `path` (container from its extension: avi, mkv, mp4) for frames of
    // `first`'s type (Mono8, RGB8 or BGR8) and size. Nothing is left on disk on
    // failure. Codes: kKyrImageErrUnsupportedFileType,
    // kKyrImageErrUnsupportedPixelType, kKyrImageErrUnknownEncoder (no such
    // encoder, or one the container cannot hold), kKyrImageErrInvalidArgument
    // (frame rate, time base), kKyrImageErrEncoder, kKyrImageErrFileOpen,
    // kKyrImageErrFileWrite, kKyrImageErrOutOfMemory.
    static KyrImageStatus start(const MovieSettings &settings, const KyrImage &first, const char *path,
                                std::unique_ptr<MovieWriter> &writer) noexcept;
    ~MovieWriter();

    // Encodes the next frame. Codes: kKyrImageErrUnsupportedPixelType,
    // kKyrImageErrSizeMismatch, kKyrImageErrEncoder, kKyrImageErrFileWrite.
    KyrImageStatus append(const KyrImage &frame) noexcept;
    // Drains the encoder, completes the file and gives it its final name; on
    // failure the file is removed. Codes: kKyrImageErrEncoder, kKyrImageErrFileWrite.
    KyrImageStatus finish() noexcept;

    struct State;
    // Made by start() only.
    explicit MovieWriter(std::unique_ptr<State> state) noexcept;

private:
    std::unique_ptr<State> state_;
};

// The encoders usable for Mono8 and BGR8 frames in at least one of the
// containers, each name followed by "|", at most `limit` bytes in all.
std::string usableEncoders(size_t limit);

} // namespace KyrImageLib
