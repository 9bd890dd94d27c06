/// What the readers of squares share: where stretches lie among squares, and what is read of their records.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/CloudSelection.h>
#include <io/records/ByteSelection.h>

namespace Tilewright::Io {

/// The squares that a window reaches into.
struct SquareRange {
    std::uint64_t firstAcross;
    std::uint64_t lastAcross;
    std::uint64_t firstDown;
    std::uint64_t lastDown;

    std::uint64_t count() const { return (lastAcross - firstAcross + 1) * (lastDown - firstDown + 1); }
};

SquareRange squaresOf(const CellWindow& cells, const BlockLattice& lattice, std::uint64_t side);

/// The cells that a stretch can reach; none where it misses the raster.
std::optional<CellWindow> cellsOf(const Stretch& stretch, const BlockLattice& lattice);

/// Whether points of a stretch may lie in a window.
bool reaches(const Stretch& stretch, const BlockLattice& lattice, const CellWindow& window);

/// The share of a window's cells that lie in another one.
double sharedPart(const CellWindow& part, const CellWindow& other);

/// The attributes in the records of a source.
std::vector<PointField> fieldsIn(const RecordFormat& format, const std::vector<CloudField>& wanted);

/// The bytes of a record that are looked at: its position, the attributes, and what the selection looks at.
ByteSelection bytesRead(const RecordFormat& format, const PointNeeds& needs);

} // namespace Tilewright::Io
