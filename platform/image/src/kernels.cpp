#include "kernels_private.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <thread>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace KyrImageLib {

namespace {

// Below this much data a second thread costs more than it saves.
constexpr uint64_t kParallelBytes = 1 << 20;

void unpackPairsScalar(const uint8_t *in, uint16_t *out, uint32_t pairs, uint32_t bits) noexcept
{
    for (uint32_t i = 0; i < pairs; ++i, in += 3, out += 2) {
        if (bits == 12) {
            out[0] = uint16_t(in[0] << 4 | (in[1] & 0xF));
            out[1] = uint16_t(in[2] << 4 | in[1] >> 4);
        } else {
            out[0] = uint16_t(in[0] << 2 | (in[1] & 0x3));
            out[1] = uint16_t(in[2] << 2 | ((in[1] >> 4) & 0x3));
        }
    }
}

#if defined(__x86_64__)
// Eight pixels from twelve bytes per step: the byte shuffle gives each 16-bit
// lane its two source bytes, and shifts and masks pick the bits of even
// (first of a pair) and odd pixels.
__attribute__((target("ssse3"))) uint32_t unpackPairsSsse3(const uint8_t *in, uint16_t *out, uint32_t pairs,
                                                             uint32_t bits) noexcept
{
    const __m128i shuffle = _mm_setr_epi8(0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11);
    const __m128i evenLanes = _mm_set1_epi32(0x0000FFFF);
    const __m128i lowBits = _mm_set1_epi16(bits == 12 ? 0x000F : 0x0003);
    const __m128i highBits = _mm_set1_epi16(bits == 12 ? 0x0FF0 : 0x03FC);
    const int shift = int(bits) - 8;
    uint32_t done = 0;
    // Each load reads 16 bytes for 12 used: stop while 4 spare bytes remain.
    for (; done + 4 <= pairs && (uint64_t(pairs) - done) * 3 >= 16; done += 4, in += 12, out += 8) {
        const __m128i w = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in)), shuffle);
        __m128i even, odd;
        const __m128i low = _mm_and_si128(_mm_srli_epi16(w, 8), lowBits);
        if (shift == 4) {
            even = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(w, 4), highBits), low);
            odd = _mm_srli_epi16(w, 4);
        } else {
            even = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(w, 2), highBits), low);
            odd = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(w, 6), highBits),
                               _mm_and_si128(_mm_srli_epi16(w, 4), lowBits));
        }
        const __m128i pixels = _mm_or_si128(_mm_and_si128(even, evenLanes), _mm_andnot_si128(evenLanes, odd));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out), pixels);
    }
    return done;
}

// As above, sixteen pixels from two twelve-byte groups, one per 128-bit lane.
__attribute__((target("avx2"))) uint32_t unpackPairsAvx2(const uint8_t *in, uint16_t *out, uint32_t pairs,
                                                           uint32_t bits) noexcept
{
    const __m256i shuffle = _mm256_setr_epi8(0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11,
                                             0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11);
    const __m256i evenLanes = _mm256_set1_epi32(0x0000FFFF);
    const __m256i lowBits = _mm256_set1_epi16(bits == 12 ? 0x000F : 0x0003);
    const __m256i highBits = _mm256_set1_epi16(bits == 12 ? 0x0FF0 : 0x03FC);
    uint32_t done = 0;
    // The second load reads 16 bytes from byte 12: stop while 4 spare bytes remain.
    for (; done + 8 <= pairs && (uint64_t(pairs) - done) * 3 >= 28; done += 8, in += 24, out += 16) {
        const __m256i bytes = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in))),
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 12)), 1);
        const __m256i w = _mm256_shuffle_epi8(bytes, shuffle);
        __m256i even, odd;
        if (bits == 12) {
            even = _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(w, 4), highBits),
                                   _mm256_and_si256(_mm256_srli_epi16(w, 8), lowBits));
            odd = _mm256_srli_epi16(w, 4);
        } else {
            even = _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(w, 2), highBits),
                                   _mm256_and_si256(_mm256_srli_epi16(w, 8), lowBits));
            odd = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(w, 6), highBits),
                                  _mm256_and_si256(_mm256_srli_epi16(w, 4), lowBits));
        }
        const __m256i pixels = _mm256_blendv_epi8(odd, even, evenLanes);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), pixels);
    }
    return done;
}

__attribute__((target("avx2"))) uint64_t reduceAvx2(const uint16_t *source, uint8_t *target, uint64_t count,
                                                      uint32_t shift) noexcept
{
    const __m128i count128 = _mm_cvtsi32_si128(int(shift));
    uint64_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i a = _mm256_srl_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(source + i)), count128);
        const __m256i b =
            _mm256_srl_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(source + i + 16)), count128);
        // The pack works within 128-bit lanes; the permute puts them in order.
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(target + i),
                            _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
    }
    return i;
}

#endif

} // namespace

const Simd &simd() noexcept
{
    static const Simd detected = [] {
        const char *plain = std::getenv("KYR_IMAGE_PLAIN");
        if (plain && std::strcmp(plain, "1") == 0)
            return Simd{ false, false, false };
#if defined(__x86_64__)
        return Simd{ true, bool(__builtin_cpu_supports("ssse3")), bool(__builtin_cpu_supports("avx2")) };
#else
        return Simd{ false, false, false };
#endif
    }();
    return detected;
}

void unpackLine(const uint8_t *source, uint16_t *target, uint32_t width, uint32_t bits) noexcept
{
    const uint32_t pairs = width / 2;
    uint32_t done = 0;
#if defined(__x86_64__)
    if (simd().avx2)
        done = unpackPairsAvx2(source, target, pairs, bits);
    if (simd().ssse3)
        done += unpackPairsSsse3(source + 3 * uint64_t(done), target + 2 * uint64_t(done), pairs - done, bits);
#endif
    unpackPairsScalar(source + 3 * uint64_t(done), target + 2 * uint64_t(done), pairs - done, bits);
    if (width % 2) {
        // A lone last pixel: its high bits in the first byte, low bits in the second.
        const uint8_t *in = source + 3 * uint64_t(pairs);
        target[width - 1] = bits == 12 ? uint16_t(in[0] << 4 | (in[1] & 0xF)) : uint16_t(in[0] << 2 | (in[1] & 0x3));
    }
}

void unpackPfncRun(const uint8_t *source, uint16_t *target, uint64_t count, uint32_t bits) noexcept
{
    const uint32_t mask = (1u << bits) - 1;
    uint32_t pending = 0;  // bits read, not yet handed out
    uint32_t have = 0;
    for (uint64_t i = 0; i < count; ++i) {
        while (have < bits) {
            pending |= uint32_t(*source++) << have;
            have += 8;
        }
        target[i] = uint16_t(pending & mask);
        pending >>= bits;
        have -= bits;
    }
}

void reduceLine(const uint16_t *source, uint8_t *target, uint64_t count, uint32_t bits) noexcept
{
    const uint32_t shift = bits > 8 ? bits - 8 : 0;
    uint64_t i = 0;
#if defined(__x86_64__)
    if (simd().avx2)
        i = reduceAvx2(source, target, count, shift);
    const __m128i count128 = _mm_cvtsi32_si128(int(shift));
    for (; simd().sse2 && i + 16 <= count; i += 16) {
        // Shifted samples stay below 0x8000, so the signed saturating pack clamps at 255.
        const __m128i a = _mm_srl_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(source + i)), count128);
        const __m128i b = _mm_srl_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(source + i + 8)), count128);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(target + i), _mm_packus_epi16(a, b));
    }
#endif
    for (; i < count; ++i) {
        const uint32_t value = uint32_t(source[i]) >> shift;
        target[i] = uint8_t(value > 255 ? 255 : value);
    }
}

uint32_t sliceCount(uint32_t lines, uint64_t bytes) noexcept
{
    const uint32_t cores = std::max(1u, std::thread::hardware_concurrency());
    return bytes < kParallelBytes || lines < 2 * cores ? 1 : cores;
}

void forEachSlice(uint32_t lines, uint32_t slices,
                  const std::function<void(uint32_t, uint32_t, uint32_t)> &work) noexcept
{
    std::vector<std::thread> helpers;
    uint32_t first = 0;
    for (uint32_t s = 0; s < slices; ++s) {
        const uint32_t end = uint32_t(uint64_t(lines) * (s + 1) / slices);
        try {
            if (s + 1 < slices)
                helpers.emplace_back(work, s, first, end);
            else
                work(s, first, end);
        } catch (const std::exception &) {
            // No thread to be had: this thread does the slice itself.
            work(s, first, end);
        }
        first = end;
    }
    for (std::thread &helper : helpers)
        helper.join();
}

} // namespace KyrImageLib
