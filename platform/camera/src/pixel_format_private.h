// Pixel formats: from the GigE Vision / PFNC codes that Aravis reports to the
// pixel type codes of KyrPixelType.h, and the image geometry those imply.
#pragma once

#include <cstdint>

namespace KyrCam {

// The pixel type code of a PFNC pixel format; 0 for formats without one.
uint32_t pixelTypeFromPfnc(uint32_t pfnc) noexcept;

// Bytes of one line of `width` pixels of a pixel type code, without padding:
// packed formats pack the whole line and round up to a byte.
uint64_t lineBytes(uint32_t pixelType, uint32_t width) noexcept;

} // namespace KyrCam
