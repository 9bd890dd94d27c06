/// What the readers of squares share: where stretches lie among squares, and which points of a piece are
/// wanted.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/CloudSelection.h>

namespace Tilewright::Io {

/// The squares that a window reaches into.
struct UnitRange {
    std::uint64_t firstAcross;
    std::uint64_t lastAcross;
    std::uint64_t firstDown;
    std::uint64_t lastDown;

    std::uint64_t count() const { return (lastAcross - firstAcross + 1) * (lastDown - firstDown + 1); }
};

UnitRange unitsOf(const CellWindow& cells, const BlockLattice& lattice, std::uint64_t side);

/// The cells that a stretch can reach; none where it misses the raster.
std::optional<CellWindow> cellsOf(const Stretch& stretch, const BlockLattice& lattice);

/// The share of a window's cells that lie in another one.
double sharedPart(const CellWindow& part, const CellWindow& other);

/// The attributes in the records of a source.
std::vector<PointField> fieldsIn(const RecordFormat& format, const std::vector<CloudField>& wanted);

/// The points of a piece of records, one after the other: calls `visit(i, cellX, cellY)` for each that passes
/// the selection and lies in the raster.
class PointFinder {
public:
    PointFinder(const BlockLattice& lattice, const std::optional<CloudSelection>& selection)
        : Lattice(lattice), Test(selection) {}

    template <class Visitor>
    void find(const RecordFormat& format, const std::byte* records, std::size_t count, Visitor&& visit) {
        Positions.resize(3 * count);
        decodePositions(format, records, count, Positions.data());
        const unsigned char* const passes = Test.isNeeded() ? Test(format, records, count) : nullptr;
        for (std::size_t i = 0; i < count; ++i) {
            std::int64_t cellX;
            std::int64_t cellY;
            double settled;
            if (!(passes && !passes[i]) && Lattice.x().locate(Positions[3 * i], cellX, settled) &&
                Lattice.y().locate(Positions[3 * i + 1], cellY, settled))
                visit(i, static_cast<std::uint64_t>(cellX), static_cast<std::uint64_t>(cellY));
        }
    }

private:
    const BlockLattice& Lattice;
    SelectionTest Test;
    std::vector<double> Positions;
};

} // namespace Tilewright::Io
