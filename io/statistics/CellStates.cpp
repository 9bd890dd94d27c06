#include <io/statistics/CellStates.h>

#include <concepts>
#include <limits>
#include <type_traits>
#include <vector>

#include <io/statistics/Moments.h>
#include <tilewright/filters/takeByCell.h>
#include <tilewright/values/PlainTypes.h>

namespace Tilewright::Io {

namespace {

using Kind = Statistic::Kind;

/// To save memory, a state keeps neither its statistic nor the number of its points: both are passed in when
/// its result is asked for.
template <class State> class StatesOf final : public StateReduction<typename State::Value> {
    using Value = typename State::Value;
    using Result = typename State::Result;

public:
    StatesOf(const Quill::MultiIndex<3>& sizes, const Statistic& statistic)
        : Wanted(statistic), States(sizes.product(), State(statistic)),
          Results(Larder::Ref<Quill::MemArray<3, Result>>(sizes)) {}

    void take(std::span<const std::uint32_t> cells, const Value* values) override {
        takeByCell(cells, StatesInArray<State>{States.data()},
                   [=](State& state, std::size_t i) { state.take(values[i]); });
    }

    void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) override {
        const State* const states = States.data() + firstCell;
        // Through the pointer itself each access would find the array by its type, which costs more than a
        // result.
        Result* const results = Results->data + firstCell;
        for (std::size_t i = 0; i < counts.size(); ++i)
            results[i] = counts[i] != 0 ? states[i].result(Wanted, counts[i]) : Result();
    }

    Quill::ArrayPtr results() const override { return Results; }
    std::size_t bytesPerCell() const override { return sizeof(State) + sizeof(Result); }

private:
    Statistic Wanted;
    std::vector<State> States;
    Larder::StrongPtr<Quill::MemArray<3, Result>, Larder::Cacheable> Results;
};

template <class T> struct SumState {
    using Value = T;
    using Result = double;

    explicit SumState(const Statistic&) {}
    void take(T value) { Sum.take(static_cast<double>(value)); }
    double result(const Statistic&, std::uint32_t) const { return Sum.result(); }

    ExactSum Sum;
};

template <class T, class Moments> struct MomentState {
    using Value = T;
    using Result = double;

    explicit MomentState(const Statistic&) {}
    void take(T value) { All.take(static_cast<double>(value)); }
    double result(const Statistic& wanted, std::uint32_t) const { return All.result(wanted.kind); }

    Moments All;
};

template <class T> struct RangeState {
    using Value = T;
    using Result = double;
    using Limits = std::numeric_limits<T>;

    explicit RangeState(const Statistic&) {}
    void take(T value) {
        Least = value < Least ? value : Least;
        Greatest = value > Greatest ? value : Greatest;
    }
    double result(const Statistic&, std::uint32_t) const {
        if constexpr (std::integral<T>)
            return static_cast<double>(static_cast<unsigned long long>(Greatest) -
                                       static_cast<unsigned long long>(Least));
        else if (Least > Greatest)
            return std::numeric_limits<double>::quiet_NaN();
        else
            return static_cast<double>(Greatest) - static_cast<double>(Least);
    }

    T Least = Limits::has_infinity ? Limits::infinity() : Limits::max();
    T Greatest = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
};

template <class T> struct FirstState {
    using Value = T;
    using Result = T;

    explicit FirstState(const Statistic&) {}
    void take(T value) {
        First = IsThere ? First : value;
        IsThere = true;
    }
    T result(const Statistic&, std::uint32_t) const { return First; }

    T First = {};
    bool IsThere = false;
};

template <class T> struct LastState {
    using Value = T;
    using Result = T;

    explicit LastState(const Statistic&) {}
    void take(T value) { Last = value; }
    T result(const Statistic&, std::uint32_t) const { return Last; }

    T Last = {};
};

template <class T> struct AboveState {
    using Value = T;
    using Result = double;

    explicit AboveState(const Statistic& statistic) : Limit(statistic.number) {}
    void take(T value) { Above += static_cast<double>(value) > Limit ? 1 : 0; }
    double result(const Statistic&, std::uint32_t count) const { return static_cast<double>(Above) / count; }

    double Limit;
    std::uint32_t Above = 0;
};

/// The first of several at the same height.
template <class T, bool Highest> struct ExtremeState {
    using Value = ValueAtHeight<T>;
    using Result = T;
    static constexpr double farthest = std::numeric_limits<double>::infinity();

    explicit ExtremeState(const Statistic&) {}
    void take(const Value& point) {
        if (Highest ? point.height > Best.height : point.height < Best.height)
            Best = point;
    }
    T result(const Statistic&, std::uint32_t) const { return Best.value; }

    Value Best = {Highest ? -farthest : farthest, T()};
};

template <class State>
std::unique_ptr<StateReduction<typename State::Value>> make(const Quill::MultiIndex<3>& sizes,
                                                            const Statistic& statistic) {
    return std::make_unique<StatesOf<State>>(sizes, statistic);
}

template <class T> struct MakerOf {
    static std::unique_ptr<StateReduction<T>> makeFor(const Quill::MultiIndex<3>& sizes,
                                                      const Statistic& statistic) {
        switch (statistic.kind) {
        case Kind::Range:
            return make<RangeState<T>>(sizes, statistic);
        case Kind::Sum:
            return make<SumState<T>>(sizes, statistic);
        case Kind::StdDev:
        case Kind::Variance:
        case Kind::SampleStdDev:
        case Kind::SampleVariance:
            return make<MomentState<T, SquareMoments>>(sizes, statistic);
        case Kind::Skewness:
        case Kind::Kurtosis:
            return make<MomentState<T, HigherMoments>>(sizes, statistic);
        case Kind::First:
            return make<FirstState<T>>(sizes, statistic);
        case Kind::Last:
            return make<LastState<T>>(sizes, statistic);
        case Kind::Above:
            return make<AboveState<T>>(sizes, statistic);
        default:
            return nullptr;
        }
    }
};

template <class T> struct MakerOf<ValueAtHeight<T>> {
    static std::unique_ptr<StateReduction<ValueAtHeight<T>>> makeFor(const Quill::MultiIndex<3>& sizes,
                                                                     const Statistic& statistic) {
        switch (statistic.kind) {
        case Kind::AtHighest:
            return make<ExtremeState<T, true>>(sizes, statistic);
        case Kind::AtLowest:
            return make<ExtremeState<T, false>>(sizes, statistic);
        default:
            return nullptr;
        }
    }
};

} // namespace

template <class T>
std::unique_ptr<StateReduction<T>> makeStateReduction(const Quill::MultiIndex<3>& sizes,
                                                      const Statistic& statistic) {
    return MakerOf<T>::makeFor(sizes, statistic);
}

template <class T> using StateReductionPtr = std::unique_ptr<StateReduction<T>>;

// A type takes no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template StateReductionPtr<T> makeStateReduction<T>(const Quill::MultiIndex<3>&, const Statistic&);      \
    template StateReductionPtr<ValueAtHeight<T>> makeStateReduction<ValueAtHeight<T>>(                       \
        const Quill::MultiIndex<3>&, const Statistic&);
// NOLINTEND(bugprone-macro-parentheses)
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
#undef TILEWRIGHT_INSTANTIATE

} // namespace Tilewright::Io
