/// WindowResult: what the points of a window were reduced to.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <tilewright/arrays/MemArray.h>

namespace Tilewright::Io {

struct WindowResult {
    CellWindow window;
    /// The arrays may be those of a larger window: where the first cell of this one is in them, and how far
    /// apart the rows are.
    std::uint64_t first = 0;
    std::uint64_t stride = 0;
    /// The points of each cell of the arrays.
    std::span<const std::uint32_t> counts;
    /// One array per reduction, null for one that gives nothing.
    std::vector<Quill::ArrayPtr> values;
    /// Cells with no more points than this have no data.
    unsigned sparseLimit = 0;
    /// The same counts for each subset of the points.
    std::vector<std::span<const std::uint32_t>> subsetCounts = {};

    /// Where a cell of the window is in the arrays.
    std::uint64_t place(std::uint64_t column, std::uint64_t row) const {
        return first + row * stride + column;
    }
    /// Of all points for 0, else of a subset.
    std::span<const std::uint32_t> countsOf(std::size_t subset) const {
        return subset == 0 ? counts : subsetCounts[subset - 1];
    }
    bool hasData(std::uint64_t place, std::size_t subset = 0) const {
        return countsOf(subset)[place] > sparseLimit;
    }

    std::uint64_t points() const {
        std::uint64_t sum = 0;
        forEachPlace([&](std::uint64_t place) { sum += counts[place]; });
        return sum;
    }
    /// Cells with data.
    std::uint64_t filledCells() const {
        std::uint64_t filled = 0;
        forEachPlace([&](std::uint64_t place) { filled += hasData(place) ? 1 : 0; });
        return filled;
    }

private:
    template <class Visit> void forEachPlace(const Visit& visit) const {
        for (std::uint64_t row = 0; row < window.rows; ++row)
            for (std::uint64_t column = 0; column < window.columns; ++column)
                visit(place(column, row));
    }
};

} // namespace Tilewright::Io
