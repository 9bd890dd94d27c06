/// StreamingMedian: the middle of five numbers, of which each new one drives out the greatest or the least.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace Tilewright::Io {

class StreamingMedian {
public:
    std::int32_t median() const noexcept { return sorted[2]; }

    /// Without a branch, which would be guessed wrong as often as not.
    [[gnu::always_inline]] void add(std::int32_t value) noexcept {
        const std::int32_t middle = sorted[2];
        const std::int32_t* kept = sorted.data() + (dropsGreatest ? 0 : 1);
        const std::int32_t a = kept[0], b = kept[1], c = kept[2], d = kept[3];
        sorted[0] = std::min(a, value);
        sorted[1] = std::max(a, std::min(b, value));
        sorted[2] = std::max(b, std::min(c, value));
        sorted[3] = std::max(c, std::min(d, value));
        sorted[4] = std::max(d, value);
        dropsGreatest = (value < middle) | (!dropsGreatest & (value == middle));
    }

private:
    std::array<std::int32_t, 5> sorted = {};
    bool dropsGreatest = true;
};

} // namespace Tilewright::Io
