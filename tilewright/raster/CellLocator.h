#pragma once

#include <array>
#include <cmath>

#include <tilewright/model/UniformCartesianArray.h>

namespace Tilewright {
namespace {

/// To the nearest integer, halves away from zero. The addend is the largest double below a half: with a half
/// itself, the sum for the largest double below 0.5 would round up to 1.
inline double roundedHalfAway(double f) {
    constexpr double belowHalf = 0.49999999999999994;
    constexpr double exactIntegers = 4503599627370496.0;
    const double size = std::fabs(f);
    if (!(size < exactIntegers))
        return f;
    return std::copysign(static_cast<double>(static_cast<long long>(size + belowHalf)), f);
}

/// Finds the cell of a point in one fragment: the one whose node is nearest.
class CellLocator {
public:
    CellLocator(const Quill::UniformCartesianArray& nodes, const Quill::MultiIndex<3>& cellCounts) {
        for (std::size_t d = 0; d < 3; ++d) {
            Axes[d].isEmpty = cellCounts[d] == 0;
            Axes[d].last = static_cast<double>(cellCounts[d] - 1);
        }
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t m = nodes.AxisOfCoordinate[k];
            const auto* const axis = m < 3 ? nodes.Axes[m].rawptr() : nullptr;
            if (axis)
                Axes[m] = {Axes[m].last, (*axis)[0], (*axis)[1], k, Axes[m].isEmpty};
        }
    }

    /// Fills `index` with the cell of `p`; false if the point lies outside of the fragment. On an axis
    /// without a step every point lies in layer 0; on any other one a coordinate that is not a number lies
    /// outside.
    bool locateCell(const Orrery::PhysicalSpace::point& p, Quill::MultiIndex<3>& index) const {
        for (std::size_t d = 0; d < 3; ++d) {
            const Axis& axis = Axes[d];
            const double f = axis.delta == 0.0 ? 0.0 : (p[axis.coordinate] - axis.start) / axis.delta;
            const double r = roundedHalfAway(f);
            if (!(r >= 0.0 && r <= axis.last) || axis.isEmpty)
                return false;
            // By way of a signed number, which is the quicker conversion; no fragment has 2^63 cells.
            index[d] = static_cast<unsigned long long>(static_cast<long long>(r));
        }
        return true;
    }

private:
    struct Axis {
        double last = 0.0;
        double start = 0.0;
        double delta = 0.0;
        std::size_t coordinate = 0;
        bool isEmpty = false;
    };

    std::array<Axis, 3> Axes;
};

} // namespace
} // namespace Tilewright
