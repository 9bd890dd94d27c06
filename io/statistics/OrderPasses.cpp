#include <io/statistics/OrderPasses.h>

#include <algorithm>
#include <optional>
#include <vector>

#include <io/statistics/Moments.h>
#include <io/statistics/OrderResults.h>
#include <tilewright/values/PlainTypes.h>

namespace Tilewright::Io {

namespace {

using Kind = Statistic::Kind;

/// A value and how often it occurs.
template <class T> struct Run {
    T value;
    std::uint32_t count;
};

/// The least of the different values that are above a floor.
template <class T> class RunTable {
public:
    explicit RunTable(std::size_t mostRuns) : MostRuns(std::max<std::size_t>(mostRuns, 1)) {}

    void take(T value) {
        if ((Floor && value <= *Floor) || (Cut && value > *Cut))
            return;
        Waiting.push_back(value);
        if (Waiting.size() == mostWaiting)
            merge();
    }

    /// Of the values that were taken, in ascending order.
    std::span<const Run<T>> runs() {
        merge();
        return Runs;
    }

    /// Whether there are more above; they are taken from now on.
    bool goOnAbove() {
        if (!Cut)
            return false;
        Floor = Cut;
        Cut.reset();
        Runs.clear();
        return true;
    }

private:
    static constexpr std::size_t mostWaiting = 1 << 16;

    void merge() {
        std::ranges::sort(Waiting);
        Merged.clear();
        auto run = Runs.begin();
        for (auto value = Waiting.begin(); value != Waiting.end();) {
            const auto next = std::upper_bound(value, Waiting.end(), *value);
            for (; run != Runs.end() && run->value < *value; ++run)
                Merged.push_back(*run);
            Merged.push_back({*value, static_cast<std::uint32_t>(next - value)});
            if (run != Runs.end() && run->value == *value)
                Merged.back().count += (run++)->count;
            value = next;
        }
        Merged.insert(Merged.end(), run, Runs.end());
        Waiting.clear();
        Runs.swap(Merged);
        if (Runs.size() > MostRuns) {
            Runs.resize(MostRuns);
            Cut = Runs.back().value;
        }
    }

    std::size_t MostRuns;
    std::vector<T> Waiting;
    std::vector<Run<T>> Runs;
    std::vector<Run<T>> Merged;
    std::optional<T> Floor;
    std::optional<T> Cut;
};

template <class T> class PassesOf final : public OrderPasses<T> {
public:
    PassesOf(std::span<const Statistic> wanted, std::size_t mostRuns)
        : Results(Quill::MultiIndex<3>(1, 1, 1), wanted), Table(mostRuns), Between(wanted.size()),
          NeedsMean(has(wanted, Kind::AboveMean)),
          NeedsTable(std::ranges::any_of(
              wanted, [](const Statistic& statistic) { return statistic.kind != Kind::AboveMean; })) {}

    void take(std::span<const T> values) override {
        for (const T given : values) {
            const T value = asOrdered(given);
            takeForMean(static_cast<double>(value));
            if (value != value)
                continue;
            Numbers += Pass == 0 ? 1 : 0;
            if (NeedsTable)
                Table.take(value);
        }
    }

    bool endPass() override {
        if (Numbers == 0) {
            Results.setNone(0);
            return false;
        }
        if (NeedsTable) {
            takeRuns();
            NeedsTable = Table.goOnAbove();
        }
        const bool goesOn = NeedsTable || (NeedsMean && Pass == 0);
        ++Pass;
        if (!goesOn)
            setResults();
        return goesOn;
    }

    Quill::ArrayPtr result(std::size_t statistic) const override { return Results.array(statistic); }

private:
    static bool has(std::span<const Statistic> wanted, Kind kind) {
        return std::ranges::find(wanted, kind, &Statistic::kind) != wanted.end();
    }

    /// The mean takes a pass, and what is above it another.
    void takeForMean(double value) {
        if (!NeedsMean)
            return;
        if (Pass == 0) {
            Mean.take(value);
            ++Values;
        } else if (Pass == 1) {
            Above += value > Mean.result() ? 1 : 0;
        }
    }

    void takeRuns() {
        for (const Run<T>& run : Table.runs()) {
            for (std::size_t i = 0; i < Results.size(); ++i)
                if (hasRanks(Results.wanted(i).kind)) {
                    const RankedPlace place = placeOf(Results.wanted(i), Numbers);
                    if (place.low >= Seen && place.low < Seen + run.count)
                        Between[i].low = run.value;
                    if (place.high >= Seen && place.high < Seen + run.count)
                        Between[i].high = run.value;
                }
            if (run.count > Most)
                Mode = run.value;
            Most = std::max(Most, run.count);
            ++Distinct;
            Seen += run.count;
        }
    }

    void setResults() {
        const double mean = Mean.result();
        for (std::size_t i = 0; i < Results.size(); ++i)
            switch (Results.wanted(i).kind) {
            case Kind::AboveMean:
                Results.setNumber(
                    i, 0, mean != mean ? mean : static_cast<double>(Above) / static_cast<double>(Values));
                break;
            case Kind::Mode:
                Results.setValue(i, 0, Mode);
                break;
            case Kind::Distinct:
                Results.setCount(i, 0, Distinct);
                break;
            default:
                Results.setBetween(i, 0, Between[i].low, Between[i].high,
                                   placeOf(Results.wanted(i), Numbers).share);
            }
    }

    struct Neighbours {
        T low = {};
        T high = {};
    };

    OrderResults<T> Results;
    RunTable<T> Table;
    std::vector<Neighbours> Between;
    bool NeedsMean;
    bool NeedsTable;
    unsigned Pass = 0;
    ExactMean Mean;
    std::uint64_t Values = 0;
    std::uint64_t Numbers = 0;
    std::uint64_t Above = 0;
    /// Of the runs so far.
    std::uint64_t Seen = 0;
    std::uint32_t Most = 0;
    std::uint32_t Distinct = 0;
    T Mode = {};
};

} // namespace

template <class T>
OrderPassesPtr<T> makeOrderPasses(std::span<const Statistic> wanted, std::size_t mostRuns) {
    return std::make_unique<PassesOf<T>>(wanted, mostRuns);
}

#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template OrderPassesPtr<T> makeOrderPasses<T>(std::span<const Statistic>, std::size_t);
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
#undef TILEWRIGHT_INSTANTIATE

} // namespace Tilewright::Io
