#pragma once

#include <array>
#include <optional>

#include <tilewright/model/UniformCartesianArray.h>

namespace Tilewright {
namespace {

/// An axis of a lattice, read once: the pointers of the lattice check themselves whenever they are followed.
struct NodeAxis {
    std::size_t number = 0;
    double start = 0.0;
    double delta = 0.0;
};

/// The axis of coordinate `k`; nothing if it has none.
inline std::optional<NodeAxis> axisOfCoordinate(const Quill::UniformCartesianArray& nodes, std::size_t k) {
    const std::size_t m = nodes.AxisOfCoordinate[k];
    const auto* const axis = m < 3 ? nodes.Axes[m].rawptr() : nullptr;
    if (!axis)
        return {};
    return NodeAxis{m, (*axis)[0], (*axis)[1]};
}

/// The nodes of the cells, by the number of the cell. Without `nodes` all cells are at zero.
class CellNodes {
public:
    explicit CellNodes(const Quill::UniformCartesianArray* nodes) {
        if (!nodes || nodes->nElements() == 0)
            return;
        Size = nodes->Size();
        for (std::size_t k = 0; k < 3; ++k)
            Axes[k] = axisOfCoordinate(*nodes, k).value_or(NodeAxis());
    }

    Orrery::PhysicalSpace::point operator[](unsigned long long cell) const {
        const unsigned long long row = cell / Size[0];
        const Quill::MultiIndex<3> index(cell % Size[0], row % Size[1], row / Size[1]);
        Orrery::PhysicalSpace::point p;
        for (std::size_t k = 0; k < 3; ++k)
            p[k] = Axes[k].start + static_cast<double>(index[Axes[k].number]) * Axes[k].delta;
        return p;
    }

private:
    Quill::MultiIndex<3> Size{1, 1, 1};
    /// For each coordinate.
    std::array<NodeAxis, 3> Axes;
};

} // namespace
} // namespace Tilewright
