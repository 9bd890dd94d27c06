/// BitModel: the adaptive probabilities of a bit.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Tilewright::Io {

class BitModel {
public:
    /// Bits of `probability()`.
    static constexpr unsigned precision = 13;

    /// The probability of a zero, in units of 2^-precision.
    std::uint32_t probability() const noexcept { return zeroProbability; }

    void add(unsigned bit) noexcept {
        zeros += 1 - bit;
        if (--untilUpdate == 0)
            update();
    }

private:
    void update() noexcept {
        total += cycle;
        if (total > std::uint32_t{1} << precision) {
            total = (total + 1) >> 1;
            zeros = (zeros + 1) >> 1;
            if (zeros == total)
                ++total;
        }
        zeroProbability = (zeros * (0x80000000U / total)) >> (31 - precision);
        cycle = std::min((5 * cycle) >> 2, 64U);
        untilUpdate = cycle;
    }

    std::uint32_t zeros = 1, total = 2;
    std::uint32_t zeroProbability = std::uint32_t{1} << (precision - 1);
    std::uint32_t cycle = 4, untilUpdate = 4;
};

} // namespace Tilewright::Io
