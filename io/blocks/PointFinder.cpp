#include <io/blocks/PointFinder.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <numeric>

#include <io/clouds/PolygonArea.h>
#include <io/rasters/GroundSurface.h>

namespace Tilewright::Io {

namespace {

/// No raster has so many columns or rows.
constexpr std::uint32_t outside = std::numeric_limits<std::uint32_t>::max();

/// All coordinates that cells of the window can have, and some more.
CoordinateBox boxOf(const BlockLattice& lattice, const CellWindow& window) {
    const auto low = [](const LatticeAxis& axis, std::uint64_t first) {
        return axis.edge(static_cast<std::int64_t>(first)) - 0.02 * axis.cellSize();
    };
    return {{low(lattice.x(), window.column), low(lattice.y(), window.row)},
            {low(lattice.x(), window.column + window.columns) + 0.04 * lattice.x().cellSize(),
             low(lattice.y(), window.row + window.rows) + 0.04 * lattice.y().cellSize()}};
}

/// What is known of a point when a condition is tested.
enum class Stage { Attributes, Places, HeightsAboveGround };

Stage stageOf(const PointCondition& condition) {
    return isOfAttributes(condition)                                           ? Stage::Attributes
           : condition.quantity == PointCondition::Quantity::HeightAboveGround ? Stage::HeightsAboveGround
                                                                               : Stage::Places;
}

PointConditions conditionsOf(const PointNeeds& needs, Stage stage, bool areSelected) {
    PointConditions some;
    if (!areSelected)
        std::ranges::copy_if(needs.selection, std::back_inserter(some),
                             [=](const PointCondition& condition) { return stageOf(condition) == stage; });
    return some;
}

} // namespace

PointFinder::PointFinder(const BlockLattice& lattice, const CellWindow& window, const PointNeeds& needs,
                         bool areSelected)
    : Lattice(lattice), Window(window), Box(boxOf(lattice, window)),
      IsWhole(window.cells() == lattice.cells()),
      Attributes(conditionsOf(needs, Stage::Attributes, areSelected)),
      Places(conditionsOf(needs, Stage::Places, areSelected)),
      HeightsAboveGround(conditionsOf(needs, Stage::HeightsAboveGround, areSelected)),
      Clip(areSelected ? nullptr : needs.clip.get()), Ground(needs.ground.get()) {}

const FoundPoints& PointFinder::find(const RecordLayout& layout, const std::byte* records, std::size_t count,
                                     std::span<const std::byte> next) {
    if (Ordinals.size() < count) {
        Ordinals.resize(count);
        Columns.resize(count);
        Rows.resize(count);
        Margins.resize(count);
        for (std::vector<double>& axis : Coordinates)
            axis.resize(count);
    }
    std::size_t found = findCandidates(layout.format, records, count);
    found = dropByAttributes(layout.format, records, found);
    decode(layout.format, records, count, found, next);
    if (!locate(found) || !IsWhole)
        found = keepInWindow(found);
    found = dropByPlace(layout.format, records, found);
    Found = {&layout, records, std::span(Ordinals.data(), found), coordinates()};
    return Found;
}

std::size_t PointFinder::findCandidates(const RecordFormat& format, const std::byte* records,
                                        std::size_t count) {
    if (!IsWhole)
        return findInBox(format, records, count, Box, Ordinals.data());
    std::iota(Ordinals.begin(), Ordinals.begin() + static_cast<std::ptrdiff_t>(count), 0U);
    return count;
}

std::size_t PointFinder::dropByAttributes(const RecordFormat& format, const std::byte* records,
                                          std::size_t found) {
    if (!Attributes.isNeeded())
        return found;
    const unsigned char* const passes = Attributes({format, records, std::span(Ordinals.data(), found)});
    std::size_t kept = 0;
    for (std::size_t i = 0; i < found; ++i) {
        Ordinals[kept] = Ordinals[i];
        kept += passes[i];
    }
    return kept;
}

void PointFinder::decode(const RecordFormat& format, const std::byte* records, std::size_t count,
                         std::size_t found, std::span<const std::byte> next) {
    const std::size_t third = next.size() / 3;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::span<double> values(Coordinates[axis].data(), found);
        if (found == count)
            decodeField(format, format.coordinates[axis], records, values, next.subspan(axis * third, third));
        else
            decodeFieldAt(format, format.coordinates[axis], records, std::span(Ordinals.data(), found),
                          values);
    }
}

/// Finds column and row in the raster; those of a point outside are `outside`. Gives whether none is.
bool PointFinder::locate(std::size_t found) {
    bool areInside = true;
    std::fill_n(Margins.begin(), found, 1.0);
    Lattice.x().locateAll(std::span(Coordinates[0].data(), found), Columns.data(), Margins.data());
    Lattice.y().locateAll(std::span(Coordinates[1].data(), found), Rows.data(), Margins.data());
    for (std::size_t i = 0; i < found; ++i) {
        if (Margins[i] > 0.0) [[likely]]
            continue;
        std::int64_t column;
        std::int64_t row;
        const bool isInside =
            Lattice.x().locate(Coordinates[0][i], column) && Lattice.y().locate(Coordinates[1][i], row);
        Columns[i] = isInside ? static_cast<std::uint32_t>(column) : outside;
        Rows[i] = isInside ? static_cast<std::uint32_t>(row) : outside;
        areInside &= isInside;
    }
    return areInside;
}

/// Leaves out what lies elsewhere. Gives the number of points that are left.
std::size_t PointFinder::keepInWindow(std::size_t found) {
    const auto column = static_cast<std::uint32_t>(Window.column);
    const auto row = static_cast<std::uint32_t>(Window.row);
    const auto columns = static_cast<std::uint32_t>(Window.columns);
    const auto rows = static_cast<std::uint32_t>(Window.rows);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < found; ++i) {
        // Cells before the window become large numbers.
        Columns[kept] = Columns[i] - column;
        Rows[kept] = Rows[i] - row;
        if (Columns[kept] >= columns || Rows[kept] >= rows)
            continue;
        if (kept != i)
            move(i, kept);
        ++kept;
    }
    return kept;
}

void PointFinder::move(std::size_t from, std::size_t to) {
    Ordinals[to] = Ordinals[from];
    for (std::size_t axis = 0; axis < (Ground ? 4U : 3U); ++axis)
        Coordinates[axis][to] = Coordinates[axis][from];
}

std::size_t PointFinder::dropByPlace(const RecordFormat& format, const std::byte* records,
                                     std::size_t found) {
    if (Clip) {
        Passes.assign(found, 1);
        Clip->drop(Coordinates[0].data(), Coordinates[1].data(), found, Passes.data());
        found = keepPassed(found, Passes.data());
    }
    found = dropBy(Places, format, records, found);
    if (Ground)
        found = dropBy(HeightsAboveGround, format, records, dropWithoutGround(found));
    return found;
}

std::size_t PointFinder::dropBy(ConditionTest& test, const RecordFormat& format, const std::byte* records,
                                std::size_t found) {
    if (!test.isNeeded())
        return found;
    return keepPassed(found, test({format, records, std::span(Ordinals.data(), found), coordinates()}));
}

std::size_t PointFinder::dropWithoutGround(std::size_t found) {
    const double* const above = Coordinates[3].data();
    const std::size_t without = Ground->subtract(Coordinates[0].data(), Coordinates[1].data(),
                                                 Coordinates[2].data(), found, Coordinates[3].data());
    WithoutGround += without;
    if (without == 0)
        return found;
    Passes.resize(found);
    std::transform(above, above + found, Passes.begin(),
                   [](double height) { return static_cast<unsigned char>(std::isnan(height) ? 0 : 1); });
    return keepPassed(found, Passes.data());
}

std::array<const double*, 4> PointFinder::coordinates() const {
    return {Coordinates[0].data(), Coordinates[1].data(), Coordinates[2].data(),
            Ground ? Coordinates[3].data() : nullptr};
}

/// Keeps the points that have a 1. Mostly it is all of them or none.
std::size_t PointFinder::keepPassed(std::size_t found, const unsigned char* passes) {
    // Where nothing was found the array may have no address, and memchr wants one.
    if (found == 0)
        return 0;
    const auto* const firstLost = static_cast<const unsigned char*>(std::memchr(passes, 0, found));
    if (!firstLost)
        return found;
    const auto first = static_cast<std::size_t>(firstLost - passes);
    Kept.resize(found);
    std::uint32_t* const kept = Kept.data();
    std::size_t count = 0;
    for (std::size_t i = first; i < found; ++i) {
        kept[count] = static_cast<std::uint32_t>(i);
        count += passes[i];
    }
    const auto keep = [&](auto* values) {
        for (std::size_t i = 0; i < count; ++i)
            values[first + i] = values[kept[i]];
    };
    keep(Ordinals.data());
    keep(Columns.data());
    keep(Rows.data());
    for (std::size_t axis = 0; axis < (Ground ? 4U : 3U); ++axis)
        keep(Coordinates[axis].data());
    return first + count;
}

void PointFinder::appendCells(std::vector<std::uint32_t>& cells) const {
    const std::size_t size = cells.size();
    const std::size_t found = Found.ordinals.size();
    cells.resize(size + found);
    const auto across = static_cast<std::uint32_t>(Window.columns);
    for (std::size_t i = 0; i < found; ++i)
        cells[size + i] = Rows[i] * across + Columns[i];
}

} // namespace Tilewright::Io
