/// ArithmeticDecoder: symbols, bits and plain numbers out of an arithmetic-coded string of bytes.
///
/// 1. No byte outside of the string is ever read.
/// 2. The value stays below the length of the interval, so that every symbol is one of its model's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <io/formats/las/BitModel.h>
#include <io/formats/las/SymbolModel.h>

namespace Tilewright::Io {

/// Loops work on a copy, which the compiler keeps in registers.
class ArithmeticDecoder {
public:
    ArithmeticDecoder() = default;
    /// Throws CodingError if `bytes` are no such string.
    explicit ArithmeticDecoder(std::span<const std::byte> bytes);

    /// All operations throw CodingError where the string ends too early.
    template <unsigned capacity> [[gnu::always_inline]] unsigned symbol(SymbolModel<capacity>& model) {
        const std::uint32_t step = length >> SymbolModel<capacity>::precision;
        const unsigned end = model.beginUpTo(value / step);
        const unsigned result = end - 1;
        const std::uint32_t low = model.begin(result) * step;
        const std::uint32_t inner = model.begin(end) * step;
        // The last symbol also has what the rounding of `step` leaves.
        const std::uint32_t high = end == model.size() ? length : inner;
        value -= low;
        length = high - low;
        renormalise();
        model.add(result);
        return result;
    }

    [[gnu::always_inline]] unsigned bit(BitModel& model) {
        const std::uint32_t zeros = model.probability() * (length >> BitModel::precision);
        const unsigned result = value < zeros ? 0 : 1;
        value -= result != 0 ? zeros : 0;
        length = result != 0 ? length - zeros : zeros;
        renormalise();
        model.add(result);
        return result;
    }

    /// A number of `count` bits, 1 to 32.
    [[gnu::always_inline]] std::uint32_t bits(unsigned count) {
        if (count > longestNumber) {
            const std::uint32_t low = shortBits(16);
            return shortBits(count - 16) << 16 | low;
        }
        return shortBits(count);
    }

    std::uint32_t bits32() { return bits(32); }

    std::uint64_t bits64() {
        const std::uint64_t low = bits32();
        return std::uint64_t{bits32()} << 32 | low;
    }

    /// What has not been read. Nothing after the last symbol of the string, and something before it or where
    /// more of the string is to come.
    std::span<const std::byte> rest() const noexcept { return {next, end}; }
    /// Goes on with other bytes, which begin as rest() does.
    void moveTo(std::span<const std::byte> bytes) noexcept {
        next = bytes.data();
        end = bytes.data() + bytes.size();
    }

private:
    static constexpr std::uint32_t shortestInterval = std::uint32_t{1} << 24;
    static constexpr unsigned longestNumber = 19;

    [[gnu::always_inline]] std::uint32_t shortBits(unsigned count) {
        length >>= count;
        const std::uint32_t result = value / length;
        value -= result * length;
        if (result >> count != 0) [[unlikely]]
            failAtNumber();
        renormalise();
        return result;
    }

    [[gnu::always_inline]] void renormalise() {
        if (next == end) [[unlikely]] {
            if (length < shortestInterval)
                failAtEnd();
            return;
        }
        // Whether a byte is needed is as random as the symbols are, so no branch asks; more than one is rare.
        const std::uint32_t needed = length < shortestInterval ? 1 : 0;
        const std::uint32_t shift = needed << 3;
        value = value << shift | (std::to_integer<std::uint32_t>(*next) & (0U - needed));
        length <<= shift;
        next += needed;
        while (length < shortestInterval)
            [[unlikely]] takeByte();
    }

    [[gnu::always_inline]] void takeByte() {
        if (next == end)
            failAtEnd();
        value = value << 8 | std::to_integer<std::uint32_t>(*next++);
        length <<= 8;
    }

    [[noreturn]] static void failAtEnd();
    [[noreturn]] static void failAtNumber();

    std::uint32_t value = 0, length = 0;
    const std::byte* next = nullptr;
    const std::byte* end = nullptr;
};

} // namespace Tilewright::Io
