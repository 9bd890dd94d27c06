/// Noise: smooth random hills.
#pragma once

#include <cstdint>

namespace Tilewright::MakeScan {

class Noise {
public:
    explicit Noise(std::uint64_t seed) : seed_(seed) {}

    /// Hills between about -1 and 1, each about one unit across.
    double at(double x, double y) const;

    /// Hills with smaller hills on them: each octave has half the height of the one before, on about half
    /// its width.
    double rough(double x, double y, int octaves) const;

private:
    double slope(std::int64_t i, std::int64_t j, double u, double v) const;

    std::uint64_t seed_;
};

} // namespace Tilewright::MakeScan
