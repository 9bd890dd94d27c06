#include "Relief.h"

#include "Blend.h"
#include "Chance.h"

#include <algorithm>
#include <cmath>

namespace Tilewright::MakeScan {

Relief::Relief(std::uint64_t seed, double side)
    : hills_(scramble(seed, 1, 0)), detail_(scramble(seed, 2, 0)), side_(side) {
    Chance chance(scramble(seed, 3, 0));
    bend_ = chance.between(0, 6);
    ripple_ = chance.between(0, 6);
}

double Relief::riverX(double y) const {
    return 0.34 * side_ + 30 * std::sin(y / 62 + bend_) + 8 * std::sin(y / 21 + ripple_);
}

double Relief::valleyX(double y) const { return 0.34 * side_ + 24 * std::sin(y / 62 + bend_); }

double Relief::fromRiver(double x, double y) const {
    const double lean = riverX(y + 0.5) - riverX(y - 0.5);
    return (x - riverX(y)) / std::hypot(1, lean);
}

double Relief::height(double x, double y) const {
    const double across = fromRiver(x, y);
    const double distance = std::abs(across);
    const double bank = 2.2 * ramp(riverHalfWidth - 2, riverHalfWidth + 5, distance) - 0.6;
    const double meadow =
        2.5 * ramp(10, 90, distance) + 0.25 * detail_.at(x / 11, y / 11) * ramp(8, 20, distance);
    const double slope = across < 0 ? ramp(28, 190, distance) : ramp(70, 420, distance);
    return waterLevel(y) + bank + meadow + slope * hill(x, y, across < 0);
}

double Relief::hill(double x, double y, bool steepSide) const {
    const double body =
        (steepSide ? 52 : 44) + 20 * hills_.at(x / 230, y / 230) + 5 * hills_.rough(x / 70, y / 70, 3);
    const double gully = 1 - std::min(1.0, 3.5 * std::abs(detail_.at(x / 85, y / 60)));
    return body - (steepSide ? 9 : 1.5) * gully * gully;
}

} // namespace Tilewright::MakeScan
