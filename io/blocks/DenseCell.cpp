#include <io/blocks/DenseCell.h>

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <limits>
#include <span>

#include <io/blocks/OrderedGroups.h>
#include <tilewright/filters/views.h>

namespace Tilewright::Io {

class DenseCell::Reduction {
public:
    virtual ~Reduction() = default;

    virtual void take(const ColumnStore& values, std::size_t count) = 0;
    /// Whether there has to be another pass.
    virtual bool endPass(std::uint32_t count) = 0;
    virtual Quill::ArrayPtr result(std::size_t number) const = 0;
};

namespace {

const Quill::MultiIndex<3> oneCell(1, 1, 1);

/// What needs no more than one pass, in the steps of the library.
class PieceByPiece final : public DenseCell::Reduction {
public:
    explicit PieceByPiece(std::unique_ptr<ColumnReduction> reduction) : Pieces(std::move(reduction)) {}

    void take(const ColumnStore& values, std::size_t count) override {
        Cells.resize(std::max(Cells.size(), count), 0);
        values.reduce(std::span(Cells.data(), count), std::array{Pieces.get()});
    }
    bool endPass(std::uint32_t count) override {
        Pieces->finish(0, std::span(&count, 1));
        return false;
    }
    Quill::ArrayPtr result(std::size_t) const override { return Pieces->results(); }

private:
    std::unique_ptr<ColumnReduction> Pieces;
    std::vector<std::uint32_t> Cells;
};

/// Statistics that go by the order of the values.
class ByOrder final : public DenseCell::Reduction {
public:
    explicit ByOrder(std::unique_ptr<ColumnPasses> passes) : Passes(std::move(passes)) {}

    void take(const ColumnStore& values, std::size_t count) override { Passes->take(values, count); }
    bool endPass(std::uint32_t) override { return Passes->endPass(); }
    Quill::ArrayPtr result(std::size_t number) const override { return Passes->result(number); }

private:
    std::unique_ptr<ColumnPasses> Passes;
};

/// Numbers as keys: unsigned, and in the same order. What is not a number has the last key of all.
template <class E> struct OrderedKey {
    using Key = std::make_unsigned_t<E>;
    static constexpr Key signs =
        std::is_signed_v<E> ? Key(Key(1) << (std::numeric_limits<Key>::digits - 1)) : 0;

    static Key of(E value) { return static_cast<Key>(value) ^ signs; }
    static E value(Key key) { return static_cast<E>(key ^ signs); }
};

template <std::floating_point E> struct OrderedKey<E> {
    using Key = std::conditional_t<sizeof(E) == 4, std::uint32_t, std::uint64_t>;
    static constexpr Key sign = Key(1) << (std::numeric_limits<Key>::digits - 1);

    static Key of(E value) {
        if (value != value)
            return std::numeric_limits<Key>::max();
        const auto bits = std::bit_cast<Key>(value);
        return (bits & sign) != 0 ? ~bits : bits | sign;
    }
    static E value(Key key) {
        return key == std::numeric_limits<Key>::max()
                   ? std::numeric_limits<E>::quiet_NaN()
                   : std::bit_cast<E>((key & sign) != 0 ? key ^ sign : ~key);
    }
};

/// Finds the median of any number of values, which are passed by several times. The first pass finds the
/// range of the keys. Each further one counts how many values lie in the equal parts of the range, and takes
/// that with the median for the next range, until it has one key.
template <class E> class MedianSearch {
public:
    void take(E value) {
        const auto key = Ordered::of(value);
        if (IsFound)
            return;
        if (Parts.empty()) {
            Low = std::min(Low, key);
            High = std::max(High, key);
        } else if (key >= Low && key <= High) {
            ++Parts[static_cast<std::size_t>((key - Low) >> Shift)];
        }
    }

    /// Whether there has to be another pass.
    bool endPass(unsigned count) {
        if (IsFound)
            return false;
        if (Parts.empty())
            Rank = count / 2;
        else
            narrow();
        IsFound = Low == High;
        const auto digits = static_cast<unsigned>(std::bit_width(static_cast<std::uint64_t>(High - Low)));
        Shift = digits > partDigits ? digits - partDigits : 0;
        Parts.assign(static_cast<std::size_t>((High - Low) >> Shift) + 1, 0);
        return !IsFound;
    }

    E result() const { return Ordered::value(Low); }

private:
    using Ordered = OrderedKey<E>;
    using Key = typename Ordered::Key;

    static constexpr unsigned partDigits = 18;

    void narrow() {
        std::size_t part = 0;
        for (; Rank >= Parts[part]; ++part)
            Rank -= Parts[part];
        Low = static_cast<Key>(Low + (static_cast<Key>(part) << Shift));
        const auto rest = static_cast<Key>((Key(1) << Shift) - 1);
        High = High - Low > rest ? static_cast<Key>(Low + rest) : High;
    }

    Key Low = std::numeric_limits<Key>::max();
    Key High = 0;
    bool IsFound = false;
    /// Of the median among the values from Low on.
    std::uint32_t Rank = 0;
    unsigned Shift = 0;
    std::vector<std::uint32_t> Parts;
};

template <class FilterT> class MedianReduction final : public DenseCell::Reduction {
    using Value = typename FilterT::output_type;

public:
    void take(const ColumnStore& values, std::size_t count) override {
        for (const auto& value : valuesOf<typename FilterT::value_type>(values).first(count))
            takeOne(FilterT::readValue(value));
    }

    bool endPass(std::uint32_t count) override {
        bool goesOn = false;
        for (auto& search : Searches)
            goesOn |= search.endPass(count);
        return goesOn;
    }

    Quill::ArrayPtr result(std::size_t) const override {
        const Larder::Ref<Quill::MemArray<3, Value>> array(oneCell);
        if constexpr (Orrery::Record<Value>)
            for (std::size_t c = 0; c < Searches.size(); ++c)
                array->data[0][c] = Searches[c].result();
        else
            array->data[0] = Searches[0].result();
        return array;
    }

private:
    void takeOne(const Value& value) {
        if constexpr (Orrery::Record<Value>)
            for (std::size_t c = 0; c < Searches.size(); ++c)
                Searches[c].take(value[c]);
        else
            Searches[0].take(value);
    }

    template <class O> struct Parts { using type = std::array<MedianSearch<O>, 1>; };
    /// Of records each component has a median of its own.
    template <Orrery::Record O> struct Parts<O> {
        using type = std::array<MedianSearch<typename O::element_type>, 3>;
    };
    typename Parts<Value>::type Searches;
};

template <class T> std::unique_ptr<DenseCell::Reduction> makeMedian(unsigned direction) {
    switch (direction) {
    case directionX:
        return std::make_unique<MedianReduction<Filter1DOf<T, 0>>>();
    case directionY:
        return std::make_unique<MedianReduction<Filter1DOf<T, 1>>>();
    case directionZ:
        return std::make_unique<MedianReduction<Filter1DOf<T, 2>>>();
    default:
        return std::make_unique<MedianReduction<Filter3D<T>>>();
    }
}

std::unique_ptr<DenseCell::Reduction> makeReduction(const PointColumn& column,
                                                    const ReductionPlan::Reduction& wanted) {
    if (wanted.statistic.kind == Statistic::Kind::None && wanted.wanted.filter == filterMedian)
        return column.kind == PointColumn::Kind::Positions
                   ? makeMedian<point>(wanted.wanted.direction)
                   : visitFieldType(column.type,
                                    [&wanted]<class T>() { return makeMedian<T>(wanted.wanted.direction); });
    auto pieces = makeColumnStore(column, 0)->makeReduction(oneCell, wanted);
    return pieces ? std::make_unique<PieceByPiece>(std::move(pieces)) : nullptr;
}

} // namespace

DenseCell::DenseCell(const ReductionPlan& plan) : Plan(plan), Counts(plan.subsets.size() + 1, 0) {
    for (std::size_t r = 0; r < plan.reductions.size(); ++r) {
        const ReductionPlan::Reduction& reduction = plan.reductions[r];
        if (goesByOrder(reduction.statistic.kind) ||
            reduction.statistic.kind == Statistic::Kind::InverseDistance)
            continue;
        auto made = makeReduction(plan.columns[reduction.column], reduction);
        NeedsAllPoints |= made == nullptr;
        Items.push_back({reduction.column, {r}, std::move(made)});
    }
    constexpr std::size_t mostRuns = std::size_t(1) << 19;
    const std::vector<OrderedGroup> groups = orderedGroups(plan);
    for (const OrderedGroup& group : groups)
        Items.push_back(
            {group.column, group.reductions,
             std::make_unique<ByOrder>(makeColumnStore(plan.columns[group.column], 0)
                                           ->makePasses(group.wanted, mostRuns / groups.size()))});
}

DenseCell::~DenseCell() = default;

void DenseCell::take(const PointTable& points) {
    for (std::size_t subset = 0; IsFirstPass && subset < Counts.size(); ++subset)
        Counts[subset] += static_cast<std::uint32_t>(points.cells(subset).size());
    for (const Item& item : Items)
        if (!item.isDone)
            item.reduction->take(*points.columns()[item.column], points.cellsOfColumn(item.column).size());
}

bool DenseCell::endPass() {
    IsFirstPass = false;
    bool goesOn = false;
    for (Item& item : Items) {
        const std::uint32_t count = Counts[Plan.columns[item.column].subset];
        if (!item.isDone)
            item.isDone = count == 0 || !item.reduction->endPass(count);
        goesOn |= !item.isDone;
    }
    return goesOn;
}

std::vector<Quill::ArrayPtr> DenseCell::results() const {
    std::vector<Quill::ArrayPtr> values(Plan.reductions.size());
    for (const Item& item : Items)
        for (std::size_t i = 0; i < item.numbers.size(); ++i)
            values[item.numbers[i]] = item.reduction->result(i);
    return values;
}

} // namespace Tilewright::Io
