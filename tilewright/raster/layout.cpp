#include <tilewright/raster/layout.h>

#include <tilewright/model/BoundingBox.h>

namespace Tilewright {

namespace {

/// Truncates toward zero. A negative quotient wraps as an unsigned count; one that no count can hold gives 0
/// and so a single layer.
unsigned long long truncatedCount(double quotient) {
    constexpr double signedLimit = 9223372036854775808.0;
    if (quotient >= 0.0 && quotient < 2.0 * signedLimit)
        return static_cast<unsigned long long>(quotient);
    if (quotient < 0.0 && quotient > -signedLimit)
        return static_cast<unsigned long long>(static_cast<long long>(quotient));
    return 0;
}

/// The lattice on one axis.
struct AxisLayout {
    double cellSize;
    unsigned long long cellCount;
};

AxisLayout layOutAxis(double fragmentWidth, double wantedCellSize, unsigned long long overlap) {
    const bool isFlat = fragmentWidth == 0.0 || wantedCellSize == 0.0;
    const unsigned long long nodeCount = isFlat ? 1 : truncatedCount(fragmentWidth / wantedCellSize + 1.0);
    const unsigned long long steps = nodeCount - 1;
    return {fragmentWidth == 0.0 || steps == 0 ? 0.0 : fragmentWidth / static_cast<double>(steps),
            nodeCount <= 1 ? 1 : steps + overlap};
}

} // namespace

std::string layOutLattice(const Quill::RegularFieldPtr& positions,
                          const Orrery::PhysicalSpace::vector& wantedCellSize,
                          const Orrery::PhysicalSpace::vector& cellShift, Lattice& lattice) {
    if (!positions)
        return "in positions not regularly fragmented";
    const Quill::BoundingBoxPtr box = Quill::getBoundingBox(*positions);
    if (!box)
        return "raster:: No bbox";
    const Orrery::PhysicalSpace::point low = box->at(0);
    const Orrery::PhysicalSpace::point high = box->at(1);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double fragmentWidth =
            (high[axis] - low[axis]) / static_cast<double>(lattice.fragmentCount[axis]);
        const unsigned long long overlap = lattice.overlap[axis];
        const AxisLayout layout = layOutAxis(fragmentWidth, wantedCellSize[axis], overlap);
        lattice.cellSize[axis] = layout.cellSize;
        lattice.cellCounts[axis] = layout.cellCount;
        lattice.origin[axis] = low[axis] + cellShift[axis] * layout.cellSize;
        // An odd overlap counts as the even one below it: the lattice moves by whole cells only.
        if (const unsigned long long even = overlap - overlap % 2; even != 0)
            lattice.origin[axis] -= static_cast<double>(even) * 0.5 * layout.cellSize;
    }
    return {};
}

// Positions come by value, so that the call holds the field for as long as it reads it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::string prepareUniformLayout(Quill::RegularFieldPtr positions,
                                 const Orrery::PhysicalSpace::vector& wantedCellSize,
                                 Orrery::PhysicalSpace::vector& cellSize, const Quill::MultiIndex<3>& overlap,
                                 const Quill::MultiIndex<3>& FragmentCount,
                                 Orrery::PhysicalSpace::point& origin, Quill::MultiIndex<3>& cellCounts,
                                 const Orrery::PhysicalSpace::vector& cellShift) {
    Lattice lattice;
    lattice.fragmentCount = FragmentCount;
    lattice.overlap = overlap;
    if (std::string failure = layOutLattice(positions, wantedCellSize, cellShift, lattice); !failure.empty())
        return failure;
    cellSize = lattice.cellSize;
    origin = lattice.origin;
    cellCounts = lattice.cellCounts;
    return {};
}

} // namespace Tilewright
