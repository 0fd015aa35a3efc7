// Line kernels shared by the unpacker, the converter and the demosaicing
// library, and the split of an image's lines over the machine's cores.
#pragma once

#include <cstdint>
#include <functional>

namespace KyrImageLib {

// The SIMD code the libraries run: what the CPU has, none on other
// architectures, and none either when the environment has KYR_IMAGE_PLAIN=1,
// so that the tests run the portable code (what aarch64 runs) on x86 too.
struct Simd {
    bool sse2;
    bool ssse3;
    bool avx2;
};
const Simd &simd() noexcept;

// GigE Vision "Packed" lines (two pixels in three bytes) of `width` pixels
// into 16-bit containers; `bits` is 10 or 12.
void unpackLine(const uint8_t *source, uint16_t *target, uint32_t width, uint32_t bits) noexcept;

// PFNC "p" pixels (`bits` of 10 or 12 each, one after another, least
// significant bit first) into 16-bit containers: reads exactly
// (count x bits + 7) / 8 bytes.
void unpackPfncRun(const uint8_t *source, uint16_t *target, uint64_t count, uint32_t bits) noexcept;

// 16-bit samples of `bits` significant bits to 8 bits (the top eight),
// saturating samples that exceed `bits`.
void reduceLine(const uint16_t *source, uint8_t *target, uint64_t count, uint32_t bits) noexcept;

// How many slices to cut [0, lines) into: one per core when `bytes` (the
// data the work touches) makes that worthwhile, else one.
uint32_t sliceCount(uint32_t lines, uint64_t bytes) noexcept;

// Calls `work(slice, first, end)` for `slices` consecutive slices of
// [0, lines), each on its own thread but the last, which runs on the caller's;
// returns when every slice is done. `work` must not throw.
void forEachSlice(uint32_t lines, uint32_t slices,
                  const std::function<void(uint32_t, uint32_t, uint32_t)> &work) noexcept;

} // namespace KyrImageLib
