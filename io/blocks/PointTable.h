/// PointTable: points that were found in a window, each with its cell, and their values in columns.
///
/// A column has values of all points, or of a subset of them: those that meet conditions of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <io/blocks/PointColumns.h>
#include <io/blocks/PointFinder.h>
#include <io/clouds/CloudSelection.h>

namespace Tilewright::Io {

class PointTable {
public:
    using Stores = std::vector<std::unique_ptr<ColumnStore>>;

    /// With room for `expected` points. The plan must outlive the table.
    PointTable(const ReductionPlan& plan, std::size_t expected);

    /// Appends what the finder found last.
    void take(const FoundPoints& found, const PointFinder& finder);
    void clear();

    /// All points.
    std::size_t size() const { return Cells[0].size(); }
    /// Of each point of a subset the number of its cell in the window, row by row from the south.
    std::span<const std::uint32_t> cells(std::size_t subset = 0) const { return Cells[subset]; }
    /// The same for the points that a column has values of.
    std::span<const std::uint32_t> cellsOfColumn(std::size_t column) const {
        return Cells[Plan->columns[column].subset];
    }
    const Stores& columns() const { return Columns; }

private:
    /// The conditions of a subset, and its points among those that were found last.
    struct Subset {
        Subset(const PointConditions& conditions, std::array<bool, 4> coordinatesWanted)
            : test(conditions), axes(coordinatesWanted) {}

        ConditionTest test;
        std::array<bool, 4> axes;
        std::vector<std::uint32_t> kept;
        std::vector<std::uint32_t> ordinals;
        std::array<std::vector<double>, 4> coordinates;
    };

    FoundPoints choose(Subset& subset, const FoundPoints& found, std::size_t number);

    const ReductionPlan* Plan;
    std::vector<Subset> Subsets;
    /// Of all points, and of each subset.
    std::vector<std::vector<std::uint32_t>> Cells;
    Stores Columns;
};

} // namespace Tilewright::Io
