#include "bayer_bilinear_private.h"

#include "kernels_private.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace KyrImageLib {

#if defined(__x86_64__)

namespace {

uint8_t mean(uint32_t a, uint32_t b)
{
    return uint8_t((a + b + 1) >> 1);
}

// Mirrors a neighbour's position outside [0, size) back inside, keeping its parity.
uint32_t mirror(int64_t at, uint32_t size)
{
    return uint32_t(at < 0 ? -at : at >= size ? 2 * int64_t(size) - 2 - at : at);
}

// One pixel, any position: the edges and what the vector code leaves.
void pixel(const uint8_t *up, const uint8_t *line, const uint8_t *down, uint32_t x, uint32_t width, bool redLine,
           bool greenFirst, bool bgr, uint8_t *out)
{
    const uint32_t l = mirror(int64_t(x) - 1, width), r = mirror(int64_t(x) + 1, width);
    const bool green = (x % 2 == 0) == greenFirst;
    const uint8_t across = mean(line[l], line[r]);
    const uint8_t vertical = mean(up[x], down[x]);
    uint8_t own, g, other;
    if (green) {
        own = across;
        g = line[x];
        other = vertical;
    } else {
        own = line[x];
        g = mean(vertical, across);
        other = mean(mean(up[l], up[r]), mean(down[l], down[r]));
    }
    const uint8_t red = redLine ? own : other, blue = redLine ? other : own;
    out[0] = bgr ? blue : red;
    out[1] = g;
    out[2] = bgr ? red : blue;
}

// Byte shuffles that interleave three planes of 16 samples into 48 bytes of
// pixels: kInterleave[v][c] places plane c's samples in output vector v.
struct Interleave {
    uint8_t masks[3][3][16];
    constexpr Interleave() : masks()
    {
        for (int k = 0; k < 48; ++k)
            for (int c = 0; c < 3; ++c)
                masks[k / 16][c][k % 16] = uint8_t(k % 3 == c ? k / 3 : 0x80);
    }
};
constexpr Interleave kInterleave;

__attribute__((target("ssse3"))) __m128i select(__m128i mask, __m128i ifSet, __m128i otherwise)
{
    return _mm_or_si128(_mm_and_si128(mask, ifSet), _mm_andnot_si128(mask, otherwise));
}

__attribute__((target("ssse3"))) __m128i load(const uint8_t *at)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
}

// Sixteen pixels a step from an odd x: lane i is a green site when i's parity
// says so. Returns the first x left to the caller.
__attribute__((target("ssse3"))) uint32_t lineSsse3(const uint8_t *up, const uint8_t *line, const uint8_t *down,
                                                      uint32_t x, uint32_t width, bool redLine, bool greenFirst,
                                                      bool bgr, uint8_t *out)
{
    const __m128i green = greenFirst ? _mm_set1_epi16(int16_t(0xFF00)) : _mm_set1_epi16(0x00FF);
    __m128i masks[3][3];
    for (int v = 0; v < 3; ++v)
        for (int c = 0; c < 3; ++c)
            masks[v][c] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kInterleave.masks[v][bgr ? 2 - c : c]));
    for (; x + 17 <= width; x += 16) {
        const __m128i centre = load(line + x);
        const __m128i across = _mm_avg_epu8(load(line + x - 1), load(line + x + 1));
        const __m128i vertical = _mm_avg_epu8(load(up + x), load(down + x));
        const __m128i diagonal = _mm_avg_epu8(_mm_avg_epu8(load(up + x - 1), load(up + x + 1)),
                                              _mm_avg_epu8(load(down + x - 1), load(down + x + 1)));
        const __m128i own = select(green, across, centre);
        const __m128i g = select(green, centre, _mm_avg_epu8(vertical, across));
        const __m128i other = select(green, vertical, diagonal);
        const __m128i planes[3] = { redLine ? own : other, g, redLine ? other : own };
        uint8_t *to = out + 3 * uint64_t(x);
        for (int v = 0; v < 3; ++v) {
            const __m128i bytes = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(planes[0], masks[v][0]),
                                                            _mm_shuffle_epi8(planes[1], masks[v][1])),
                                               _mm_shuffle_epi8(planes[2], masks[v][2]));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 16 * v), bytes);
        }
    }
    return x;
}

__attribute__((target("avx2"))) __m256i load32(const uint8_t *at)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at));
}

// As lineSsse3, thirty-two pixels a step: each 128-bit lane interleaves its
// sixteen pixels, and the lanes' halves are put in order before the stores.
__attribute__((target("avx2"))) uint32_t lineAvx2(const uint8_t *up, const uint8_t *line, const uint8_t *down,
                                                    uint32_t width, bool redLine, bool greenFirst, bool bgr,
                                                    uint8_t *out)
{
    const __m256i green = greenFirst ? _mm256_set1_epi16(int16_t(0xFF00)) : _mm256_set1_epi16(0x00FF);
    __m256i masks[3][3];
    for (int v = 0; v < 3; ++v)
        for (int c = 0; c < 3; ++c)
            masks[v][c] = _mm256_broadcastsi128_si256(
                _mm_loadu_si128(reinterpret_cast<const __m128i *>(kInterleave.masks[v][bgr ? 2 - c : c])));
    uint32_t x = 1;
    for (; x + 33 <= width; x += 32) {
        const __m256i centre = load32(line + x);
        const __m256i across = _mm256_avg_epu8(load32(line + x - 1), load32(line + x + 1));
        const __m256i vertical = _mm256_avg_epu8(load32(up + x), load32(down + x));
        const __m256i diagonal = _mm256_avg_epu8(_mm256_avg_epu8(load32(up + x - 1), load32(up + x + 1)),
                                                 _mm256_avg_epu8(load32(down + x - 1), load32(down + x + 1)));
        const __m256i own = _mm256_blendv_epi8(centre, across, green);
        const __m256i g = _mm256_blendv_epi8(_mm256_avg_epu8(vertical, across), centre, green);
        const __m256i other = _mm256_blendv_epi8(diagonal, vertical, green);
        const __m256i planes[3] = { redLine ? own : other, g, redLine ? other : own };
        __m256i bytes[3];
        for (int v = 0; v < 3; ++v)
            bytes[v] = _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(planes[0], masks[v][0]),
                                                       _mm256_shuffle_epi8(planes[1], masks[v][1])),
                                       _mm256_shuffle_epi8(planes[2], masks[v][2]));
        __m256i *to = reinterpret_cast<__m256i *>(out + 3 * uint64_t(x));
        _mm256_storeu_si256(to, _mm256_permute2x128_si256(bytes[0], bytes[1], 0x20));
        _mm256_storeu_si256(to + 1, _mm256_permute2x128_si256(bytes[2], bytes[0], 0x30));
        _mm256_storeu_si256(to + 2, _mm256_permute2x128_si256(bytes[1], bytes[2], 0x31));
    }
    return x;
}

} // namespace

bool demosaicBilinear(const uint8_t *raw, uint64_t rawStride, uint32_t width, uint32_t height, BayerLayout layout,
                      bool bgr, uint8_t *colour, uint64_t colourStride) noexcept
{
    if (!simd().ssse3)
        return false;
    forEachSlice(height, sliceCount(height, uint64_t(width) * height * 4), [&](uint32_t, uint32_t first, uint32_t end) {
        for (uint32_t y = first; y < end; ++y) {
            const uint8_t *line = raw + y * rawStride;
            const uint8_t *up = raw + mirror(int64_t(y) - 1, height) * rawStride;
            const uint8_t *down = raw + mirror(int64_t(y) + 1, height) * rawStride;
            const bool redLine = layout.redInFirstLine != (y % 2 == 1);
            const bool greenFirst = layout.greenFirst != (y % 2 == 1);
            uint8_t *out = colour + y * colourStride;
            pixel(up, line, down, 0, width, redLine, greenFirst, bgr, out);
            uint32_t x = simd().avx2 ? lineAvx2(up, line, down, width, redLine, greenFirst, bgr, out) : 1;
            for (x = lineSsse3(up, line, down, x, width, redLine, greenFirst, bgr, out); x < width; ++x)
                pixel(up, line, down, x, width, redLine, greenFirst, bgr, out + 3 * uint64_t(x));
        }
    });
    return true;
}

#else

bool demosaicBilinear(const uint8_t *, uint64_t, uint32_t, uint32_t, BayerLayout, bool, uint8_t *, uint64_t) noexcept
{
    return false;
}

#endif

} // namespace KyrImageLib
