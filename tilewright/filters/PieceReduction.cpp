#include <tilewright/filters/PieceReduction.h>

#include <algorithm>
#include <functional>
#include <vector>

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/takeByCell.h>
#include <tilewright/values/PlainTypes.h>

namespace Tilewright {

namespace {

/// Where results are kept, one for each cell, all zero at first.
template <class FilterT> class KeptResults : public PieceReduction<typename FilterT::value_type> {
public:
    Quill::ArrayPtr results() const final { return Results; }

protected:
    using Value = typename FilterT::output_type;

    explicit KeptResults(const Quill::MultiIndex<3>& sizes)
        : Results(Larder::Ref<Quill::MemArray<3, Value>>(sizes)) {}

    Value* values() const { return Results->data; }

private:
    Larder::StrongPtr<Quill::MemArray<3, Value>, Larder::Cacheable> Results;
};

template <class FilterT, class Steps> class StreamingReduction final : public KeptResults<FilterT> {
    using typename KeptResults<FilterT>::Value;

public:
    explicit StreamingReduction(const Quill::MultiIndex<3>& sizes) : KeptResults<FilterT>(sizes) {
        if (Steps::start() != Value())
            std::fill_n(this->values(), sizes.product(), Steps::start());
    }

    void take(std::span<const std::uint32_t> cells, const typename FilterT::value_type* values) override {
        takeByCell(cells, this->values(),
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

template <class FilterT>
std::unique_ptr<PieceReduction<typename FilterT::value_type>>
reductionThrough(const Quill::MultiIndex<3>& sizes, unsigned filter) {
    using Value = typename FilterT::output_type;
    constexpr bool hasHeights = Orrery::Record<typename FilterT::value_type> && !Orrery::Record<Value>;
    switch (filter) {
    case filterMean:
        return std::make_unique<StreamingReduction<FilterT, MeanSteps<Value>>>(sizes);
    case filterMin:
        return std::make_unique<StreamingReduction<FilterT, ExtremumSteps<Value, std::less<>>>>(sizes);
    case filterMax:
        return std::make_unique<StreamingReduction<FilterT, ExtremumSteps<Value, std::greater<>>>>(sizes);
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

template <class T> using PieceReductionPtr = std::unique_ptr<PieceReduction<T>>;

#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template TILEWRIGHT_API PieceReductionPtr<T> makePieceReduction<T>(const Quill::MultiIndex<3>&,          \
                                                                       const DirectionAndFilter&);
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
TILEWRIGHT_INSTANTIATE(point)
#undef TILEWRIGHT_INSTANTIATE

} // namespace Tilewright
