#include <io/statistics/OrderStatistics.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

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

/// What is asked of the ranks of so many values, by how it is worked out: which is the same for many cells,
/// and takes no guess of the processor at each.
class RankedPlaces {
public:
    template <class T> RankedPlaces(const OrderResults<T>& results, std::uint64_t count) {
        for (std::size_t i = 0; i < results.size(); ++i) {
            const Statistic& wanted = results.wanted(i);
            if (!hasRanks(wanted.kind))
                continue;
            const RankedPlace place = placeOf(wanted, count);
            if (!results.isNumber(i))
                Values.push_back({i, place});
            else if (place.share == 0.5)
                Middles.push_back({i, place});
            else
                Lines.push_back({i, place, place.share < 0.5 ? place.low : place.high,
                                 place.share < 0.5 ? place.share : -(1.0 - place.share)});
        }
    }

    /// The values are at their ranks as far as these are asked for.
    template <class T>
    void setResults(const OrderResults<T>& results, std::size_t cell, std::span<const T> values) const {
        for (const Line& line : Lines) {
            const auto low = static_cast<double>(values[line.place.low]);
            const auto high = static_cast<double>(values[line.place.high]);
            const double distance = high - low;
            // The same as between(), for all but infinities and what is nearly as far apart.
            if (std::fabs(distance) <= std::numeric_limits<double>::max()) [[likely]]
                results.setNumber(line.item, cell,
                                  static_cast<double>(values[line.nearer]) + distance * line.way);
            else
                results.setNumber(line.item, cell, between(low, high, line.place.share));
        }
        for (const auto& [item, place] : Middles)
            results.setNumber(item, cell,
                              between(static_cast<double>(values[place.low]),
                                      static_cast<double>(values[place.high]), 0.5));
        for (const auto& [item, place] : Values)
            results.setValue(item, cell, values[place.low]);
    }

    void listRanks(std::vector<std::uint64_t>& ranks) const {
        ranks.clear();
        const auto add = [&](const RankedPlace& place) {
            ranks.insert(ranks.end(), {place.low, place.high});
        };
        for (const Line& line : Lines)
            add(line.place);
        for (const auto& [item, place] : Middles)
            add(place);
        for (const auto& [item, place] : Values)
            add(place);
        std::ranges::sort(ranks);
        ranks.erase(std::unique(ranks.begin(), ranks.end()), ranks.end());
    }

private:
    struct Item {
        std::size_t item;
        RankedPlace place;
    };
    struct Line {
        std::size_t item;
        RankedPlace place;
        /// The one from which the way is the shorter, and that as a share of the distance.
        std::uint64_t nearer;
        double way;
    };

    std::vector<Line> Lines;
    std::vector<Item> Middles;
    /// Those that are one of the values.
    std::vector<Item> Values;
};

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
        const RankedPlaces* const places = NeedsRanks ? &placesOf(numbers.size()) : nullptr;
        arrange(numbers, places);
        if (places)
            places->setResults(Results, cell, std::span<const T>(numbers));
        if (NeedsMean || NeedsRuns)
            setOthers(cell, std::span<const T>(numbers), above);
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

    const RankedPlaces& placesOf(std::size_t count) {
        std::optional<RankedPlaces>& places = count <= fewValues ? PlacesOfFew[count] : PlacesOfMany;
        if (!places || count > fewValues)
            places.emplace(Results, count);
        return *places;
    }

    /// Orders the values as far as the wanted statistics need it.
    void arrange(std::span<T> numbers, const RankedPlaces* places) {
        if ((NeedsRuns || NeedsRanks) && numbers.size() <= fewValues) {
            sortFew(numbers);
        } else if (NeedsRuns) {
            std::ranges::sort(numbers);
        } else if (places) {
            places->listRanks(Ranks);
            select(numbers, 0, std::span<const std::uint64_t>(Ranks));
        }
    }

    /// The statistics that do not go by ranks.
    void setOthers(std::size_t cell, std::span<const T> numbers, double above) const {
        const auto [mode, distinct] = NeedsRuns ? modeOf(numbers) : std::pair(T(), std::uint32_t(0));
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
            default:
                break;
            }
    }

    const OrderResults<T>& Results;
    bool NeedsMean = false;
    bool NeedsRanks = false;
    bool NeedsRuns = false;
    std::vector<std::uint64_t> Ranks;
    /// By the number of values.
    std::array<std::optional<RankedPlaces>, fewValues + 1> PlacesOfFew;
    std::optional<RankedPlaces> PlacesOfMany;
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
