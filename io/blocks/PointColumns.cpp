#include <io/blocks/PointColumns.h>

#include <algorithm>
#include <type_traits>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;
using Kind = PointColumn::Kind;

template <class T> class TypedReduction final : public ColumnReduction {
public:
    explicit TypedReduction(std::unique_ptr<PieceReduction<T>> reduction) : Reduction(std::move(reduction)) {}

    void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) override {
        Reduction->finish(firstCell, counts);
    }
    Quill::ArrayPtr results() const override { return Reduction->results(); }

    std::unique_ptr<PieceReduction<T>> Reduction;
};

template <class T> class TypedStore final : public ColumnStore {
public:
    TypedStore(const PointColumn& column, std::size_t expected) : Column(column) { Values.reserve(expected); }

    void take(const FoundPoints& points) override {
        const std::size_t size = Values.size();
        Values.resize(size + points.ordinals.size());
        fill(points, std::span(Values).subspan(size));
    }

    std::unique_ptr<ColumnReduction> makeReduction(const Quill::MultiIndex<3>& sizes,
                                                   const DirectionAndFilter& wanted) const override {
        auto reduction = makePieceReduction<T>(sizes, wanted);
        return reduction ? std::make_unique<TypedReduction<T>>(std::move(reduction)) : nullptr;
    }

    void reduce(std::span<const std::uint32_t> cells, ColumnReduction& reduction) const override {
        static_cast<TypedReduction<T>&>(reduction).Reduction->take(cells, Values.data());
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
            const auto& [x, y, z] = points.coordinates;
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = {x[i], y[i], z[i]};
        } else if constexpr (std::is_same_v<T, unsigned long long>) {
            fillKeys(points, values);
        } else {
            decode(points, values);
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
            decode(points, std::span(Numbers));
            const bool isReversed = Column.keys == OrderKeys::ReversedNumbers;
            std::ranges::transform(Numbers, keys.begin(),
                                   [=](double number) { return orderKeyOf(number, isReversed); });
            return;
        }
        decode(points, keys);
        if (Column.keys == OrderKeys::ReversedIntegers)
            for (unsigned long long& key : keys)
                key = ~key;
    }

    template <class V> void decode(const FoundPoints& points, std::span<V> values) const {
        if (Column.kind == Kind::Attribute)
            decodeFieldAt(points.layout->format, points.layout->fields[Column.attribute], points.records,
                          points.ordinals, values);
        else
            std::ranges::transform(std::span(points.coordinates[axis()], values.size()), values.begin(),
                                   [](double coordinate) { return static_cast<V>(coordinate); });
    }

    /// Of a column of coordinates.
    std::size_t axis() const { return Column.kind == Kind::X ? 0 : Column.kind == Kind::Y ? 1 : 2; }

    const PointColumn& Column;
    std::vector<T> Values;
    /// Of the points at hand, before they become keys.
    std::vector<double> Numbers;
};

} // namespace

std::unique_ptr<ColumnStore> makeColumnStore(const PointColumn& column, std::size_t expected) {
    if (column.kind == Kind::Positions)
        return std::make_unique<TypedStore<point>>(column, expected);
    return visitFieldType(column.type, [&]<class T>() -> std::unique_ptr<ColumnStore> {
        return std::make_unique<TypedStore<T>>(column, expected);
    });
}

std::size_t valueSize(const PointColumn& column) {
    if (column.kind == Kind::Positions)
        return sizeof(point);
    return visitFieldType(column.type, []<class T>() { return sizeof(T); });
}

} // namespace Tilewright::Io
