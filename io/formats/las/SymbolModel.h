/// SymbolModel: the adaptive probabilities of the symbols of an alphabet.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include <io/formats/las/BoundSearch.h>

namespace Tilewright::Io {

/// Of at most `capacity` symbols. A model has to be created before anything else is asked of it; its memory
/// counts for nothing before that, so that thousands of models cost nothing until they are used.
template <unsigned capacity> class SymbolModel {
    static constexpr bool isFlat = capacity <= 40;
    static constexpr unsigned groupSize = 16;
    static constexpr unsigned slots = capacity <= 16 ? 16
                                      : isFlat       ? 40
                                                     : (capacity + groupSize - 1) / groupSize * groupSize;
    static constexpr unsigned groups = isFlat ? 0 : slots / groupSize;
    static constexpr unsigned groupSlots = groups <= 8 ? 8 : groups <= 16 ? 16 : 40;

    static_assert(groups <= groupSlots);

    /// Bounds are kept lower by this much, so that they fit 16 bits with a sign, which is what processors
    /// compare. What lies past the last symbol is above all that can be looked for.
    static constexpr std::int32_t bias = 32768;
    static constexpr std::int16_t unreachable = 32767;

public:
    /// Bits of a bound.
    static constexpr unsigned precision = 15;

    /// All `symbols` are equally likely.
    [[gnu::noinline]] void create(unsigned symbols) noexcept {
        symbolCount = symbols;
        std::fill_n(counts.begin(), symbols, std::uint16_t{1});
        std::fill(bounds.begin(), bounds.end(), unreachable);
        std::fill(groupBounds.begin(), groupBounds.end(), unreachable);
        total = 0;
        cycle = symbols;
        update();
        cycle = untilUpdate = (symbols + 6) >> 1;
    }

    std::uint32_t size() const noexcept { return symbolCount; }

    /// How many symbols begin at or before `place`, from 1 to size(). `place` is in units of 2^-precision; it
    /// may exceed 1 a little.
    [[gnu::always_inline]] unsigned beginUpTo(std::uint32_t place) const noexcept {
        const auto value = static_cast<std::int16_t>(static_cast<std::int32_t>(place) - bias);
        if constexpr (isFlat) {
            return boundsUpTo<slots>(bounds.data(), value);
        } else {
            const unsigned first = (boundsUpTo<groupSlots>(groupBounds.data(), value) - 1) * groupSize;
            return first + boundsUpTo<groupSize>(bounds.data() + first, value);
        }
    }

    /// Where `symbol` begins, in units of 2^-precision. Of no use for size(), but defined.
    [[gnu::always_inline]] std::uint32_t begin(unsigned symbol) const noexcept {
        return static_cast<std::uint32_t>(bounds[symbol] + bias);
    }

    [[gnu::always_inline]] void add(unsigned symbol) noexcept {
        ++counts[symbol];
        if (--untilUpdate == 0) [[unlikely]]
            update();
    }

private:
    [[gnu::noinline]] void update() noexcept {
        total += cycle;
        if (total > std::uint32_t{1} << precision)
            halve();
        const std::uint32_t scale = 0x80000000U / total;
        std::uint32_t sum = 0;
        for (unsigned i = 0; i < symbolCount; ++i) {
            bounds[i] = static_cast<std::int16_t>(static_cast<std::int32_t>((scale * sum) >> 16) - bias);
            sum += counts[i];
        }
        for (unsigned i = 0; i * groupSize < symbolCount && i < groups; ++i)
            groupBounds[i] = bounds[i * groupSize];
        cycle = std::min((5 * cycle) >> 2, (symbolCount + 6) << 3);
        untilUpdate = cycle;
    }

    void halve() noexcept {
        total = 0;
        for (unsigned i = 0; i < symbolCount; ++i) {
            counts[i] = static_cast<std::uint16_t>((counts[i] + 1U) >> 1);
            total += counts[i];
        }
    }

    std::uint32_t untilUpdate, cycle, total, symbolCount;
    alignas(16) std::array<std::int16_t, isFlat ? 0 : groupSlots> groupBounds;
    /// One more than there are symbols, since the end of a symbol is the bound of the next.
    alignas(16) std::array<std::int16_t, slots + 8> bounds;
    /// 16 bits do: counts are halved before their sum exceeds 2^precision, and a cycle adds 4176 at most.
    std::array<std::uint16_t, slots> counts;
};

} // namespace Tilewright::Io
