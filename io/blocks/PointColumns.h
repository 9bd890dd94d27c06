/// PointColumns: what a raster needs to know of points, as columns of values of one type each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <io/blocks/SquareReader.h>
#include <io/records/OrderKeys.h>
#include <io/statistics/Statistic.h>
#include <tilewright/arrays/MemArray.h>
#include <tilewright/export.h>
#include <tilewright/filters/CellLists.h>
#include <tilewright/filters/PieceReduction.h>
#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

/// Values that any number of reductions can share.
struct PointColumn {
    enum class Kind { Positions, X, Y, Z, Attribute, HeightAboveGround };

    Kind kind = Kind::Attribute;
    /// Which of PointNeeds::fields.
    std::size_t attribute = 0;
    /// Of numbers, as the reductions get them.
    FieldType type = FieldType::Double;
    /// Other than None, the type is UnsignedLongLong.
    OrderKeys keys = OrderKeys::None;
    /// Numbers of type Double are multiplied by it.
    double scale = 1.0;
    /// Of which points it has values: 0 for all, and else which of ReductionPlan::subsets, counted from 1.
    std::size_t subset = 0;
    /// Each value comes with the height of its point, for statistics that go by that.
    bool hasHeights = false;

    bool operator==(const PointColumn&) const = default;
};

/// What is read of the points, and what is made of it: one value per cell for each reduction.
struct ReductionPlan {
    struct Reduction {
        std::size_t column;
        /// What the library is asked for, unless it is a statistic.
        DirectionAndFilter wanted = {};
        Statistic statistic = {};

        bool operator==(const Reduction&) const = default;
    };

    PointNeeds needs;
    /// Points of which some bands are made, among those that the selection leaves. Their attributes are among
    /// those that are read.
    std::vector<PointConditions> subsets;
    std::vector<PointColumn> columns;
    std::vector<Reduction> reductions;

    bool operator==(const ReductionPlan&) const = default;
};

/// Points of a piece of records that were found in a window, in their order.
struct FoundPoints {
    const RecordLayout* layout = nullptr;
    const std::byte* records = nullptr;
    /// Which of the records they are.
    std::span<const std::uint32_t> ordinals;
    /// Of each its x, y, z and the height above the ground; the last one is null without a ground.
    std::array<const double*, 4> coordinates = {};
};

class ColumnStore;

/// Reduces a column piece by piece.
class ColumnReduction {
public:
    virtual ~ColumnReduction() = default;
    virtual void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) = 0;
    virtual Quill::ArrayPtr results() const = 0;
    virtual std::size_t bytesPerCell() const = 0;
};

/// Reduces a column of a single cell by passes over its values.
class ColumnPasses {
public:
    virtual ~ColumnPasses() = default;
    /// The first `count` values of a store of the column are the next of the pass.
    virtual void take(const ColumnStore& values, std::size_t count) = 0;
    /// Whether there has to be another pass.
    virtual bool endPass() = 0;
    /// Of one of the statistics.
    virtual Quill::ArrayPtr result(std::size_t statistic) const = 0;
};

/// The values of a column for the points that were taken so far.
class ColumnStore {
public:
    virtual ~ColumnStore() = default;

    virtual void take(const FoundPoints& points) = 0;
    /// Null if it needs all values of a cell at once.
    virtual std::unique_ptr<ColumnReduction> makeReduction(const Quill::MultiIndex<3>& sizes,
                                                           const ReductionPlan::Reduction& wanted) const = 0;
    /// Feeds reductions that stores of the same column made.
    virtual void reduce(std::span<const std::uint32_t> cells,
                        std::span<ColumnReduction* const> reductions) const = 0;
    /// Reduces all values at once by statistics that go by order: an array of the cells for each.
    virtual std::vector<Quill::ArrayPtr> reduceByOrder(const CellLists& cells,
                                                       std::span<const Statistic> wanted) const = 0;
    /// Of such statistics, with room for `mostRuns` different values.
    virtual std::unique_ptr<ColumnPasses> makePasses(std::span<const Statistic> wanted,
                                                     std::size_t mostRuns) const = 0;
    /// Its first value; they are of the type of the column.
    virtual const void* data() const = 0;
    virtual std::size_t size() const = 0;
    virtual void clear() = 0;
    /// All values as an array, null if they have heights; the store is empty afterwards.
    virtual Quill::ArrayPtr moveToArray() = 0;
};

/// A store with room for `expected` values. The column must outlive it.
std::unique_ptr<ColumnStore> makeColumnStore(const PointColumn& column, std::size_t expected);

/// The values of a store of a column of T.
template <class T> std::span<const T> valuesOf(const ColumnStore& store) {
    return {static_cast<const T*>(store.data()), store.size()};
}

/// Bytes of a value.
std::size_t valueSize(const PointColumn& column);

} // namespace Tilewright::Io
