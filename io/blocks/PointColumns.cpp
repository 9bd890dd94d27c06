#include <io/blocks/PointColumns.h>

#include <algorithm>
#include <type_traits>

#include <io/statistics/CellStates.h>
#include <io/statistics/OrderPasses.h>
#include <io/statistics/OrderStatistics.h>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;
using Kind = PointColumn::Kind;

/// Of the library, which keeps little but its results.
template <class T> class TypedReduction final : public ColumnReduction {
public:
    TypedReduction(std::unique_ptr<PieceReduction<T>> reduction, std::size_t bytesPerCell)
        : Reduction(std::move(reduction)), BytesPerCell(bytesPerCell) {}

    void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) override {
        Reduction->finish(firstCell, counts);
    }
    Quill::ArrayPtr results() const override { return Reduction->results(); }
    std::size_t bytesPerCell() const override { return BytesPerCell; }

    std::unique_ptr<PieceReduction<T>> Reduction;

private:
    std::size_t BytesPerCell;
};

template <class T>
std::unique_ptr<ColumnReduction> makeStates(const Quill::MultiIndex<3>& sizes, const Statistic& statistic) {
    auto states = makeStateReduction<T>(sizes, statistic);
    if (!states)
        return nullptr;
    const std::size_t bytes = states->bytesPerCell();
    return std::make_unique<TypedReduction<T>>(std::move(states), bytes);
}

template <class T>
std::unique_ptr<ColumnReduction> makeFilter(const Quill::MultiIndex<3>& sizes,
                                            const DirectionAndFilter& wanted) {
    auto reduction = makePieceReduction<T>(sizes, wanted);
    if (!reduction)
        return nullptr;
    const std::size_t bytes = reduction->results()->memsize() / std::max(sizes.product(), 1ULL) + 1;
    return std::make_unique<TypedReduction<T>>(std::move(reduction), bytes);
}

/// Long integers may be keys, and points are no numbers: neither has statistics.
template <class T> constexpr bool hasStatistics = std::is_arithmetic_v<T>;

template <class T> class TypedPasses final : public ColumnPasses {
public:
    explicit TypedPasses(std::unique_ptr<OrderPasses<T>> passes) : Passes(std::move(passes)) {}

    void take(const ColumnStore& values, std::size_t count) override {
        Passes->take(valuesOf<T>(values).first(count));
    }
    bool endPass() override { return Passes->endPass(); }
    Quill::ArrayPtr result(std::size_t statistic) const override { return Passes->result(statistic); }

private:
    std::unique_ptr<OrderPasses<T>> Passes;
};

/// The axis of a column of coordinates.
std::size_t axisOf(const PointColumn& column) {
    return column.kind == Kind::X ? 0 : column.kind == Kind::Y ? 1 : column.kind == Kind::Z ? 2 : 3;
}

template <class V> void decode(const PointColumn& column, const FoundPoints& points, std::span<V> values) {
    if (column.kind == Kind::Attribute)
        decodeFieldAt(points.layout->format, points.layout->fields[column.attribute], points.records,
                      points.ordinals, values);
    else
        std::ranges::transform(std::span(points.coordinates[axisOf(column)], values.size()), values.begin(),
                               [](double coordinate) { return static_cast<V>(coordinate); });
}

template <class T> class TypedStore final : public ColumnStore {
public:
    TypedStore(const PointColumn& column, std::size_t expected) : Column(column) { Values.reserve(expected); }

    void take(const FoundPoints& points) override {
        const std::size_t size = Values.size();
        Values.resize(size + points.ordinals.size());
        fill(points, std::span(Values).subspan(size));
    }

    std::unique_ptr<ColumnReduction> makeReduction(const Quill::MultiIndex<3>& sizes,
                                                   const ReductionPlan::Reduction& wanted) const override {
        if constexpr (hasStatistics<T>)
            if (wanted.statistic.kind != Statistic::Kind::None)
                return makeStates<T>(sizes, wanted.statistic);
        return makeFilter<T>(sizes, wanted.wanted);
    }

    std::vector<Quill::ArrayPtr> reduceByOrder(const CellLists& cells,
                                               std::span<const Statistic> wanted) const override {
        if constexpr (hasStatistics<T>)
            return Io::reduceByOrder(cells, Values.data(), wanted);
        else
            return std::vector<Quill::ArrayPtr>(wanted.size());
    }

    std::unique_ptr<ColumnPasses> makePasses(std::span<const Statistic> wanted,
                                             std::size_t mostRuns) const override {
        if constexpr (hasStatistics<T>)
            return std::make_unique<TypedPasses<T>>(makeOrderPasses<T>(wanted, mostRuns));
        else
            return nullptr;
    }

    void reduce(std::span<const std::uint32_t> cells,
                std::span<ColumnReduction* const> reductions) const override {
        std::vector<PieceReduction<T>*> typed;
        for (ColumnReduction* const reduction : reductions)
            typed.push_back(static_cast<TypedReduction<T>&>(*reduction).Reduction.get());
        takeTogether<T>(typed, cells, Values.data());
    }

    const void* data() const override { return Values.data(); }
    std::size_t size() const override { return Values.size(); }
    void clear() override { Values.clear(); }

    Quill::ArrayPtr moveToArray() override {
        const Quill::MultiIndex<1> size(Values.size());
        const Larder::Ref<Larder::Chunk<T>> chunk(std::move(Values));
        Values = {};
        return Larder::Ref<Quill::MemArray<1, T>>(chunk, size);
    }

private:
    void fill(const FoundPoints& points, std::span<T> values) {
        if constexpr (std::is_same_v<T, point>) {
            const auto& [x, y, z, above] = points.coordinates;
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = {x[i], y[i], z[i]};
        } else if constexpr (std::is_same_v<T, unsigned long long>) {
            fillKeys(points, values);
        } else {
            decode(Column, points, values);
            if constexpr (std::is_same_v<T, double>)
                if (Column.scale != 1.0)
                    for (T& value : values)
                        value *= Column.scale;
        }
    }

    /// Long integers may be keys, of themselves or of doubles.
    void fillKeys(const FoundPoints& points, std::span<unsigned long long> keys) {
        if (Column.keys == OrderKeys::Numbers || Column.keys == OrderKeys::ReversedNumbers) {
            Numbers.resize(keys.size());
            decode(Column, points, std::span(Numbers));
            const bool isReversed = Column.keys == OrderKeys::ReversedNumbers;
            std::ranges::transform(Numbers, keys.begin(),
                                   [=](double number) { return orderKeyOf(number, isReversed); });
            return;
        }
        decode(Column, points, keys);
        if (Column.keys == OrderKeys::ReversedIntegers)
            for (unsigned long long& key : keys)
                key = ~key;
    }

    const PointColumn& Column;
    std::vector<T> Values;
    /// Of the points at hand, before they become keys.
    std::vector<double> Numbers;
};

/// Values with the heights of their points.
template <class T> class HeightStore final : public ColumnStore {
public:
    HeightStore(const PointColumn& column, std::size_t expected) : Column(column) {
        Values.reserve(expected);
    }

    void take(const FoundPoints& points) override {
        const std::size_t count = points.ordinals.size();
        Plain.resize(count);
        decode(Column, points, std::span(Plain));
        const std::size_t size = Values.size();
        Values.resize(size + count);
        const double* const heights = points.coordinates[2];
        for (std::size_t i = 0; i < count; ++i)
            Values[size + i] = {heights[i], Plain[i]};
    }

    std::unique_ptr<ColumnReduction> makeReduction(const Quill::MultiIndex<3>& sizes,
                                                   const ReductionPlan::Reduction& wanted) const override {
        return makeStates<ValueAtHeight<T>>(sizes, wanted.statistic);
    }
    void reduce(std::span<const std::uint32_t> cells,
                std::span<ColumnReduction* const> reductions) const override {
        for (ColumnReduction* const reduction : reductions)
            static_cast<TypedReduction<ValueAtHeight<T>>&>(*reduction).Reduction->take(cells, Values.data());
    }
    std::vector<Quill::ArrayPtr> reduceByOrder(const CellLists&,
                                               std::span<const Statistic> wanted) const override {
        return std::vector<Quill::ArrayPtr>(wanted.size());
    }
    std::unique_ptr<ColumnPasses> makePasses(std::span<const Statistic>, std::size_t) const override {
        return nullptr;
    }

    const void* data() const override { return Values.data(); }
    std::size_t size() const override { return Values.size(); }
    void clear() override { Values.clear(); }
    Quill::ArrayPtr moveToArray() override {
        Values = {};
        return {};
    }

private:
    const PointColumn& Column;
    std::vector<ValueAtHeight<T>> Values;
    /// Of the points at hand.
    std::vector<T> Plain;
};

} // namespace

std::unique_ptr<ColumnStore> makeColumnStore(const PointColumn& column, std::size_t expected) {
    if (column.kind == Kind::Positions)
        return std::make_unique<TypedStore<point>>(column, expected);
    return visitFieldType(column.type, [&]<class T>() -> std::unique_ptr<ColumnStore> {
        if (column.hasHeights)
            return std::make_unique<HeightStore<T>>(column, expected);
        return std::make_unique<TypedStore<T>>(column, expected);
    });
}

std::size_t valueSize(const PointColumn& column) {
    if (column.kind == Kind::Positions)
        return sizeof(point);
    return visitFieldType(
        column.type, [&]<class T>() { return column.hasHeights ? sizeof(ValueAtHeight<T>) : sizeof(T); });
}

} // namespace Tilewright::Io
