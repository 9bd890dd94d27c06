/// Relief: a river in its valley, with a steep side in the west and a gentle one in the east.
#pragma once

#include "Noise.h"

#include <cstdint>

namespace Tilewright::MakeScan {

class Relief {
public:
    static constexpr double riverHalfWidth = 7;

    /// `side` is that of the square scene, as everywhere.
    Relief(std::uint64_t seed, double side);

    double side() const { return side_; }

    /// The middle of the river.
    double riverX(double y) const;

    /// The middle of the valley, without the smaller bends of the river. Roads follow it.
    double valleyX(double y) const;

    /// Distance from the middle of the river, negative in the west.
    double fromRiver(double x, double y) const;

    double waterLevel(double y) const { return 402 + 0.004 * y; }

    /// Of the ground, and of the river bed where there is water.
    double height(double x, double y) const;

private:
    double hill(double x, double y, bool steepSide) const;

    Noise hills_;
    Noise detail_;
    double side_;
    double bend_ = 0;
    double ripple_ = 0;
};

} // namespace Tilewright::MakeScan
