#include <io/blocks/PointTable.h>

namespace Tilewright::Io {

PointTable::PointTable(const ReductionPlan& plan, std::size_t expected)
    : Plan(&plan), Cells(plan.subsets.size() + 1) {
    for (const PointConditions& conditions : plan.subsets)
        Subsets.emplace_back(conditions);
    Cells[0].reserve(expected);
    for (const PointColumn& column : plan.columns)
        Columns.push_back(makeColumnStore(column, column.subset == 0 ? expected : 0));
}

void PointTable::take(const FoundPoints& found, const PointFinder& finder) {
    finder.appendCells(Cells[0]);
    for (std::size_t number = 0; number <= Subsets.size(); ++number) {
        const FoundPoints points = number == 0 ? found : choose(Subsets[number - 1], found, number);
        for (std::size_t c = 0; c < Columns.size(); ++c)
            if (Plan->columns[c].subset == number)
                Columns[c]->take(points);
    }
}

/// Takes the cells of those of the points that were found that are in the subset, too.
FoundPoints PointTable::choose(Subset& subset, const FoundPoints& found, std::size_t number) {
    const std::size_t count = found.ordinals.size();
    const unsigned char* const passes =
        subset.test({found.layout->format, found.records, found.ordinals, found.coordinates});
    std::vector<std::uint32_t>& cells = Cells[number];
    const std::size_t before = cells.size();
    const std::uint32_t* const from = Cells[0].data() + Cells[0].size() - count;
    // Room for all of them: the next point overwrites what was written for one that fails.
    cells.resize(before + count);
    subset.ordinals.resize(count);
    for (std::vector<double>& axis : subset.coordinates)
        axis.resize(count);
    const std::size_t axes = found.coordinates[3] ? 4 : 3;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        cells[before + kept] = from[i];
        subset.ordinals[kept] = found.ordinals[i];
        for (std::size_t axis = 0; axis < axes; ++axis)
            subset.coordinates[axis][kept] = found.coordinates[axis][i];
        kept += passes[i];
    }
    cells.resize(before + kept);
    return {found.layout,
            found.records,
            std::span(subset.ordinals.data(), kept),
            {subset.coordinates[0].data(), subset.coordinates[1].data(), subset.coordinates[2].data(),
             axes == 4 ? subset.coordinates[3].data() : nullptr}};
}

void PointTable::clear() {
    for (std::vector<std::uint32_t>& cells : Cells)
        cells.clear();
    for (const auto& column : Columns)
        column->clear();
}

} // namespace Tilewright::Io
