#include <io/blocks/SquareReader.h>

#include <algorithm>

#include <io/blocks/SquareGeometry.h>

namespace Tilewright::Io {

std::uint64_t chooseSide(const BlockLattice& lattice, std::uint64_t points) {
    constexpr double mostPoints = 1e6;
    constexpr std::uint64_t leastSide = 16;
    const double density = static_cast<double>(points) / (static_cast<double>(lattice.x().cells()) *
                                                          static_cast<double>(lattice.y().cells()));
    std::uint64_t side = BlockLattice::blockSide;
    while (side > leastSide && density * static_cast<double>(side * side) > mostPoints)
        side /= 2;
    return side;
}

double readingEffort(const CloudIndex& index, const BlockLattice& lattice, std::uint64_t side) {
    double read = 0.0;
    double points = 0.0;
    for (const Stretch& stretch : index.stretches)
        if (const std::optional<CellWindow> cells = cellsOf(stretch, lattice)) {
            points += static_cast<double>(stretch.count);
            read += static_cast<double>(stretch.count) *
                    static_cast<double>(squaresOf(*cells, lattice, side).count());
        }
    return points > 0.0 ? read / points : 1.0;
}

} // namespace Tilewright::Io
