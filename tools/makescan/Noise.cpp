#include "Noise.h"

#include "Blend.h"
#include "Chance.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Tilewright::MakeScan {

namespace {

using Directions = std::array<std::array<double, 2>, 64>;

Directions allDirections() {
    Directions directions{};
    for (std::size_t i = 0; i < directions.size(); ++i) {
        const double angle = 2 * std::numbers::pi * (static_cast<double>(i) + 0.5) / 64;
        directions[i] = {std::cos(angle), std::sin(angle)};
    }
    return directions;
}

double fade(double t) { return t * t * t * (t * (t * 6 - 15) + 10); }

} // namespace

double Noise::at(double x, double y) const {
    const double left = std::floor(x);
    const double low = std::floor(y);
    const auto i = static_cast<std::int64_t>(left);
    const auto j = static_cast<std::int64_t>(low);
    const double u = x - left;
    const double v = y - low;
    const double south = mixed(slope(i, j, u, v), slope(i + 1, j, u - 1, v), fade(u));
    const double north = mixed(slope(i, j + 1, u, v - 1), slope(i + 1, j + 1, u - 1, v - 1), fade(u));
    return 1.5 * mixed(south, north, fade(v));
}

double Noise::rough(double x, double y, int octaves) const {
    double sum = 0;
    double share = 1;
    for (int octave = 0; octave < octaves; ++octave, share *= 0.5, x *= 2.03, y *= 2.03) {
        sum += share * at(x, y);
    }
    return sum;
}

double Noise::slope(std::int64_t i, std::int64_t j, double u, double v) const {
    static const Directions directions = allDirections();
    const auto& [east, north] = directions[scramble(seed_, i, j) % directions.size()];
    return east * u + north * v;
}

} // namespace Tilewright::MakeScan
