#include <io/blocks/PointTable.h>

namespace Tilewright::Io {

namespace {

/// The coordinates that columns of a subset are made of.
std::array<bool, 4> axesOf(const ReductionPlan& plan, std::size_t subset) {
    using Kind = PointColumn::Kind;
    std::array<bool, 4> axes = {};
    for (const PointColumn& column : plan.columns)
        if (column.subset == subset) {
            const bool isPosition = column.kind == Kind::Positions;
            axes[0] |= isPosition || column.kind == Kind::X;
            axes[1] |= isPosition || column.kind == Kind::Y;
            axes[2] |= isPosition || column.kind == Kind::Z || column.hasHeights;
            axes[3] |= column.kind == Kind::HeightAboveGround;
        }
    return axes;
}

} // namespace

PointTable::PointTable(const ReductionPlan& plan, std::size_t expected)
    : Plan(&plan), Cells(plan.subsets.size() + 1) {
    for (std::size_t i = 0; i < plan.subsets.size(); ++i)
        Subsets.emplace_back(plan.subsets[i], axesOf(plan, i + 1));
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
    std::vector<std::uint32_t>& kept = subset.kept;
    kept.resize(count);
    std::size_t passed = 0;
    for (std::size_t i = 0; i < count; ++i) {
        kept[passed] = static_cast<std::uint32_t>(i);
        passed += passes[i];
    }
    kept.resize(passed);
    const auto keep = [&kept](const auto* from, auto* to) {
        for (const std::uint32_t i : kept)
            *to++ = from[i];
    };
    std::vector<std::uint32_t>& cells = Cells[number];
    const std::size_t before = cells.size();
    cells.resize(before + passed);
    keep(Cells[0].data() + Cells[0].size() - count, cells.data() + before);
    FoundPoints points = found;
    if (passed == count)
        return points;
    subset.ordinals.resize(passed);
    keep(found.ordinals.data(), subset.ordinals.data());
    points.ordinals = subset.ordinals;
    for (std::size_t axis = 0; axis < points.coordinates.size(); ++axis)
        if (subset.axes[axis]) {
            subset.coordinates[axis].resize(passed);
            keep(found.coordinates[axis], subset.coordinates[axis].data());
            points.coordinates[axis] = subset.coordinates[axis].data();
        } else {
            points.coordinates[axis] = nullptr;
        }
    return points;
}

void PointTable::clear() {
    for (std::vector<std::uint32_t>& cells : Cells)
        cells.clear();
    for (const auto& column : Columns)
        column->clear();
}

} // namespace Tilewright::Io
