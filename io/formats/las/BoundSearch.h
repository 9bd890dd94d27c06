/// BoundSearch: counts how many of a few ascending numbers do not exceed another.
///
/// Decoded symbols are random by nature: the branches of a search would be guessed wrong every other time,
/// and that costs more than to compare with all.
#pragma once

#include <bit>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Tilewright::Io {

#ifdef __SSE2__

/// Of the first `count` of `bounds`. `count` is 8 or 16.
template <unsigned count>
[[gnu::always_inline]] inline unsigned boundsUpTo(const std::int16_t* bounds, std::int16_t value) noexcept {
    const __m128i values = _mm_set1_epi16(value);
    const auto exceeds = [&](unsigned first) {
        return _mm_cmpgt_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bounds + first)), values);
    };
    if constexpr (count == 8) {
        const auto bits = static_cast<unsigned>(_mm_movemask_epi8(exceeds(0)));
        return static_cast<unsigned>(std::countr_zero(bits | 0x10000U)) / 2;
    } else {
        static_assert(count == 16);
        const auto bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(exceeds(0), exceeds(8))));
        return static_cast<unsigned>(std::countr_zero(bits | 0x10000U));
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
