/// Blend: soft transitions from one value to another.
#pragma once

#include <algorithm>

namespace Tilewright::MakeScan {

/// `a` for a share of 0, `b` for a share of 1.
inline double mixed(double a, double b, double share) { return a + (b - a) * share; }

/// 0 before `from`, 1 past `to`, with a smooth rise between them.
inline double ramp(double from, double to, double value) {
    const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

} // namespace Tilewright::MakeScan
