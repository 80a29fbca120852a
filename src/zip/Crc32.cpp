#include "zip/Crc32.h"

#include <zlib.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace corvina::zip {

namespace {

#if defined(__x86_64__)

// Folding constants of the bit-reflected polynomial 0xEDB88320, each
// x^n mod P reflected and shifted left by one: n = 4*128 + 32 and 4*128 - 32
// to fold four lanes 512 bits ahead, n = 128 + 32 and 128 - 32 to fold one
// lane 128 bits ahead, n = 64 for the last 64 bits, then P and
// floor(x^64 / P) for the Barrett reduction.
constexpr long long foldBy4Low = 0x154442bd4;
constexpr long long foldBy4High = 0x1c6e41596;
constexpr long long foldBy1Low = 0x1751997d0;
constexpr long long foldBy1High = 0x0ccaa009e;
constexpr long long fold64 = 0x163cd6124;
constexpr long long reflectedPoly = 0x1db710641;
constexpr long long barrettMu = 0x1f7011641;

__attribute__((target("pclmul,sse4.1"))) inline __m128i fold(__m128i lane, __m128i constants,
                                                             __m128i next) {
    const __m128i low = _mm_clmulepi64_si128(lane, constants, 0x00);
    const __m128i high = _mm_clmulepi64_si128(lane, constants, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

__attribute__((target("pclmul,sse4.1"))) inline __m128i load(const uint8_t* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

/// The raw (not inverted) CRC register over `length` bytes, a multiple of 16
/// and at least 64.
__attribute__((target("pclmul,sse4.1"))) uint32_t foldedCrc(uint32_t crc, const uint8_t* data,
                                                            std::size_t length) {
    __m128i x1 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = load(data + 16);
    __m128i x3 = load(data + 32);
    __m128i x4 = load(data + 48);
    data += 64;
    length -= 64;

    const __m128i by4 = _mm_set_epi64x(foldBy4High, foldBy4Low);
    while (length >= 64) {
        x1 = fold(x1, by4, load(data));
        x2 = fold(x2, by4, load(data + 16));
        x3 = fold(x3, by4, load(data + 32));
        x4 = fold(x4, by4, load(data + 48));
        data += 64;
        length -= 64;
    }

    const __m128i by1 = _mm_set_epi64x(foldBy1High, foldBy1Low);
    x1 = fold(x1, by1, x2);
    x1 = fold(x1, by1, x3);
    x1 = fold(x1, by1, x4);
    while (length >= 16) {
        x1 = fold(x1, by1, load(data));
        data += 16;
        length -= 16;
    }

    // 128 bits to 64, then to 32 with Barrett's reduction.
    const __m128i mask32 = _mm_set_epi32(0, 0, 0, -1);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, by1, 0x10));
    const __m128i upper = _mm_srli_si128(x1, 4);
    x1 = _mm_xor_si128(
        _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), _mm_set_epi64x(0, fold64), 0x00), upper);
    const __m128i barrett = _mm_set_epi64x(barrettMu, reflectedPoly);
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), barrett, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, mask32), barrett, 0x00);
    return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(x1, t), 1));
}

bool hasCarrylessMultiply() {
    static const bool supported =
        __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    return supported;
}

#endif

} // namespace

uint32_t fastCrc32(uint32_t crc, std::span<const uint8_t> bytes) {
    const uint8_t* data = bytes.data();
    std::size_t length = bytes.size();
#if defined(__x86_64__)
    if (length >= 64 && hasCarrylessMultiply()) {
        const std::size_t folded = length & ~std::size_t{15};
        crc = ~foldedCrc(~crc, data, folded);
        data += folded;
        length -= folded;
    }
#endif
    if (length == 0) {
        return crc;
    }
    return static_cast<uint32_t>(::crc32_z(crc, data, length));
}

} // namespace corvina::zip
