/// OrderKeys: numbers as 64-bit integers in the same order.
///
/// The library bounds what Min and Max can find at a million, except for the largest of unsigned integers:
/// its search starts at 0. So an extreme of values that may lie beyond is sought as the largest of keys, and
/// turned back into the number, which is exactly the one that went in.
///
/// 0 is the key of what is not a number, and every number beats it.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Tilewright::Io {

/// What the values of a column are keys of. The greatest number has the largest key, or the least one if the
/// order is reversed. Numbers are doubles; unsigned 64-bit integers are keys as they are.
enum class OrderKeys { None, Numbers, ReversedNumbers, Integers, ReversedIntegers };

namespace KeyBits {
inline constexpr unsigned long long sign = 1ULL << 63U;
}

/// Both zeros have one key.
inline unsigned long long orderKeyOf(double number, bool isReversed) {
    if (std::isnan(number))
        return 0;
    const auto bits = std::bit_cast<unsigned long long>(isReversed ? 0.0 - number : number + 0.0);
    return (bits & KeyBits::sign) != 0 ? ~bits : bits | KeyBits::sign;
}

inline double numberOfOrderKey(unsigned long long key, bool isReversed) {
    if (key == 0)
        return std::numeric_limits<double>::quiet_NaN();
    const auto number = std::bit_cast<double>((key & KeyBits::sign) != 0 ? key & ~KeyBits::sign : ~key);
    return isReversed ? 0.0 - number : number;
}

} // namespace Tilewright::Io
