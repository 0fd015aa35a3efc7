#include "still_writers_private.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csetjmp>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <png.h>
#include <tiffio.h>
#include <zlib.h>
#include <jpeglib.h>
#include <sys/uio.h>
#include <unistd.h>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

#include <image/KyrPixelType.h>

#include "kernels_private.h"

namespace KyrImageLib {

namespace {

using Format = StillPixels::Format;

// Grey samples of `bits` significant bits stretched to 16 bits by repeating
// their top bits below them, big-endian, as PNG wants them: full scale stays
// full scale, and with the significant bits the file records (sBIT) a reader
// gets the counts back exactly (shifted down by 16 - bits).
void stretchLine(const uint16_t *in, uint16_t *out, uint32_t width, uint32_t bits) noexcept
{
    const uint32_t max = (1u << bits) - 1;
    const uint32_t up = 16 - bits;
    uint32_t x = 0;
#if defined(__x86_64__)
    const __m128i excess = _mm_set1_epi16(int16_t(0xFFFF - max));
    const __m128i upCount = _mm_cvtsi32_si128(int(up));
    const __m128i downCount = _mm_cvtsi32_si128(int(bits - up));
    for (; x + 8 <= width; x += 8) {
        // Saturating add then subtract clamps at `max` with SSE2 alone.
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + x));
        v = _mm_subs_epu16(_mm_adds_epu16(v, excess), excess);
        v = _mm_or_si128(_mm_sll_epi16(v, upCount), _mm_srl_epi16(v, downCount));
        v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + x), v);
    }
#endif
    for (; x < width; ++x) {
        uint32_t v = in[x] > max ? max : in[x];
        v = up ? (v << up | v >> (bits - up)) : v;
        out[x] = uint16_t(v >> 8 | (v & 0xFF) << 8);
    }
}

// Grey samples of `bits` significant bits as they are, those beyond the
// format's maximum clamped to it.
void clampLine(const uint16_t *in, uint16_t *out, uint32_t width, uint32_t bits) noexcept
{
    const uint16_t max = uint16_t((1u << bits) - 1);
    for (uint32_t x = 0; x < width; ++x)
        out[x] = in[x] > max ? max : in[x];
}

void swapRedBlue(const uint8_t *in, uint8_t *out, uint32_t width) noexcept
{
    for (uint32_t x = 0; x < width; ++x, in += 3, out += 3) {
        out[0] = in[2];
        out[1] = in[1];
        out[2] = in[0];
    }
}

uint32_t bytesPerPixelOf(const StillPixels &pixels) noexcept
{
    return pixels.format == Format::Grey8 ? 1 : pixels.format == Format::Grey16 ? 2 : 3;
}

const uint8_t *lineOf(const StillPixels &pixels, uint32_t y) noexcept
{
    return pixels.data + y * pixels.stride;
}

struct PngWrite {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngWrite() { png_destroy_write_struct(&png, &info); }
};

void pngFail(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void pngQuiet(png_structp, png_const_charp) {}

// One slice of lines, PNG-filtered and deflated as a raw stream of its own.
struct DeflatedSlice {
    std::vector<uint8_t> data;
    uLong adler = 1;
    uint64_t length = 0;  // filtered bytes
    bool ok = false;
};

// PNG lines of one slice: each line SUB-filtered (the difference to the pixel
// before, OpenCV's speed-first choice with run-length deflate), deflated at
// level 1. Slices but the last end on a byte boundary without ending the
// stream, so that they join into one zlib stream, as pigz joins them.
void deflateSlice(const StillPixels &pixels, uint32_t first, uint32_t end, bool last, DeflatedSlice &slice) noexcept
{
    const uint32_t bytesPerPixel = bytesPerPixelOf(pixels);
    const uint64_t lineBytes = uint64_t(pixels.width) * bytesPerPixel;
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, -15, 8, Z_RLE) != Z_OK)
        return;
    try {
        std::vector<uint8_t> line(lineBytes), filtered(lineBytes + 1);
        slice.length = (lineBytes + 1) * (end - first);
        slice.data.resize(deflateBound(&stream, uLong(slice.length)) + 16);
        stream.next_out = slice.data.data();
        stream.avail_out = uInt(slice.data.size());
        bool ok = true;
        for (uint32_t y = first; y < end && ok; ++y) {
            const uint8_t *in = lineOf(pixels, y);
            if (pixels.format == Format::Grey16) {
                stretchLine(reinterpret_cast<const uint16_t *>(in), reinterpret_cast<uint16_t *>(line.data()),
                            pixels.width, pixels.bits);
                in = line.data();
            } else if (pixels.format == Format::Bgr8) {
                swapRedBlue(in, line.data(), pixels.width);
                in = line.data();
            }
            filtered[0] = 1;  // SUB
            uint8_t *out = filtered.data() + 1;
            for (uint64_t i = 0; i < bytesPerPixel; ++i)
                out[i] = in[i];
            for (uint64_t i = bytesPerPixel; i < lineBytes; ++i)
                out[i] = uint8_t(in[i] - in[i - bytesPerPixel]);
            slice.adler = adler32(slice.adler, filtered.data(), uInt(filtered.size()));
            stream.next_in = filtered.data();
            stream.avail_in = uInt(filtered.size());
            const bool lastLine = y + 1 == end;
            const int flush = !lastLine ? Z_NO_FLUSH : last ? Z_FINISH : Z_SYNC_FLUSH;
            const int result = deflate(&stream, flush);
            ok = (result == Z_OK || result == Z_STREAM_END) && stream.avail_in == 0;
        }
        slice.data.resize(slice.data.size() - stream.avail_out);
        slice.ok = ok;
    } catch (const std::bad_alloc &) {
        slice.ok = false;
    }
    deflateEnd(&stream);
}

// Everything between setjmp and a libpng error is plain C: no object with a
// destructor lives in this frame, so the jump skips nothing. libpng writes the
// chunks around the image data, which is deflated beforehand.
bool pngWriteAll(png_structp png, png_infop info, FILE *file, const StillPixels &pixels, bool palette,
                 const uint8_t *idat, uint64_t idatLength)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_init_io(png, file);
    int colourType = PNG_COLOR_TYPE_GRAY;
    if (pixels.format == Format::Rgb8 || pixels.format == Format::Bgr8)
        colourType = PNG_COLOR_TYPE_RGB;
    else if (palette && pixels.format == Format::Grey8)
        colourType = PNG_COLOR_TYPE_PALETTE;
    const int depth = pixels.format == Format::Grey16 ? 16 : 8;
    png_set_IHDR(png, info, pixels.width, pixels.height, depth, colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colourType == PNG_COLOR_TYPE_PALETTE) {
        png_color ramp[256];
        for (int i = 0; i < 256; ++i)
            ramp[i].red = ramp[i].green = ramp[i].blue = png_byte(i);
        png_set_PLTE(png, info, ramp, 256);
    }
    if (depth == 16) {
        png_color_8 significant = {};
        significant.gray = png_byte(pixels.bits);
        png_set_sBIT(png, info, &significant);
    }
    png_write_info(png, info);
    const uint64_t kChunk = 1 << 20;
    for (uint64_t at = 0; at < idatLength; at += kChunk)
        png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), idat + at,
                        png_size_t(std::min(kChunk, idatLength - at)));
    png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    return true;
}

struct TiffClose {
    void operator()(TIFF *tiff) const noexcept { TIFFClose(tiff); }
};

#if TIFFLIB_VERSION >= 20221213
int tiffQuiet(TIFF *, void *, const char *, const char *, va_list)
{
    return 1;
}

struct TiffOptions {
    TIFFOpenOptions *options = TIFFOpenOptionsAlloc();
    ~TiffOptions() { TIFFOpenOptionsFree(options); }
};
#endif

// Opens `fd` for writing a TIFF file, with libtiff's messages kept off stderr:
// a failure is reported by its status alone. Handlers per file came with
// libtiff 4.5; before it (Debian 11 has 4.2) there are only the process-wide
// ones, which are not ours to replace, so libtiff may print its own message.
// On failure `fd` is closed.
KyrImageStatus openTiff(int fd, const char *name, std::unique_ptr<TIFF, TiffClose> &tiff) noexcept
{
#if TIFFLIB_VERSION >= 20221213
    TiffOptions options;
    if (!options.options) {
        ::close(fd);
        return kKyrImageErrOutOfMemory;
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options.options, tiffQuiet, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.options, tiffQuiet, nullptr);
    tiff.reset(TIFFFdOpenExt(fd, name, "w", options.options));
#else
    tiff.reset(TIFFFdOpen(fd, name, "w"));
#endif
    if (!tiff) {
        ::close(fd);
        return kKyrImageErrFileWrite;
    }
    return kKyrImageOk;
}

struct JpegError {
    jpeg_error_mgr manager;
    jmp_buf jump;
};

void jpegFail(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<JpegError *>(info->err)->jump, 1);
}

void jpegQuiet(j_common_ptr) {}

struct JpegWrite {
    jpeg_compress_struct info = {};
    JpegError error = {};
    bool created = false;
    ~JpegWrite()
    {
        if (created)
            jpeg_destroy_compress(&info);
    }
};

// As for PNG: plain C from setjmp on.
bool jpegWriteAll(JpegWrite &jpeg, FILE *file, const StillPixels &pixels, uint8_t *scratch)
{
    jpeg_compress_struct &info = jpeg.info;
    if (setjmp(jpeg.error.jump))
        return false;
    jpeg_create_compress(&info);
    jpeg.created = true;
    jpeg_stdio_dest(&info, file);
    info.image_width = pixels.width;
    info.image_height = pixels.height;
    const bool grey = pixels.format == Format::Grey8 || pixels.format == Format::Grey16;
    info.input_components = grey ? 1 : 3;
    info.in_color_space = grey ? JCS_GRAYSCALE : pixels.format == Format::Bgr8 ? JCS_EXT_BGR : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    jpeg_start_compress(&info, TRUE);
    for (uint32_t y = 0; y < pixels.height; ++y) {
        const uint8_t *line = lineOf(pixels, y);
        if (pixels.format == Format::Grey16) {
            reduceLine(reinterpret_cast<const uint16_t *>(line), scratch, pixels.width, pixels.bits);
            line = scratch;
        }
        JSAMPROW row = const_cast<JSAMPROW>(line);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

void put16(uint8_t *at, uint32_t value)
{
    at[0] = uint8_t(value);
    at[1] = uint8_t(value >> 8);
}

void put32(uint8_t *at, uint32_t value)
{
    put16(at, value & 0xFFFF);
    put16(at + 2, value >> 16);
}

// Gathers pieces of memory and writes them with as few system calls as it
// can, without copying them.
class RowWriter
{
public:
    explicit RowWriter(int fd) : fd_(fd) {}

    // Queues `length` bytes at `data`, which must stay valid until the next flush.
    bool add(const uint8_t *data, uint64_t length)
    {
        if (count_ == kPieces && !flush())
            return false;
        pieces_[count_++] = iovec{ const_cast<uint8_t *>(data), size_t(length) };
        return true;
    }

    bool flush()
    {
        int first = 0;
        while (first < count_) {
            const ssize_t written = ::writev(fd_, pieces_ + first, count_ - first);
            if (written < 0) {
                if (errno == EINTR)
                    continue;
                return false;
            }
            size_t left = size_t(written);
            while (first < count_ && left >= pieces_[first].iov_len)
                left -= pieces_[first++].iov_len;
            if (first < count_) {
                pieces_[first].iov_base = static_cast<uint8_t *>(pieces_[first].iov_base) + left;
                pieces_[first].iov_len -= left;
            }
        }
        count_ = 0;
        return true;
    }

private:
    static constexpr int kPieces = 512;
    int fd_;
    iovec pieces_[kPieces];
    int count_ = 0;
};

// Converts lines [0, lines) in order on a thread of its own while the caller
// uses those already converted; without a thread to be had, converts them all
// at once. The destructor stops the conversion and joins the thread.
template <typename ConvertLine>
class ConvertAhead
{
public:
    ConvertAhead(uint32_t lines, ConvertLine convertLine)
        : lines_(lines)
        , convertLine_(convertLine)
    {
        if (lines_ == 0)
            return;
        try {
            thread_ = std::thread([this] { run(); });
        } catch (const std::exception &) {
            run();
        }
    }

    ~ConvertAhead()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
    }

    // Waits until lines [0, lines) are converted.
    void waitFor(uint32_t lines)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait(lock, [&] { return converted_ >= lines; });
    }

private:
    void run()
    {
        constexpr uint32_t kBatch = 32;
        for (uint32_t y = 0; y < lines_ && !stop_;) {
            const uint32_t end = std::min(lines_, y + kBatch);
            for (; y < end; ++y)
                convertLine_(y);
            {
                std::lock_guard<std::mutex> lock(mutex_);
                converted_ = end;
            }
            ready_.notify_one();
        }
    }

    const uint32_t lines_;
    const ConvertLine convertLine_;
    std::atomic<bool> stop_{ false };
    std::mutex mutex_;
    std::condition_variable ready_;
    uint32_t converted_ = 0;
    std::thread thread_;
};

} // namespace

bool stillPixelsOf(const KyrImage &image, StillPixels &pixels) noexcept
{
    switch (image.pixelType) {
    case kKyrPixelMono8: pixels.format = Format::Grey8; pixels.bits = 8; break;
    case kKyrPixelMono10: pixels.format = Format::Grey16; pixels.bits = 10; break;
    case kKyrPixelMono12: pixels.format = Format::Grey16; pixels.bits = 12; break;
    case kKyrPixelMono14: pixels.format = Format::Grey16; pixels.bits = 14; break;
    case kKyrPixelMono16: pixels.format = Format::Grey16; pixels.bits = 16; break;
    case kKyrPixelRGB8: pixels.format = Format::Rgb8; pixels.bits = 8; break;
    case kKyrPixelBGR8: pixels.format = Format::Bgr8; pixels.bits = 8; break;
    default: return false;
    }
    pixels.width = image.width;
    pixels.height = image.height;
    pixels.data = image.data;
    return true;
}

KyrImageStatus writePng(FILE *file, const StillPixels &pixels, bool palette) noexcept
{
    PngWrite png;
    png.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, pngFail, pngQuiet);
    if (png.png)
        png.info = png_create_info_struct(png.png);
    if (!png.info)
        return kKyrImageErrOutOfMemory;
    // The image data: a zlib header, the slices' deflate streams, and the
    // Adler-32 of all filtered lines.
    std::vector<DeflatedSlice> slices;
    std::vector<uint8_t> idat;
    try {
        const uint64_t bytes = uint64_t(pixels.width) * pixels.height * bytesPerPixelOf(pixels);
        slices.resize(sliceCount(pixels.height, bytes));
        forEachSlice(pixels.height, uint32_t(slices.size()), [&](uint32_t index, uint32_t first, uint32_t end) {
            deflateSlice(pixels, first, end, index + 1 == slices.size(), slices[index]);
        });
        uint64_t total = 6;
        for (const DeflatedSlice &slice : slices)
            total += slice.data.size();
        idat.reserve(total);
        idat.push_back(0x78);  // deflate, 32 KiB window
        idat.push_back(0x01);  // fastest compression, header check bits
        uLong adler = 1;
        for (const DeflatedSlice &slice : slices) {
            if (!slice.ok)
                return kKyrImageErrOutOfMemory;
            idat.insert(idat.end(), slice.data.begin(), slice.data.end());
            adler = adler32_combine(adler, slice.adler, z_off_t(slice.length));
        }
        for (int shift = 24; shift >= 0; shift -= 8)
            idat.push_back(uint8_t(adler >> shift));
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    return pngWriteAll(png.png, png.info, file, pixels, palette, idat.data(), idat.size()) ? kKyrImageOk
                                                                                          : kKyrImageErrFileWrite;
}

KyrImageStatus writeTiff(int fd, const char *name, const StillPixels &pixels, bool palette,
                         std::vector<uint8_t> &converted) noexcept
{
    std::unique_ptr<TIFF, TiffClose> tiff;
    const KyrImageStatus opened = openTiff(fd, name, tiff);
    if (opened != kKyrImageOk)
        return opened;
    const bool grey = pixels.format == Format::Grey8 || pixels.format == Format::Grey16;
    const uint32_t samples = grey ? 1 : 3;
    const uint32_t depth = pixels.format == Format::Grey16 ? 16 : 8;
    const uint64_t line = uint64_t(pixels.width) * samples * depth / 8;
    // Strips of about 1 MiB: few writes, and readers need not hold the whole image.
    const uint32_t rowsPerStrip = uint32_t(std::max<uint64_t>(1, std::min<uint64_t>(pixels.height, (1 << 20) / line)));
    TIFF *t = tiff.get();
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, pixels.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, pixels.height);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, depth);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
    if (depth == 16) {
        // The camera's counts as they are, and their range, for readers that
        // scale for display.
        const uint32_t max = (1u << pixels.bits) - 1;
        TIFFSetField(t, TIFFTAG_MAXSAMPLEVALUE, uint16_t(max));
        TIFFSetField(t, TIFFTAG_SMAXSAMPLEVALUE, double(max));
    }
    std::vector<uint16_t> ramp;
    if (grey && palette && depth == 8) {
        try {
            ramp.resize(256);
        } catch (const std::bad_alloc &) {
            return kKyrImageErrOutOfMemory;
        }
        for (uint32_t i = 0; i < 256; ++i)
            ramp[i] = uint16_t(i * 257);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
        TIFFSetField(t, TIFFTAG_COLORMAP, ramp.data(), ramp.data(), ramp.data());
    } else {
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, grey ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    }
    // Lines TIFF stores as they are go out straight from the image; the
    // others are converted on a second thread while the strips before them
    // are written.
    const bool direct = pixels.stride == line && (pixels.format == Format::Grey8 || pixels.format == Format::Rgb8);
    try {
        if (!direct)
            converted.resize(line * pixels.height);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    ConvertAhead ahead(direct ? 0 : pixels.height, [&](uint32_t y) {
        const uint8_t *in = lineOf(pixels, y);
        uint8_t *out = converted.data() + y * line;
        if (pixels.format == Format::Grey16)
            clampLine(reinterpret_cast<const uint16_t *>(in), reinterpret_cast<uint16_t *>(out), pixels.width,
                      pixels.bits);
        else if (pixels.format == Format::Bgr8)
            swapRedBlue(in, out, pixels.width);
        else
            std::memcpy(out, in, line);
    });
    for (uint32_t first = 0, index = 0; first < pixels.height; first += rowsPerStrip, ++index) {
        const uint32_t rows = std::min(rowsPerStrip, pixels.height - first);
        uint8_t *data = const_cast<uint8_t *>(lineOf(pixels, first));
        if (!direct) {
            ahead.waitFor(first + rows);
            data = converted.data() + first * line;
        }
        // Uncompressed strips are their own encoding: written as they are.
        if (TIFFWriteRawStrip(t, index, data, tmsize_t(rows * line)) < 0)
            return kKyrImageErrFileWrite;
    }
    if (!TIFFFlush(t))
        return kKyrImageErrFileWrite;
    return kKyrImageOk;
}

KyrImageStatus writeBmp(int fd, const StillPixels &pixels) noexcept
{
    const bool grey = pixels.format == Format::Grey8 || pixels.format == Format::Grey16;
    const uint32_t bytesPerPixel = grey ? 1 : 3;
    const uint64_t used = uint64_t(pixels.width) * bytesPerPixel;
    const uint64_t row = (used + 3) / 4 * 4;
    const uint32_t paletteBytes = grey ? 256 * 4 : 0;
    const uint64_t offset = 14 + 40 + paletteBytes;
    const uint64_t total = offset + row * pixels.height;
    if (total > UINT32_MAX)
        return kKyrImageErrSizeMismatch;
    uint8_t header[14 + 40 + 256 * 4] = {};
    header[0] = 'B';
    header[1] = 'M';
    put32(header + 2, uint32_t(total));
    put32(header + 10, uint32_t(offset));
    put32(header + 14, 40);
    put32(header + 18, pixels.width);
    put32(header + 22, pixels.height);  // positive: lines stored bottom up
    put16(header + 26, 1);
    put16(header + 28, uint16_t(bytesPerPixel * 8));
    put32(header + 34, uint32_t(row * pixels.height));
    put32(header + 38, 2835);  // 72 dots per inch
    put32(header + 42, 2835);
    if (grey) {
        put32(header + 46, 256);
        for (uint32_t i = 0; i < 256; ++i)
            put32(header + 54 + 4 * i, i * 0x010101);
    }
    RowWriter writer(fd);
    if (!writer.add(header, offset))
        return kKyrImageErrFileWrite;
    // Lines stored as BMP keeps them go out straight from the image; the
    // others through a block of converted lines.
    const bool direct = row == used && (pixels.format == Format::Grey8 || pixels.format == Format::Bgr8);
    const uint32_t blockLines = direct ? 0 : uint32_t(std::max<uint64_t>(1, (1 << 20) / row));
    std::vector<uint8_t> block;
    try {
        block.resize(row * blockLines);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    uint32_t filled = 0;
    for (uint32_t done = 0; done < pixels.height; ++done) {
        const uint8_t *in = lineOf(pixels, pixels.height - 1 - done);
        if (direct) {
            if (!writer.add(in, row))
                return kKyrImageErrFileWrite;
            continue;
        }
        uint8_t *out = block.data() + uint64_t(filled) * row;
        switch (pixels.format) {
        case Format::Grey8: std::memcpy(out, in, used); break;
        case Format::Grey16: reduceLine(reinterpret_cast<const uint16_t *>(in), out, pixels.width, pixels.bits); break;
        case Format::Rgb8: swapRedBlue(in, out, pixels.width); break;
        case Format::Bgr8: std::memcpy(out, in, used); break;
        }
        if (++filled == blockLines || done + 1 == pixels.height) {
            if (!writer.add(block.data(), uint64_t(filled) * row) || !writer.flush())
                return kKyrImageErrFileWrite;
            filled = 0;
        }
    }
    return writer.flush() ? kKyrImageOk : kKyrImageErrFileWrite;
}

KyrImageStatus writeJpeg(FILE *file, const StillPixels &pixels) noexcept
{
    JpegWrite jpeg;
    jpeg.info.err = jpeg_std_error(&jpeg.error.manager);
    jpeg.error.manager.error_exit = jpegFail;
    jpeg.error.manager.output_message = jpegQuiet;
    std::vector<uint8_t> scratch;
    try {
        scratch.resize(pixels.width);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    return jpegWriteAll(jpeg, file, pixels, scratch.data()) ? kKyrImageOk : kKyrImageErrFileWrite;
}

} // namespace KyrImageLib
