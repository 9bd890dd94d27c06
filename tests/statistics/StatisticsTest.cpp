// Statistics of cells against plain statements of them.
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include <io/statistics/CellStates.h>
#include <io/statistics/OrderPasses.h>
#include <io/statistics/OrderStatistics.h>

namespace Tilewright::Io::Test {
namespace {

using Kind = Statistic::Kind;
using Values = std::vector<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// The first element of an array, whatever its type.
double firstOf(const Quill::ArrayPtr& array) {
    double value = nan;
    Quill::visitArray<3>(Quill::PlainValueTypes(), array, [&]<class O>(const Quill::MemArray<3, O>& values) {
        value = static_cast<double>(values.data[0]);
        if constexpr (std::is_same_v<O, double>)
            value = values.data[0];
    });
    return value;
}

CellLists oneCell(std::size_t points) { return {{1, 1, 1}, std::vector<std::uint32_t>(points, 0)}; }

/// Of one cell that has all values; taken in pieces where that is possible.
template <class T> double reduce(const std::vector<T>& values, const Statistic& statistic) {
    const std::vector<std::uint32_t> cells(values.size(), 0);
    if (const auto states = makeStateReduction<T>({1, 1, 1}, statistic)) {
        const std::size_t half = values.size() / 2;
        states->take(std::span(cells).first(half), values.data());
        states->take(std::span(cells).subspan(half), values.data() + half);
        const auto count = static_cast<std::uint32_t>(values.size());
        states->finish(0, std::span(&count, 1));
        return firstOf(states->results());
    }
    if constexpr (std::is_arithmetic_v<T>)
        return firstOf(reduceByOrder(oneCell(values.size()), values.data(), std::span(&statistic, 1))[0]);
    return nan;
}

/// A central moment, exact enough to judge others by.
long double moment(const Values& values, int power) {
    long double mean = 0, sum = 0;
    for (const double v : values)
        mean += (static_cast<long double>(v) - values[0]) / static_cast<long double>(values.size());
    for (const double v : values)
        sum += std::pow(static_cast<long double>(v) - values[0] - mean, static_cast<long double>(power));
    return sum / static_cast<long double>(values.size());
}

Values sortedOf(Values values) {
    std::erase_if(values, [](double v) { return std::isnan(v); });
    std::ranges::sort(values);
    return values;
}

double percentileOf(const Values& values, double percent) {
    const Values sorted = sortedOf(values);
    const double rank = static_cast<double>(sorted.size() - 1) * percent / 100.0;
    const auto low = static_cast<std::size_t>(rank);
    const double high = sorted[std::min(low + 1, sorted.size() - 1)];
    return sorted[low] + (high - sorted[low]) * (rank - static_cast<double>(low));
}

double modeOf(const Values& values) {
    std::map<double, int> counts;
    for (const double v : values)
        ++counts[v];
    return std::ranges::max_element(counts, {}, [](const auto& item) { return item.second; })->first;
}

/// Ties, single points, values of both signs, and millimetres far from zero.
std::vector<Values> samples() {
    std::vector<Values> all = {{7.25}, {3, 3, 3, 3}, {1, 2}, {5, 1, 5, 1, 2}, {-1e-3, 0.0, 1e-3}};
    std::mt19937 random(5);
    for (const double offset : {0.0, 5'400'000.0, -1e9})
        for (const int size : {3, 8, 33, 1000, 20000}) {
            all.emplace_back();
            for (int i = 0; i < size; ++i)
                all.back().push_back(offset + 0.001 * static_cast<double>(random() % 700));
        }
    return all;
}

TEST(Statistics, AreWhatTheirFormulasSay) {
    const std::map<Kind, std::function<double(const Values&)>> expected = {
        {Kind::Range, [](const Values& v) { return std::ranges::max(v) - std::ranges::min(v); }},
        {Kind::Sum,
         [](const Values& v) {
             long double sum = 0;
             for (const double value : v)
                 sum += value;
             return static_cast<double>(sum);
         }},
        {Kind::Variance, [](const Values& v) { return static_cast<double>(moment(v, 2)); }},
        {Kind::StdDev, [](const Values& v) { return static_cast<double>(std::sqrt(moment(v, 2))); }},
        {Kind::SampleVariance,
         [](const Values& v) {
             const auto n = static_cast<long double>(v.size());
             return static_cast<double>(moment(v, 2) * n / (n - 1));
         }},
        {Kind::Skewness,
         [](const Values& v) { return static_cast<double>(moment(v, 3) / std::pow(moment(v, 2), 1.5L)); }},
        {Kind::Kurtosis,
         [](const Values& v) { return static_cast<double>(moment(v, 4) / (moment(v, 2) * moment(v, 2))); }},
        {Kind::Median, [](const Values& v) { return percentileOf(v, 50.0); }},
        {Kind::MedianHigh, [](const Values& v) { return sortedOf(v)[v.size() / 2]; }},
        {Kind::MedianLow, [](const Values& v) { return sortedOf(v)[(v.size() - 1) / 2]; }},
        {Kind::Mode, modeOf},
        {Kind::First, [](const Values& v) { return v.front(); }},
        {Kind::Last, [](const Values& v) { return v.back(); }}};
    for (const Values& values : samples())
        for (const auto& [kind, formula] : expected) {
            const double result = reduce(values, {kind});
            const double wanted = formula(values);
            if (std::isfinite(wanted))
                EXPECT_NEAR(result, wanted, 1e-11 * std::max(std::fabs(wanted), 1e-3))
                    << static_cast<int>(kind) << " of " << values.size() << " from " << values[0];
            else
                EXPECT_TRUE(isNoResult(result)) << static_cast<int>(kind) << " of " << values.size();
        }
    for (const Values& values : samples())
        for (const double percent : {0.0, 5.0, 33.3, 50.0, 99.5, 100.0})
            EXPECT_NEAR(reduce(values, {Kind::Percentile, percent}), percentileOf(values, percent), 1e-6);
}

TEST(Statistics, CountWholeNumbersExactly) {
    const std::vector<unsigned long long> large = {1ULL << 53U, (1ULL << 53U) + 1, 1ULL << 53U, ~0ULL};
    EXPECT_EQ(reduce(large, {Kind::Distinct}), 3.0);
    EXPECT_EQ(reduce(std::vector<int>{-2147483647 - 1, 2147483647}, {Kind::Range}), 4294967295.0);
    EXPECT_EQ(reduce(std::vector<int>{1, 2, 3}, {Kind::AboveMean}), 1.0 / 3.0) << "2 is the mean itself";
    EXPECT_EQ(reduce(Values(10, 0.1), {Kind::AboveMean}), 0.0);
    EXPECT_EQ(reduce(std::vector<unsigned char>{5, 6, 7, 9}, {Kind::Above, 6.0}), 0.5);
    EXPECT_EQ(reduce(Values{0.0, -0.0, 1.0}, {Kind::Distinct}), 2.0);
}

TEST(Statistics, OfWhatIsNoNumberAreNoneOrLeaveItOut) {
    const Values some = {4.0, nan, 1.0, 2.0};
    for (const Kind kind : {Kind::Sum, Kind::StdDev, Kind::Skewness, Kind::AboveMean}) {
        EXPECT_TRUE(std::isnan(reduce(some, {kind}))) << static_cast<int>(kind);
        EXPECT_FALSE(isNoResult(reduce(some, {kind}))) << static_cast<int>(kind);
    }
    EXPECT_EQ(reduce(some, {Kind::Range}), 3.0);
    EXPECT_EQ(reduce(some, {Kind::Median}), 2.0);
    EXPECT_EQ(reduce(some, {Kind::Distinct}), 3.0);
    EXPECT_EQ(reduce(some, {Kind::Above, 1.5}), 0.5);
    EXPECT_TRUE(std::isnan(reduce(Values{nan, nan}, {Kind::Mode})));
    EXPECT_TRUE(std::isnan(reduce(Values{nan, nan}, {Kind::Range})));
    EXPECT_EQ(reduce(Values{nan, nan}, {Kind::Distinct}), 0.0);
    EXPECT_EQ(reduce(Values{-infinity, 1.0, infinity}, {Kind::Median}), 1.0);
    EXPECT_EQ(reduce(Values{1.0, infinity}, {Kind::Sum}), infinity);
    EXPECT_EQ(reduce(Values{-1e308, 1e308, 1e308}, {Kind::Percentile, 25.0}), 0.0)
        << "no overflow on the way";
}

TEST(Statistics, OfAPointGoByItsHeightAndThenByItsTurn) {
    const std::vector<ValueAtHeight<int>> points = {{2.0, 1}, {9.0, 2}, {-1.0, 3}, {9.0, 4}, {-1.0, 5}};
    EXPECT_EQ(reduce(points, {Kind::AtHighest}), 2.0);
    EXPECT_EQ(reduce(points, {Kind::AtLowest}), 3.0);
}

TEST(Statistics, ByPassesHaveTheBitsOfAllValuesAtOnce) {
    const std::vector<Statistic> wanted = {
        {Kind::Median},           {Kind::MedianHigh},        {Kind::MedianLow}, {Kind::Percentile, 0.0},
        {Kind::Percentile, 37.5}, {Kind::Percentile, 100.0}, {Kind::Mode},      {Kind::Distinct},
        {Kind::AboveMean}};
    std::vector<Values> cells = samples();
    cells.push_back({4.0, nan, 1.0, 2.0});
    cells.push_back({nan});
    for (const Values& values : cells) {
        const auto expected = reduceByOrder(oneCell(values.size()), values.data(), std::span(wanted));
        for (const std::size_t mostRuns : {1U, 7U, 100000U}) {
            if (values.size() > 1000 && mostRuns == 1)
                continue;
            const auto passes = makeOrderPasses<double>(wanted, mostRuns);
            do
                for (std::size_t at = 0; at < values.size(); at += 100)
                    passes->take(
                        std::span(values).subspan(at, std::min<std::size_t>(100, values.size() - at)));
            while (passes->endPass());
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                const double result = firstOf(passes->result(i)), known = firstOf(expected[i]);
                EXPECT_TRUE(result == known || (std::isnan(result) && std::isnan(known)))
                    << i << ": " << result << " and not " << known << ", " << values.size() << " values";
            }
        }
    }
}

} // namespace
} // namespace Tilewright::Io::Test
