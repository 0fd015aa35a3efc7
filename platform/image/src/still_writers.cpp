#include "still_writers_private.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include <png.h>
#include <tiffio.h>
#include <zlib.h>
#include <jpeglib.h>
#include <unistd.h>

#include <image/KyrPixelType.h>

#include "kernels_private.h"

namespace KyrImageLib {

namespace {

using Format = StillPixels::Format;

// Grey samples of `bits` significant bits stretched to 16 bits by repeating
// their top bits below them, so that full scale stays full scale.
void stretchLine(const uint16_t *in, uint16_t *out, uint32_t width, uint32_t bits, bool bigEndian) noexcept
{
    const uint32_t max = (1u << bits) - 1;
    const uint32_t up = 16 - bits;
    for (uint32_t x = 0; x < width; ++x) {
        uint32_t v = in[x] > max ? max : in[x];
        v = up ? (v << up | v >> (bits - up)) : v;
        out[x] = bigEndian ? uint16_t(v >> 8 | (v & 0xFF) << 8) : uint16_t(v);
    }
}

void swapRedBlue(const uint8_t *in, uint8_t *out, uint32_t width) noexcept
{
    for (uint32_t x = 0; x < width; ++x, in += 3, out += 3) {
        out[0] = in[2];
        out[1] = in[1];
        out[2] = in[0];
    }
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

// Everything between setjmp and a libpng error is plain C: no object with a
// destructor lives in this frame, so the jump skips nothing.
bool pngWriteAll(png_structp png, png_infop info, FILE *file, const StillPixels &pixels, bool palette, uint8_t *scratch)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_init_io(png, file);
    // OpenCV's speed-first settings: the SUB filter and run-length deflate.
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_level(png, Z_BEST_SPEED);
    png_set_compression_strategy(png, Z_RLE);
    png_set_compression_buffer_size(png, 256 * 1024);
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
    if (pixels.format == Format::Bgr8)
        png_set_bgr(png);
    for (uint32_t y = 0; y < pixels.height; ++y) {
        const uint8_t *line = lineOf(pixels, y);
        if (depth == 16) {
            stretchLine(reinterpret_cast<const uint16_t *>(line), reinterpret_cast<uint16_t *>(scratch), pixels.width,
                        pixels.bits, true);
            line = scratch;
        }
        png_write_row(png, line);
    }
    png_write_end(png, info);
    return true;
}

int tiffQuiet(TIFF *, void *, const char *, const char *, va_list)
{
    return 1;
}

struct TiffOptions {
    TIFFOpenOptions *options = TIFFOpenOptionsAlloc();
    ~TiffOptions() { TIFFOpenOptionsFree(options); }
};

struct TiffClose {
    void operator()(TIFF *tiff) const noexcept { TIFFClose(tiff); }
};

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
    std::vector<uint8_t> scratch;
    try {
        scratch.resize(uint64_t(pixels.width) * 2);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    return pngWriteAll(png.png, png.info, file, pixels, palette, scratch.data()) ? kKyrImageOk : kKyrImageErrFileWrite;
}

KyrImageStatus writeTiff(int fd, const char *name, const StillPixels &pixels, bool palette) noexcept
{
    TiffOptions options;
    if (!options.options) {
        ::close(fd);
        return kKyrImageErrOutOfMemory;
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options.options, tiffQuiet, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.options, tiffQuiet, nullptr);
    std::unique_ptr<TIFF, TiffClose> tiff(TIFFFdOpenExt(fd, name, "w", options.options));
    if (!tiff) {
        ::close(fd);
        return kKyrImageErrFileWrite;
    }
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
    const bool direct = pixels.stride == line && (pixels.format == Format::Grey8 || pixels.format == Format::Rgb8);
    std::vector<uint8_t> strip;
    try {
        if (!direct)
            strip.resize(line * rowsPerStrip);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    for (uint32_t first = 0, index = 0; first < pixels.height; first += rowsPerStrip, ++index) {
        const uint32_t rows = std::min(rowsPerStrip, pixels.height - first);
        uint8_t *data = strip.data();
        if (direct) {
            // Uncompressed strips in the machine's byte order are only copied.
            data = const_cast<uint8_t *>(lineOf(pixels, first));
        } else {
            for (uint32_t r = 0; r < rows; ++r) {
                const uint8_t *in = lineOf(pixels, first + r);
                uint8_t *out = strip.data() + r * line;
                if (pixels.format == Format::Grey16)
                    stretchLine(reinterpret_cast<const uint16_t *>(in), reinterpret_cast<uint16_t *>(out),
                                pixels.width, pixels.bits, false);
                else if (pixels.format == Format::Bgr8)
                    swapRedBlue(in, out, pixels.width);
                else
                    std::memcpy(out, in, line);
            }
        }
        if (TIFFWriteEncodedStrip(t, index, data, tmsize_t(rows * line)) < 0)
            return kKyrImageErrFileWrite;
    }
    if (!TIFFFlush(t))
        return kKyrImageErrFileWrite;
    return kKyrImageOk;
}

KyrImageStatus writeBmp(FILE *file, const StillPixels &pixels) noexcept
{
    const bool grey = pixels.format == Format::Grey8 || pixels.format == Format::Grey16;
    const uint32_t bytesPerPixel = grey ? 1 : 3;
    const uint64_t row = (uint64_t(pixels.width) * bytesPerPixel + 3) / 4 * 4;
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
    if (std::fwrite(header, 1, size_t(offset), file) != offset)
        return kKyrImageErrFileWrite;
    std::vector<uint8_t> line;
    try {
        line.resize(row);
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    for (uint32_t y = pixels.height; y-- > 0;) {
        const uint8_t *in = lineOf(pixels, y);
        switch (pixels.format) {
        case Format::Grey8: std::memcpy(line.data(), in, pixels.width); break;
        case Format::Grey16: reduceLine(reinterpret_cast<const uint16_t *>(in), line.data(), pixels.width, pixels.bits); break;
        case Format::Rgb8: swapRedBlue(in, line.data(), pixels.width); break;
        case Format::Bgr8: std::memcpy(line.data(), in, uint64_t(pixels.width) * 3); break;
        }
        if (std::fwrite(line.data(), 1, row, file) != row)
            return kKyrImageErrFileWrite;
    }
    return kKyrImageOk;
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
