#include <tilewright/filters/PieceReduction.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/takeByCell.h>
#include <tilewright/values/PlainTypes.h>

namespace Tilewright {

namespace {

/// An array that gets its value as its memory is fetched, which a second pass over it would fetch again.
template <class Value>
Larder::Ref<Quill::MemArray<3, Value>> filledArray(const Quill::MultiIndex<3>& sizes, const Value& value) {
    const Larder::Ref<Larder::Chunk<Value>> chunk(std::vector<Value>(sizes.product(), value));
    return Larder::Ref<Quill::MemArray<3, Value>>(chunk, sizes);
}

/// Where results are kept, one for each cell.
template <class FilterT> class KeptResults : public PieceReduction<typename FilterT::value_type> {
public:
    Quill::ArrayPtr results() const final { return Results; }

    using Value = typename FilterT::output_type;

    Value* values() const { return Results->data; }

protected:
    explicit KeptResults(const Quill::MultiIndex<3>& sizes, const Value& start = Value())
        : Results(filledArray(sizes, start)) {}

private:
    Larder::StrongPtr<Quill::MemArray<3, Value>, Larder::Cacheable> Results;
};

template <class FilterT, class Steps> class StreamingReduction final : public KeptResults<FilterT> {
public:
    using View = FilterT;
    using StepsOfValue = Steps;
    using typename KeptResults<FilterT>::Value;

    explicit StreamingReduction(const Quill::MultiIndex<3>& sizes)
        : KeptResults<FilterT>(sizes, Steps::start()) {}

    void take(std::span<const std::uint32_t> cells, const typename FilterT::value_type* values) override {
        takeByCell(cells, StatesInArray<Value>{this->values()},
                   [=](Value& result, std::size_t i) { Steps::take(result, FilterT::readValue(values[i])); });
    }

    void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) override {
        Value* const results = this->values() + firstCell;
        for (std::size_t cell = 0; cell < counts.size(); ++cell)
            if (counts[cell] != 0)
                Steps::finish(results[cell], counts[cell]);
            else
                results[cell] = Value();
    }
};

/// The first key of a cell is its first value, so it has to be known whether there was one.
template <class FilterT> class OccurrenceReduction final : public KeptResults<FilterT> {
    using typename KeptResults<FilterT>::Value;

public:
    explicit OccurrenceReduction(const Quill::MultiIndex<3>& sizes)
        : KeptResults<FilterT>(sizes), HasKey(sizes.product(), 0) {}

    void take(std::span<const std::uint32_t> cells, const typename FilterT::value_type* values) override {
        Value* const keys = this->values();
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Value value = FilterT::readValue(values[i]);
            if (HasKey[cells[i]] == 0)
                keys[cells[i]] = value;
            HasKey[cells[i]] = 1;
            MaxOccurrenceSteps<Value>::take(keys[cells[i]], value);
        }
    }

    void finish(std::uint64_t, std::span<const std::uint32_t>) override {}

private:
    /// Bytes and no bits: neighbouring cells may be worked on at once.
    std::vector<unsigned char> HasKey;
};

/// What has no heights gives no plane, and stays zero.
template <class FilterT> class ZeroReduction final : public KeptResults<FilterT> {
public:
    explicit ZeroReduction(const Quill::MultiIndex<3>& sizes) : KeptResults<FilterT>(sizes) {}

    void take(std::span<const std::uint32_t>, const typename FilterT::value_type*) override {}
    void finish(std::uint64_t, std::span<const std::uint32_t>) override {}
};

template <class FilterT> using Means = StreamingReduction<FilterT, MeanSteps<typename FilterT::output_type>>;
template <class FilterT, class Beats>
using Extrema = StreamingReduction<FilterT, ExtremumSteps<typename FilterT::output_type, Beats>>;

template <class FilterT>
std::unique_ptr<PieceReduction<typename FilterT::value_type>>
reductionThrough(const Quill::MultiIndex<3>& sizes, unsigned filter) {
    using Value = typename FilterT::output_type;
    constexpr bool hasHeights = Orrery::Record<typename FilterT::value_type> && !Orrery::Record<Value>;
    switch (filter) {
    case filterMean:
        return std::make_unique<Means<FilterT>>(sizes);
    case filterMin:
        return std::make_unique<Extrema<FilterT, std::less<>>>(sizes);
    case filterMax:
        return std::make_unique<Extrema<FilterT, std::greater<>>>(sizes);
    case filterMaxOccurrence:
        return std::make_unique<OccurrenceReduction<FilterT>>(sizes);
    case filterRegression:
        if constexpr (!hasHeights)
            return std::make_unique<ZeroReduction<FilterT>>(sizes);
        return nullptr;
    default:
        return nullptr;
    }
}

/// The results of several reductions, each in its array.
template <class Value, std::size_t N> struct StatesInArrays {
    using State = std::array<Value, N>;

    std::array<Value*, N> arrays;

    State load(std::uint32_t cell) const {
        State state;
        for (std::size_t n = 0; n < N; ++n)
            state[n] = arrays[n][cell];
        return state;
    }
    void store(std::uint32_t cell, const State& state) const {
        for (std::size_t n = 0; n < N; ++n)
            arrays[n][cell] = state[n];
    }
    template <class Change> void update(std::uint32_t cell, const Change& change) const {
        State state = load(cell);
        change(state);
        store(cell, state);
    }
};

/// A point has to wait until the one before in its cell has been added, and the next point in another cell
/// finds nothing else to do. Several reductions at once wait together.
template <class First, class... Others>
void takeIntoAll(std::span<const std::uint32_t> cells, const typename First::View::value_type* values,
                 const First& first, const Others&... others) {
    using Value = typename First::Value;
    using States = StatesInArrays<Value, 1 + sizeof...(Others)>;
    takeByCell(cells, States{{first.values(), others.values()...}},
               [=](typename States::State& state, std::size_t i) {
                   const Value value = First::View::readValue(values[i]);
                   std::size_t n = 0;
                   First::StepsOfValue::take(state[n], value);
                   (Others::StepsOfValue::take(state[++n], value), ...);
               });
}

/// Those of some reductions of plain numbers that can go together.
template <class T> struct Summary {
    using View = Filter1DOf<T, 0>;

    Means<View>* mean = nullptr;
    Extrema<View, std::less<>>* least = nullptr;
    Extrema<View, std::greater<>>* greatest = nullptr;

    bool add(PieceReduction<T>& reduction) {
        return addAs(reduction, mean) || addAs(reduction, least) || addAs(reduction, greatest);
    }

    void take(std::span<const std::uint32_t> cells, const T* values) const {
        if (mean && least && greatest)
            takeIntoAll(cells, values, *mean, *least, *greatest);
        else if (mean && least)
            takeIntoAll(cells, values, *mean, *least);
        else if (mean && greatest)
            takeIntoAll(cells, values, *mean, *greatest);
        else if (least && greatest)
            takeIntoAll(cells, values, *least, *greatest);
        else if (mean)
            mean->take(cells, values);
        else if (least)
            least->take(cells, values);
        else if (greatest)
            greatest->take(cells, values);
    }

private:
    template <class Reduction> static bool addAs(PieceReduction<T>& reduction, Reduction*& place) {
        auto* const wanted = place ? nullptr : dynamic_cast<Reduction*>(&reduction);
        if (wanted)
            place = wanted;
        return wanted != nullptr;
    }
};

} // namespace

template <class T>
std::unique_ptr<PieceReduction<T>> makePieceReduction(const Quill::MultiIndex<3>& sizes,
                                                      const DirectionAndFilter& wanted) {
    switch (wanted.direction) {
    case directionX:
        return reductionThrough<Filter1DOf<T, 0>>(sizes, wanted.filter);
    case directionY:
        return reductionThrough<Filter1DOf<T, 1>>(sizes, wanted.filter);
    case directionZ:
        return reductionThrough<Filter1DOf<T, 2>>(sizes, wanted.filter);
    case directionAll:
        return reductionThrough<Filter3D<T>>(sizes, wanted.filter);
    case directionFit:
        return reductionThrough<FilterRegressionOf<T>>(sizes, wanted.filter);
    default:
        return nullptr;
    }
}

template <class T>
void takeTogether(std::span<PieceReduction<T>* const> reductions, std::span<const std::uint32_t> cells,
                  const T* values) {
    Summary<T> summary;
    for (PieceReduction<T>* const reduction : reductions)
        if (!summary.add(*reduction))
            reduction->take(cells, values);
    summary.take(cells, values);
}

template <class T> using PieceReductionPtr = std::unique_ptr<PieceReduction<T>>;

#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template TILEWRIGHT_API PieceReductionPtr<T> makePieceReduction<T>(const Quill::MultiIndex<3>&,          \
                                                                       const DirectionAndFilter&);           \
    template TILEWRIGHT_API void takeTogether<T>(std::span<PieceReduction<T>* const>,                        \
                                                 std::span<const std::uint32_t>, const T*);
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
TILEWRIGHT_INSTANTIATE(point)
#undef TILEWRIGHT_INSTANTIATE

} // namespace Tilewright
