/// DenseCell: reduces the points of a single cell that has more of them than are loaded at a time.
///
/// The points are taken piece by piece, in their order, with the very steps of the library, so that the
/// result has the bits that the library makes of all of them at once. The library's median is searched for in
/// several passes over the points, as is what statistics find in the order of the values. (Where zeros of
/// both signs are in the middle, the library leaves open which one it gives.)
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <io/blocks/WindowPoints.h>

namespace Tilewright::Io {

class DenseCell {
public:
    /// The plan must outlive the object.
    explicit DenseCell(const ReductionPlan& plan);
    ~DenseCell();

    /// Whether a reduction needs all points at once: a plane is fitted to them. Then nothing else may be
    /// called.
    bool needsAllPoints() const { return NeedsAllPoints; }

    /// Takes the next points of a pass.
    void take(const PointTable& points);
    /// Whether there has to be another pass over all points.
    bool endPass();

    /// After the last pass: the number of all points, and of those of each subset.
    std::span<const std::uint32_t> counts() const { return Counts; }
    /// After the last pass: an array of one value per reduction, null for one that looks at other cells too.
    std::vector<Quill::ArrayPtr> results() const;

    /// What becomes of the values of one column: one result, or several from the same passes.
    class Reduction;

private:
    struct Item {
        std::size_t column;
        /// Whose results they are.
        std::vector<std::size_t> numbers;
        std::unique_ptr<Reduction> reduction;
        bool isDone = false;
    };

    const ReductionPlan& Plan;
    std::vector<Item> Items;
    std::vector<std::uint32_t> Counts;
    bool IsFirstPass = true;
    bool NeedsAllPoints = false;
};

} // namespace Tilewright::Io
