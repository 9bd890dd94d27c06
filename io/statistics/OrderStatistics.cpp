#include <io/statistics/OrderStatistics.h>

#include <algorithm>
#include <array>
#include <type_traits>

#include <io/statistics/Moments.h>
#include <io/statistics/OrderResults.h>
#include <io/statistics/SortFew.h>
#include <tilewright/values/PlainTypes.h>

namespace Tilewright::Io {

namespace {

using Kind = Statistic::Kind;

/// Brings the values at the given ranks, ascending and counted from `first`, to their places.
template <class T>
void select(std::span<T> values, std::uint64_t first, std::span<const std::uint64_t> ranks) {
    if (ranks.empty())
        return;
    if (values.size() <= fewValues) {
        sortFew(values);
        return;
    }
    const std::size_t middle = ranks.size() / 2;
    const std::uint64_t at = ranks[middle] - first;
    std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(at));
    select(values.first(at), first, ranks.first(middle));
    select(values.subspan(at + 1), ranks[middle] + 1, ranks.subspan(middle + 1));
}

/// The most frequent one, the smallest of several; and how many different ones there are.
template <class T> std::pair<T, std::uint32_t> modeOf(std::span<const T> sorted) {
    std::size_t most = 0;
    std::uint32_t distinct = 0;
    T mode = sorted.front();
    for (std::size_t begin = 0; begin < sorted.size();) {
        std::size_t end = begin + 1;
        while (end < sorted.size() && sorted[end] == sorted[begin])
            ++end;
        if (end - begin > most)
            mode = sorted[begin];
        most = std::max(most, end - begin);
        ++distinct;
        begin = end;
    }
    return {mode, distinct};
}

template <class T> double shareAboveMean(std::span<const T> values) {
    ExactMean all;
    for (const T value : values)
        all.take(static_cast<double>(value));
    const double mean = all.result();
    if (mean != mean)
        return mean;
    const auto above =
        std::ranges::count_if(values, [mean](T value) { return static_cast<double>(value) > mean; });
    return static_cast<double>(above) / static_cast<double>(values.size());
}

/// Works on one cell after the other.
template <class T> class CellOrder {
public:
    explicit CellOrder(const OrderResults<T>& results) : Results(results) {
        for (std::size_t i = 0; i < results.size(); ++i) {
            const Kind kind = results.wanted(i).kind;
            NeedsMean |= kind == Kind::AboveMean;
            NeedsRanks |= hasRanks(kind);
            NeedsRuns |= kind == Kind::Mode || kind == Kind::Distinct;
        }
    }

    /// The values are in the order of the points, and will be in another.
    void reduce(std::size_t cell, std::span<T> values) {
        const double above = NeedsMean ? shareAboveMean(std::span<const T>(values)) : 0.0;
        const std::span<T> numbers = takeNumbers(values);
        if (numbers.empty()) {
            Results.setNone(cell);
            return;
        }
        findPlaces(numbers.size());
        arrange(numbers);
        const auto [mode, distinct] =
            NeedsRuns ? modeOf(std::span<const T>(numbers)) : std::pair(T(), std::uint32_t(0));
        for (std::size_t i = 0; i < Results.size(); ++i)
            switch (Results.wanted(i).kind) {
            case Kind::AboveMean:
                Results.setNumber(i, cell, above);
                break;
            case Kind::Mode:
                Results.setValue(i, cell, mode);
                break;
            case Kind::Distinct:
                Results.setCount(i, cell, distinct);
                break;
            default: {
                const RankedPlace& place = Places[i];
                Results.setBetween(i, cell, numbers[place.low], numbers[place.high], place.share);
            }
            }
    }

private:
    static std::span<T> takeNumbers(std::span<T> values) {
        if constexpr (std::is_floating_point_v<T>) {
            const auto isNumber = [](T value) { return value == value; };
            if (!std::ranges::all_of(values, isNumber)) {
                const auto end = std::partition(values.begin(), values.end(), isNumber);
                return values.first(static_cast<std::size_t>(end - values.begin()));
            }
        }
        return values;
    }

    /// They are the same for many cells.
    void findPlaces(std::size_t count) {
        if (!NeedsRanks)
            return;
        std::vector<RankedPlace>& places = count <= fewValues ? PlacesOfFew[count] : PlacesOfMany;
        if (places.empty() || count > fewValues) {
            places.clear();
            for (std::size_t i = 0; i < Results.size(); ++i)
                places.push_back(placeOf(Results.wanted(i), count));
        }
        Places = places;
    }

    /// So far as anybody asks for it.
    void arrange(std::span<T> numbers) {
        if ((NeedsRuns || NeedsRanks) && numbers.size() <= fewValues) {
            sortFew(numbers);
        } else if (NeedsRuns) {
            std::ranges::sort(numbers);
        } else if (NeedsRanks) {
            Ranks.clear();
            for (std::size_t i = 0; i < Results.size(); ++i)
                if (hasRanks(Results.wanted(i).kind)) {
                    Ranks.push_back(Places[i].low);
                    Ranks.push_back(Places[i].high);
                }
            std::ranges::sort(Ranks);
            Ranks.erase(std::unique(Ranks.begin(), Ranks.end()), Ranks.end());
            select(numbers, 0, std::span<const std::uint64_t>(Ranks));
        }
    }

    const OrderResults<T>& Results;
    bool NeedsMean = false;
    bool NeedsRanks = false;
    bool NeedsRuns = false;
    std::vector<std::uint64_t> Ranks;
    /// By the number of values, and those at hand.
    std::array<std::vector<RankedPlace>, fewValues + 1> PlacesOfFew;
    std::vector<RankedPlace> PlacesOfMany;
    std::span<const RankedPlace> Places;
};

} // namespace

template <class T>
std::vector<Quill::ArrayPtr> reduceByOrder(const CellLists& cells, const T* values,
                                           std::span<const Statistic> wanted) {
    const OrderResults<T> results(cells.sizes, wanted);
    CellOrder<T> order(results);
    cells.forEachListOfValues<T>([values](std::uint32_t i) { return asOrdered(values[i]); },
                                 [&order](unsigned long long cell, std::span<T> list) {
                                     order.reduce(static_cast<std::size_t>(cell), list);
                                 });
    std::vector<Quill::ArrayPtr> arrays;
    for (std::size_t i = 0; i < results.size(); ++i)
        arrays.push_back(results.array(i));
    return arrays;
}

#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template std::vector<Quill::ArrayPtr> reduceByOrder<T>(const CellLists&, const T*,                       \
                                                           std::span<const Statistic>);
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
#undef TILEWRIGHT_INSTANTIATE

} // namespace Tilewright::Io
