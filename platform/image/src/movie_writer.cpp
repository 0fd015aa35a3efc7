#include "movie_writer_private.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>

#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <image/KyrPixelType.h>

#include "pixel_format_private.h"
#include "temp_file_private.h"

namespace KyrImageLib {

namespace {

struct FormatClose {
    void operator()(AVFormatContext *format) const noexcept
    {
        if (format->pb)
            avio_closep(&format->pb);
        avformat_free_context(format);
    }
};
struct CodecFree {
    void operator()(AVCodecContext *codec) const noexcept { avcodec_free_context(&codec); }
};
struct FrameFree {
    void operator()(AVFrame *frame) const noexcept { av_frame_free(&frame); }
};
struct PacketFree {
    void operator()(AVPacket *packet) const noexcept { av_packet_free(&packet); }
};
struct ScaleFree {
    void operator()(SwsContext *scale) const noexcept { sws_freeContext(scale); }
};

// The containers by extension, as FFmpeg names their muxers.
const char *muxerOf(const std::string &extension) noexcept
{
    if (extension == "avi")
        return "avi";
    if (extension == "mkv")
        return "matroska";
    if (extension == "mp4")
        return "mp4";
    if (extension == "mov")
        return "mov";
    if (extension == "webm")
        return "webm";
    return nullptr;
}

AVPixelFormat sourceFormatOf(uint32_t pixelType) noexcept
{
    switch (pixelType) {
    case kKyrPixelMono8: return AV_PIX_FMT_GRAY8;
    case kKyrPixelRGB8: return AV_PIX_FMT_RGB24;
    case kKyrPixelBGR8: return AV_PIX_FMT_BGR24;
    default: return AV_PIX_FMT_NONE;
    }
}

bool supports(const AVCodec *codec, AVPixelFormat format) noexcept
{
    for (const AVPixelFormat *f = codec->pix_fmts; f && *f != AV_PIX_FMT_NONE; ++f) {
        if (*f == format)
            return true;
    }
    return false;
}

// Lossy encoders get 4:2:0 where they take it (full range for JPEG), the
// format every player reads; lossless ones keep the source's samples as
// closely as they can.
AVPixelFormat encoderFormatOf(const AVCodec *codec, AVPixelFormat source) noexcept
{
    if (!codec->pix_fmts || supports(codec, source))
        return source;
    const AVCodecDescriptor *descriptor = avcodec_descriptor_get(codec->id);
    const bool lossless = descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS) &&
                          !(descriptor->props & AV_CODEC_PROP_LOSSY);
    if (!lossless && supports(codec, AV_PIX_FMT_YUVJ420P))
        return AV_PIX_FMT_YUVJ420P;
    if (!lossless && supports(codec, AV_PIX_FMT_YUV420P))
        return AV_PIX_FMT_YUV420P;
    return avcodec_find_best_pix_fmt_of_list(codec->pix_fmts, source, 0, nullptr);
}

// Whether frames can reach `codec`: taken as they are, or converted by
// swscale into the format it is given (some encoders take only formats
// swscale cannot make, such as palettes).
bool reachable(const AVCodec *codec) noexcept
{
    const AVPixelFormat format = encoderFormatOf(codec, AV_PIX_FMT_GRAY8);
    return format == AV_PIX_FMT_GRAY8 || (format != AV_PIX_FMT_NONE && sws_isSupportedOutput(format));
}

// FFmpeg's own messages would land on the caller's standard error; failures
// reach the caller as codes instead. Set at every start, since other users of
// FFmpeg in the process (OpenCV's video I/O) set their own level.
void silenceFFmpeg() noexcept
{
    av_log_set_level(AV_LOG_QUIET);
}

} // namespace

struct MovieWriter::State {
    TempFile file;
    std::unique_ptr<AVFormatContext, FormatClose> format;
    std::unique_ptr<AVCodecContext, CodecFree> codec;
    // Frames to convert into, in turn: the encoder may still hold the last
    // ones, and a frame it holds would have to be copied before reuse.
    std::unique_ptr<AVFrame, FrameFree> frames[3];
    unsigned nextFrame = 0;
    std::unique_ptr<AVPacket, PacketFree> packet;
    std::unique_ptr<SwsContext, ScaleFree> scale;
    AVStream *stream = nullptr;
    uint32_t pixelType = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    int64_t next = 0;

    // Writes every packet the encoder has ready.
    KyrImageStatus drain() noexcept
    {
        for (;;) {
            const int received = avcodec_receive_packet(codec.get(), packet.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
                return kKyrImageOk;
            if (received < 0)
                return kKyrImageErrEncoder;
            av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            if (av_interleaved_write_frame(format.get(), packet.get()) < 0)
                return kKyrImageErrFileWrite;
        }
    }
};

MovieWriter::MovieWriter(std::unique_ptr<State> state) noexcept
    : state_(std::move(state))
{
}

MovieWriter::~MovieWriter() = default;

KyrImageStatus MovieWriter::start(const MovieSettings &settings, const KyrImage &first, const char *path,
                                  std::unique_ptr<MovieWriter> &writer) noexcept
{
    silenceFFmpeg();
    const char *muxer = nullptr;
    try {
        muxer = muxerOf(extensionOf(path));
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    if (!muxer)
        return kKyrImageErrUnsupportedFileType;
    const AVPixelFormat source = sourceFormatOf(first.pixelType);
    if (source == AV_PIX_FMT_NONE)
        return kKyrImageErrUnsupportedPixelType;
    if (first.width == 0 || first.height == 0 || first.width > 16384 || first.height > 16384)
        return kKyrImageErrSizeMismatch;
    if (!(settings.frameRate > 0) || !std::isfinite(settings.frameRate) || settings.ticksPerSecond <= 0 ||
        settings.ticksPerSecond > INT32_MAX)
        return kKyrImageErrInvalidArgument;
    const AVCodec *encoder = avcodec_find_encoder_by_name(settings.encoder.c_str());
    // Const from FFmpeg 5 on; FFmpeg 4 (Debian 11) takes it non-const below.
    auto *container = av_guess_format(muxer, nullptr, nullptr);
    if (!encoder || encoder->type != AVMEDIA_TYPE_VIDEO || !container ||
        avformat_query_codec(container, encoder->id, FF_COMPLIANCE_NORMAL) != 1)
        return kKyrImageErrUnknownEncoder;

    std::unique_ptr<State> state;
    try {
        state = std::make_unique<State>();
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    KyrImageStatus status = state->file.open(path);
    if (status != kKyrImageOk)
        return status;
    // FFmpeg writes through its own I/O; the name stays reserved meanwhile.
    const int fd = state->file.releaseDescriptor();
    ::close(fd);

    AVFormatContext *format = nullptr;
    if (avformat_alloc_output_context2(&format, container, nullptr, state->file.tempPath().c_str()) < 0 || !format)
        return kKyrImageErrOutOfMemory;
    state->format.reset(format);
    state->codec.reset(avcodec_alloc_context3(encoder));
    state->packet.reset(av_packet_alloc());
    if (!state->codec || !state->packet)
        return kKyrImageErrOutOfMemory;

    // A frame lasts a whole number of ticks; the encoder's time base is that
    // duration as a fraction of a second, kept within what every encoder accepts.
    const int64_t ticks = settings.ticksPerSecond;
    const int64_t frameTicks = std::max<int64_t>(1, std::llround(double(ticks) / settings.frameRate));
    AVRational timeBase;
    av_reduce(&timeBase.num, &timeBase.den, frameTicks, ticks, 65535);
    AVCodecContext *codec = state->codec.get();
    codec->width = int(first.width);
    codec->height = int(first.height);
    codec->pix_fmt = encoderFormatOf(encoder, source);
    codec->time_base = timeBase;
    codec->framerate = av_inv_q(timeBase);
    codec->thread_count = 0;
    if (settings.minQuantizer >= 0)
        codec->qmin = int(settings.minQuantizer);
    if (settings.maxQuantizer >= 0)
        codec->qmax = int(settings.maxQuantizer);
    if (container->flags & AVFMT_GLOBALHEADER)
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (codec->pix_fmt == AV_PIX_FMT_NONE || avcodec_open2(codec, encoder, nullptr) < 0)
        return kKyrImageErrEncoder;

    state->stream = avformat_new_stream(format, nullptr);
    if (!state->stream)
        return kKyrImageErrOutOfMemory;
    // AVI counts frames rather than time: its stream ticks once a frame.
    state->stream->time_base = std::strcmp(muxer, "avi") == 0 ? timeBase : AVRational{ 1, int(ticks) };
    state->stream->avg_frame_rate = codec->framerate;
    if (avcodec_parameters_from_context(state->stream->codecpar, codec) < 0)
        return kKyrImageErrOutOfMemory;
    const int opened = avio_open(&format->pb, state->file.tempPath().c_str(), AVIO_FLAG_WRITE);
    if (opened < 0)
        return statusOfErrno(AVUNERROR(opened), kKyrImageErrFileOpen);
    if (avformat_write_header(format, nullptr) < 0)
        return kKyrImageErrFileWrite;

    for (auto &frame : state->frames) {
        frame.reset(av_frame_alloc());
        if (!frame)
            return kKyrImageErrOutOfMemory;
        frame->format = codec->pix_fmt;
        frame->width = codec->width;
        frame->height = codec->height;
        if (av_frame_get_buffer(frame.get(), 0) < 0)
            return kKyrImageErrOutOfMemory;
    }
    if (codec->pix_fmt != source) {
        state->scale.reset(sws_getContext(codec->width, codec->height, source, codec->width, codec->height,
                                          codec->pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr));
        if (!state->scale)
            return kKyrImageErrEncoder;
    }
    state->pixelType = first.pixelType;
    state->width = first.width;
    state->height = first.height;
    try {
        writer = std::make_unique<MovieWriter>(std::move(state));
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    return kKyrImageOk;
}

KyrImageStatus MovieWriter::append(const KyrImage &image) noexcept
{
    State &s = *state_;
    if (image.pixelType != s.pixelType)
        return kKyrImageErrUnsupportedPixelType;
    const uint64_t line = lineBytes(image.pixelType, image.width);
    if (image.width != s.width || image.height != s.height || !holdsLines(image, line, image.height))
        return kKyrImageErrSizeMismatch;
    AVFrame *frame = s.frames[s.nextFrame].get();
    s.nextFrame = (s.nextFrame + 1) % std::size(s.frames);
    if (av_frame_make_writable(frame) < 0)
        return kKyrImageErrOutOfMemory;
    const uint8_t *planes[1] = { image.data };
    const int strides[1] = { int(strideOf(image)) };
    if (s.scale)
        sws_scale(s.scale.get(), planes, strides, 0, int(image.height), frame->data, frame->linesize);
    else
        av_image_copy_plane(frame->data[0], frame->linesize[0], image.data, strides[0], int(line), int(image.height));
    frame->pts = s.next++;
    if (avcodec_send_frame(s.codec.get(), frame) < 0)
        return kKyrImageErrEncoder;
    return s.drain();
}

KyrImageStatus MovieWriter::finish() noexcept
{
    State &s = *state_;
    if (avcodec_send_frame(s.codec.get(), nullptr) < 0)
        return kKyrImageErrEncoder;
    KyrImageStatus status = s.drain();
    if (status != kKyrImageOk)
        return status;
    if (av_write_trailer(s.format.get()) < 0)
        return kKyrImageErrFileWrite;
    if (avio_closep(&s.format->pb) < 0)
        return kKyrImageErrFileWrite;
    return s.file.commit();
}

std::string usableEncoders(size_t limit)
{
    // In order of preference: the common lossy codecs, then lossless and raw.
    static const char *const kCandidates[] = {
        "libx264", "libx265", "mpeg4", "libxvid", "mjpeg", "libvpx-vp9", "libvpx", "libaom-av1", "libsvtav1",
        "mpeg2video", "mpeg1video", "msmpeg4", "msmpeg4v2", "wmv2", "h263p", "libtheora", "ffv1", "huffyuv",
        "ffvhuff", "utvideo", "magicyuv", "prores_ks", "png", "qtrle", "zmbv", "rawvideo",
    };
    static const char *const kMuxers[] = { "avi", "matroska", "mp4", "mov", "webm" };
    std::string names;
    for (const char *name : kCandidates) {
        const AVCodec *codec = avcodec_find_encoder_by_name(name);
        if (!codec || codec->type != AVMEDIA_TYPE_VIDEO || (codec->capabilities & AV_CODEC_CAP_EXPERIMENTAL))
            continue;
        bool muxable = false;
        for (const char *muxer : kMuxers) {
            const AVOutputFormat *container = av_guess_format(muxer, nullptr, nullptr);
            muxable = muxable || (container && avformat_query_codec(container, codec->id, FF_COMPLIANCE_NORMAL) == 1);
        }
        if (!muxable || !reachable(codec) || names.size() + std::strlen(name) + 1 > limit)
            continue;
        names += name;
        names += '|';
    }
    return names;
}

} // namespace KyrImageLib
