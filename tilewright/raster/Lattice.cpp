#include <tilewright/raster/Lattice.h>

namespace Tilewright {

Lattice::Placement Lattice::placementOf(const Quill::MultiIndex<3>& fragment) const {
    Placement placement;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        placement.lowOverlap[axis] = fragment[axis] != 0 ? overlap[axis] : 0;
        placement.highOverlap[axis] = fragment[axis] != fragmentCount[axis] - 1 ? overlap[axis] : 0;
        placement.offset[axis] = (cellCounts[axis] - placement.lowOverlap[axis]) * fragment[axis];
    }
    return placement;
}

Orrery::PhysicalSpace::point Lattice::firstNode(const Placement& placement) const {
    Orrery::PhysicalSpace::point node;
    for (std::size_t axis = 0; axis < 3; ++axis)
        node[axis] = origin[axis] + static_cast<double>(placement.offset[axis]) * cellSize[axis];
    return node;
}

} // namespace Tilewright
