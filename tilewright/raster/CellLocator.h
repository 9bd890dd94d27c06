#pragma once

#include <array>

#include <tilewright/filters/CellNodes.h>

namespace Tilewright {
namespace {

/// Finds the cell of a point in one fragment: the one whose node is nearest.
class CellLocator {
public:
    CellLocator(const Quill::UniformCartesianArray& nodes, const Quill::MultiIndex<3>& cellCounts) {
        std::array<Axis, 3> axes;
        for (std::size_t k = 0; k < 3; ++k)
            if (const auto axis = axisOfCoordinate(nodes, k))
                axes[axis->number] = {k, axis->start, axis->delta, 0.0, 0};
        const bool hasCells = cellCounts.product() != 0;
        unsigned long long stride = 1;
        for (std::size_t m = 0; m < 3; ++m) {
            axes[m].end = hasCells ? static_cast<double>(cellCounts[m]) : 0.0;
            axes[m].stride = stride;
            stride *= cellCounts[m];
            if (axes[m].delta != 0.0)
                Axes[AxisCount++] = axes[m];
        }
    }

    /// The number of the cell of `p`, x fastest; `outside` if the point lies outside of the fragment. On an
    /// axis without a step every point lies in layer 0; on any other one a coordinate that is not a number
    /// lies outside.
    unsigned long long locateCell(const Orrery::PhysicalSpace::point& p, unsigned long long outside) const {
        unsigned long long cell = 0;
        for (std::size_t a = 0; a < AxisCount; ++a) {
            const Axis& axis = Axes[a];
            // To the nearest integer, halves away from zero: that is to truncate this sum, which is below
            // zero for what would round to less. The addend is the largest double below a half: with a half
            // itself, the sum for the largest double below 0.5 would round up to 1.
            constexpr double belowHalf = 0.49999999999999994;
            const double f = (p[axis.coordinate] - axis.start) / axis.delta + belowHalf;
            if (!(f >= 0.0 && f < axis.end))
                return outside;
            // By way of a signed number, which is the quicker conversion; no fragment has 2^63 cells.
            cell += static_cast<unsigned long long>(static_cast<long long>(f)) * axis.stride;
        }
        return cell;
    }

private:
    struct Axis {
        std::size_t coordinate = 0;
        double start = 0.0;
        double delta = 0.0;
        /// The number of cells along the axis.
        double end = 0.0;
        unsigned long long stride = 0;
    };

    /// Those with a step.
    std::array<Axis, 3> Axes;
    std::size_t AxisCount = 0;
};

} // namespace
} // namespace Tilewright
