/// BoundSearch: counts how many of a few ascending numbers do not exceed another.
///
/// Decoded symbols are random by nature: a branch on one would be guessed wrong every other time, and that
/// costs more than to compare with all.
#pragma once

#include <bit>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Tilewright::Io {

#ifdef __SSE2__

/// Of the first `count` of `bounds`, which are aligned to 16 bytes. `count` is 8, 16, or 40.
template <unsigned count>
[[gnu::always_inline]] inline unsigned boundsUpTo(const std::int16_t* bounds, std::int16_t value) noexcept {
    const __m128i values = _mm_set1_epi16(value);
    const auto exceeds = [&](unsigned first) {
        return _mm_cmpgt_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(bounds + first)), values);
    };
    const auto bits = [](__m128i low, __m128i high) {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    };
    if constexpr (count == 8) {
        return static_cast<unsigned>(std::countr_zero(bits(exceeds(0), _mm_setzero_si128()) | 0x100U));
    } else if constexpr (count == 16) {
        return static_cast<unsigned>(std::countr_zero(bits(exceeds(0), exceeds(8)) | 0x10000U));
    } else {
        static_assert(count == 40);
        const std::uint64_t first = bits(exceeds(0), exceeds(8));
        const std::uint64_t second = bits(exceeds(16), exceeds(24));
        const std::uint64_t third = bits(exceeds(32), _mm_setzero_si128()) | 0x100U;
        return static_cast<unsigned>(std::countr_zero(first | second << 16 | third << 32));
    }
}

#else

/// Of the first `count` of `bounds`.
template <unsigned count>
inline unsigned boundsUpTo(const std::int16_t* bounds, std::int16_t value) noexcept {
    unsigned result = 0;
    for (unsigned i = 0; i < count; ++i)
        result += bounds[i] <= value ? 1 : 0;
    return result;
}

#endif

} // namespace Tilewright::Io
