/// SymbolModel: the adaptive probabilities of the symbols of an alphabet.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <type_traits>

#include <io/formats/las/BoundSearch.h>

namespace Tilewright::Io {

/// Of at most `capacity` symbols. A model has to be created before anything else is asked of it; its memory
/// counts for nothing before that, so that thousands of models cost nothing until they are used.
template <unsigned capacity> class SymbolModel {
    /// Bounds are kept lower by this much, so that they fit 16 bits with a sign, which is what processors
    /// compare. What lies past the last symbol is above all that can be looked for.
    static constexpr std::int32_t bias = 32768;
    static constexpr std::int16_t unreachable = 32767;

    /// The bounds of few symbols are compared all at once. For more, the range of places is cut into
    /// sections, about two a symbol; most of them lie in a single symbol, so that nothing has to be compared
    /// but its end.
    static constexpr bool isSmall = capacity <= 16;
    /// Places exceed 1 by less than a section.
    static constexpr unsigned leastSectionShift = 6;
    static constexpr unsigned mostSections = isSmall ? 0 : std::min(2 * std::bit_ceil(capacity), 512U);
    using Symbol = std::conditional_t<capacity <= 256, std::uint8_t, std::uint16_t>;

public:
    /// Bits of a bound.
    static constexpr unsigned precision = 15;

    /// All `symbols` are equally likely.
    [[gnu::noinline]] void create(unsigned symbols) noexcept {
        symbolCount = symbols;
        const auto symbolBits = static_cast<unsigned>(std::bit_width(symbols - 1));
        sectionShift = std::max(precision - 1 - symbolBits, leastSectionShift);
        std::fill_n(counts.begin(), symbols, std::uint16_t{1});
        std::fill(bounds.begin(), bounds.end(), unreachable);
        total = 0;
        cycle = symbols;
        update();
        cycle = untilUpdate = (symbols + 6) >> 1;
    }

    std::uint32_t size() const noexcept { return symbolCount; }

    /// How many symbols begin at or before `place`, from 1 to size(). `place` is in units of 2^-precision; it
    /// may exceed 1 by 63 of them.
    [[gnu::always_inline]] unsigned beginUpTo(std::uint32_t place) const noexcept {
        const auto value = static_cast<std::int16_t>(static_cast<std::int32_t>(place) - bias);
        if constexpr (isSmall) {
            return boundsUpTo<16>(bounds.data(), value);
        } else {
            unsigned first = sections[place >> sectionShift];
            if (bounds[first + 1] > value)
                return first + 1;
            unsigned count = boundsUpTo<8>(bounds.data() + first, value);
            while (count == 8)
                [[unlikely]] {
                    first += count;
                    count = boundsUpTo<8>(bounds.data() + first, value);
                }
            return first + count;
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
        if constexpr (!isSmall)
            findSections();
        cycle = std::min((5 * cycle) >> 2, (symbolCount + 6) << 3);
        untilUpdate = cycle;
    }

    /// The symbol in which each section begins, and one more section for what exceeds the last.
    void findSections() noexcept {
        const unsigned count = (1U << (precision - sectionShift)) + 1;
        std::fill_n(sections.begin(), count, Symbol{0});
        const std::uint32_t last = (1U << sectionShift) - 1;
        for (unsigned i = 1; i < symbolCount; ++i)
            sections[(begin(i) + last) >> sectionShift] = static_cast<Symbol>(i);
        Symbol symbol = 0;
        for (unsigned i = 0; i < count; ++i) {
            symbol = std::max(symbol, sections[i]);
            sections[i] = symbol;
        }
    }

    void halve() noexcept {
        total = 0;
        for (unsigned i = 0; i < symbolCount; ++i) {
            counts[i] = static_cast<std::uint16_t>((counts[i] + 1U) >> 1);
            total += counts[i];
        }
    }

    std::uint32_t untilUpdate, cycle, total, symbolCount, sectionShift;
    /// More than there are symbols, since the end of a symbol is the bound of the next, and eight are
    /// compared at once.
    std::array<std::int16_t, std::max(capacity, 16U) + 8> bounds;
    std::array<Symbol, mostSections + 1> sections;
    /// 16 bits do: counts are halved before their sum exceeds 2^precision, and a cycle adds 4176 at most.
    std::array<std::uint16_t, std::max(capacity, 16U)> counts;
};

} // namespace Tilewright::Io
