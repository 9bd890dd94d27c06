/// PointFinder: finds the points of a piece of records that count and lie in a window, and the cell of each.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/blocks/PointColumns.h>
#include <io/clouds/CloudSelection.h>

namespace Tilewright::Io {

/// For one thread. What it refers to must outlive it.
class PointFinder {
public:
    /// Every point counts if `areSelected`, and else those that `needs` selects.
    PointFinder(const BlockLattice& lattice, const CellWindow& window, const PointNeeds& needs,
                bool areSelected = false);

    /// Finds the points among `count` records; what it gives is valid until the next call. Meanwhile it has
    /// `next` fetched, which is what will be read after them.
    const FoundPoints& find(const RecordLayout& layout, const std::byte* records, std::size_t count,
                            std::span<const std::byte> next = {});

    /// Of the points that were found last the column and the row in the window, from its south-western
    /// corner.
    std::span<const std::uint32_t> columns() const { return {Columns.data(), Found.ordinals.size()}; }
    std::span<const std::uint32_t> rows() const { return {Rows.data(), Found.ordinals.size()}; }

    /// Points that were left out for want of ground below them.
    std::uint64_t withoutGround() const { return WithoutGround; }

    /// Appends the cell of each point that was found last: its number in the window, row by row from the
    /// south. The window must have fewer than 2^32 cells.
    void appendCells(std::vector<std::uint32_t>& cells) const;

private:
    std::size_t findCandidates(const RecordFormat& format, const std::byte* records, std::size_t count);
    std::size_t dropByAttributes(const RecordFormat& format, const std::byte* records, std::size_t found);
    void decode(const RecordFormat& format, const std::byte* records, std::size_t count, std::size_t found,
                std::span<const std::byte> next);
    bool locate(std::size_t found);
    std::size_t keepInWindow(std::size_t found);
    std::size_t dropByPlace(const RecordFormat& format, const std::byte* records, std::size_t found);
    std::size_t dropBy(ConditionTest& test, const RecordFormat& format, const std::byte* records,
                       std::size_t found);
    std::size_t dropWithoutGround(std::size_t found);
    std::array<const double*, 4> coordinates() const;
    std::size_t keepPassed(std::size_t found, const unsigned char* passes);
    void move(std::size_t from, std::size_t to);

    const BlockLattice& Lattice;
    CellWindow Window;
    CoordinateBox Box;
    /// The window is the raster: hardly a point is outside.
    bool IsWhole;
    /// Conditions by when they can be tested: before the coordinates are decoded, and after.
    ConditionTest Attributes;
    ConditionTest Places;
    ConditionTest HeightsAboveGround;
    const PolygonArea* Clip;
    const GroundSurface* Ground;
    std::uint64_t WithoutGround = 0;
    std::vector<unsigned char> Passes;
    /// Which points remain.
    std::vector<std::uint32_t> Kept;
    FoundPoints Found;
    /// The last one is the height above the ground.
    std::array<std::vector<double>, 4> Coordinates;
    /// How clear of edges, and of the end of the raster, the points are.
    std::vector<double> Margins;
    std::vector<std::uint32_t> Ordinals;
    std::vector<std::uint32_t> Columns;
    std::vector<std::uint32_t> Rows;
};

} // namespace Tilewright::Io
