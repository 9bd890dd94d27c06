#include <io/blocks/WindowLayout.h>

#include <tilewright/model/BoundingBox.h>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;

} // namespace

WindowLayout::WindowLayout(const BlockLattice& lattice, const CellWindow& window)
    : positions(
          Larder::Ref<Quill::RegularlyFragmentedField<3>>(Quill::MultiIndex<3>(1, 1, 1), "RegularFragment")),
      arraySize(window.columns + 2 * rim, window.rows + 2 * rim, 1) {
    const auto firstNode = [](const LatticeAxis& axis, std::uint64_t cell) {
        return axis.centre(static_cast<std::int64_t>(cell) - static_cast<std::int64_t>(rim));
    };
    // The library has as many cells as steps fit into the box, and leaves the last node out.
    const point low(firstNode(lattice.x(), window.column), firstNode(lattice.y(), window.row), 0.0);
    const point high(low[0] + static_cast<double>(arraySize[0]) * lattice.x().cellSize(),
                     low[1] + static_cast<double>(arraySize[1]) * lattice.y().cellSize(), 0.0);
    positions->addInterface(Larder::Ref<Orrery::BoundingBox>(low, high));
    // A little less than the cell size: the library rounds the number of cells down, and a quarter of a cell
    // on the whole window keeps rounding errors from costing one.
    const auto wanted = [](const LatticeAxis& axis, unsigned long long n) {
        return axis.cellSize() * static_cast<double>(n) / (static_cast<double>(n) + 0.25);
    };
    // The box is flat and asks for no layers. The library refuses cells that are tiny on all three axes,
    // which those of a cloud in degrees may well be.
    wantedCellSize = {wanted(lattice.x(), arraySize[0]), wanted(lattice.y(), arraySize[1]), 1.0};
}

} // namespace Tilewright::Io
