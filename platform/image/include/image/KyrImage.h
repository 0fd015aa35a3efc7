// The native image of the image libraries (libKyrImageApi): a description of
// the pixels and the memory that holds them. Camera buffers hand out one that
// borrows the buffer's memory; KyrCreateImage makes one that owns its memory.
#pragma once

#include <cstdint>

#include <image/KyrImageExport.h>

// Status of the image library calls: 0 is success, the others are listed here.
// They are printed in hexadecimal by callers.
using KyrImageStatus = uint32_t;

constexpr KyrImageStatus kKyrImageOk = 0;
constexpr KyrImageStatus kKyrImageErrInvalidArgument = 0xE0000001;   // null handle, image or name
constexpr KyrImageStatus kKyrImageErrUnsupportedPixelType = 0xE0000002;
constexpr KyrImageStatus kKyrImageErrSizeMismatch = 0xE0000003;      // target too small or other geometry
constexpr KyrImageStatus kKyrImageErrOutOfMemory = 0xE0000004;
constexpr KyrImageStatus kKyrImageErrUnknownParameter = 0xE0000005;
constexpr KyrImageStatus kKyrImageErrUnsupportedFileType = 0xE0000006; // no writer for the extension
constexpr KyrImageStatus kKyrImageErrFileOpen = 0xE0000007;          // path not writable
constexpr KyrImageStatus kKyrImageErrFileWrite = 0xE0000008;         // write failed (disk full and the like)
constexpr KyrImageStatus kKyrImageErrUnknownEncoder = 0xE0000009;
constexpr KyrImageStatus kKyrImageErrInvalidState = 0xE000000A;      // no movie running, or one already running
constexpr KyrImageStatus kKyrImageErrEncoder = 0xE000000B;           // the encoder refused a frame
constexpr KyrImageStatus kKyrImageErrBufferTooSmall = 0xE000000C;    // text parameter longer than the buffer

// Pixel type code fields, from the most significant byte:
// 31-24 format class, 23-16 bits occupied per pixel, 15-12 packing kind,
// 11-8 depth step, 7-0 row number in the pixel format table (1-based).
enum KyrPixelClass : uint32_t {
    kKyrPixelClassMono = 1,
    kKyrPixelClassRgb = 2,
    kKyrPixelClassBayer = 3,
    kKyrPixelClassTrueSense = 4,
    kKyrPixelClassYuv = 5,
};

constexpr uint32_t KyrPixelClassOf(uint32_t code) { return code >> 24; }
constexpr uint32_t KyrPixelBitsOf(uint32_t code) { return (code >> 16) & 0xFF; }
constexpr uint32_t KyrPixelPackingOf(uint32_t code) { return (code >> 12) & 0xF; }
constexpr uint32_t KyrPixelRowOf(uint32_t code) { return code & 0xFF; }

// Bits per component of a code, from its depth step: 8, 10, 12, 14 or 16.
constexpr uint32_t KyrPixelBitDepthOf(uint32_t code) { return 6 + 2 * ((code >> 8) & 0xF); }

// Components per pixel of a code, as the pixel format table has them: one for
// the mono, Bayer and TrueSense classes; four for RGBa8, BGRa8 and YUV444_8
// (rows 0x73, 0x74 and 0x84: Y U V A); three for the other colour rows (a
// YUV 4:2:2 pixel counts Y, U and V). The one definition every library and
// the binding use.
constexpr uint32_t KyrPixelComponentsOf(uint32_t code)
{
    const uint32_t pixelClass = KyrPixelClassOf(code);
    if (pixelClass == kKyrPixelClassMono || pixelClass == kKyrPixelClassBayer || pixelClass == kKyrPixelClassTrueSense)
        return 1;
    const uint32_t row = KyrPixelRowOf(code);
    return row == 0x73 || row == 0x74 || row == 0x84 ? 4 : 3;
}

// The image. The first seven fields are the description; `data`, `stride` and
// `size` say where the pixels are. Lines follow each other `stride` bytes apart;
// packed formats pack a whole line and start the next one on a byte boundary.
struct KyrImage {
    uint32_t pixelType;     // pixel type code
    uint32_t width;         // pixels per line
    uint32_t height;        // lines
    uint32_t bitDepth;      // bits per component: 8, 10, 12, 14 or 16
    uint32_t components;    // components per pixel
    uint32_t packing;       // bits 15-8 of the pixel type: packing kind and depth step
    uint32_t bitsPerPixel;  // bits 23-16 of the pixel type
    uint32_t stride;        // bytes from one line to the next
    uint64_t size;          // bytes of pixel data at `data`
    uint8_t *data;          // pixel memory, owned by whoever made the image
};

// The size argument of KyrCreateImage.
struct KyrImageSize {
    uint32_t width;
    uint32_t height;
};

extern "C" {

// Makes an image of the given size and pixel type with zeroed memory, tightly
// packed (stride is a whole line's bytes), and stores it in `*image`; the caller
// releases it with KyrReleaseImage. A width or height of 0 is allowed and
// makes an image without pixels. Codes: kKyrImageErrInvalidArgument (null
// `image`), kKyrImageErrUnsupportedPixelType (code not in the pixel format
// table), kKyrImageErrOutOfMemory. On failure `*image` is null. Any thread.
KYRIMAGE_API KyrImageStatus KyrCreateImage(KyrImage **image, KyrImageSize size, uint32_t pixelType) noexcept;

// Frees an image made by KyrCreateImage and sets `*image` to null; a null
// `*image` is accepted and does nothing. Codes: kKyrImageErrInvalidArgument
// (null `image`). Never pass a camera buffer's image.
KYRIMAGE_API KyrImageStatus KyrReleaseImage(KyrImage **image) noexcept;

} // extern "C"
