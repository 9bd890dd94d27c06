/// JobBand: what one band of a file is made of, and what came of its pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include <io/records/OrderKeys.h>

namespace Tilewright::Io {

/// Where the pixels of a band come from.
struct JobBand {
    enum class Source {
        /// What a reduction made of the values of points.
        Reduction,
        /// The points of a cell; never wraps.
        Count,
        /// The library's companions of the heights; they have no nodata value of their own.
        Density,
        CellType,
        /// 255 times the scale for cells with data, else 0.
        Alpha,
        /// 0: which pixels were filled is known when files are closed.
        Filled
    };

    Source source = Source::Reduction;
    /// Which of the plan's.
    std::size_t reduction = 0;
    /// Of a reduction to points.
    std::optional<int> component;
    /// Cells without points may have results too. Each result shows whether there is one.
    bool reachesOut = false;
    /// The results are keys; the pixels are the numbers that they are keys of.
    OrderKeys keys = OrderKeys::None;
    /// A pixel is value * scale, rounded where pixels are integers and cut to their range.
    double scale = 1.0;
    /// The file that it is a band of, and which one.
    std::size_t file = 0;
    std::size_t number = 0;
    /// The points that it is made of, as PointColumn::subset; of a reduction those of its column.
    std::size_t subset = 0;
};

/// Which pixels have values that a cell without data might have been given.
struct NoDataClash {
    /// So many of the largest values of a type are looked at; those of 8 and 16 bits have no more.
    static constexpr std::size_t candidates = std::size_t(1) << 16U;

    /// A cell with data came out as the nodata value.
    bool happened = false;
    /// Of a type of integers: which of the largest occur, from the largest down, a bit each from the lowest
    /// of the first word on. Empty if none does.
    std::vector<std::uint64_t> usedFromTop;

    /// Notes a pixel with data of a file whose cells without data are `blank`.
    template <class P> void note(P pixel, P blank) {
        happened |= pixel == blank;
        if constexpr (std::is_integral_v<P>) {
            const auto fromTop = static_cast<unsigned long long>(std::numeric_limits<P>::max()) -
                                 static_cast<unsigned long long>(pixel);
            if (fromTop < candidates) {
                usedFromTop.resize(candidates / 64);
                usedFromTop[fromTop / 64] |= std::uint64_t(1) << fromTop % 64;
            }
        }
    }

    void add(const NoDataClash& other) {
        happened |= other.happened;
        if (usedFromTop.size() < other.usedFromTop.size())
            usedFromTop.resize(other.usedFromTop.size());
        for (std::size_t i = 0; i < other.usedFromTop.size(); ++i)
            usedFromTop[i] |= other.usedFromTop[i];
    }
};

} // namespace Tilewright::Io
