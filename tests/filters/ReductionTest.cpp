// The reduction of a single cell, and arrays and values that random calls do not draw: tests/property
// compares all cells of fragments.
#include "tests/support/CloudBuilder.h"

#include <cmath>
#include <numeric>

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/MedianOperator.h>
#include <tilewright/filters/RegressionOperator.h>

namespace Tilewright {
namespace {

using Orrery::Color16;
using Orrery::Color8;
using Orrery::PhysicalSpace::vector;
using TestSupport::arrayOf;
using TestSupport::elementsOf;
using Points = std::vector<point>;
using Doubles = std::vector<double>;
const double nan = std::nan("");
const Points points{{1, 9, 0}, {2, 8, 0}, {2, 8, 0}};

template <class OperatorT, class T> auto reduce(const std::vector<T>& values, const point& position) {
    std::vector<unsigned> all(values.size());
    std::iota(all.begin(), all.end(), 0U);
    const OperatorT reduction;
    return reduction.reduce(all, values, static_cast<unsigned>(all.size()), position);
}
template <template <class> class Op, class T>
auto all(const std::vector<T>& values, const point& position = {}) {
    return reduce<Op<Filter3D<T>>>(values, position);
}
template <template <class> class Op, int Dir, class T>
auto along(const std::vector<T>& values, const point& position = {}) {
    return reduce<Op<Filter1DOf<T, Dir>>>(values, position);
}

TEST(Mean, TakesThePointsOfTheCellInTheirOrderAndDividesByTheCountThatItIsGiven) {
    const Doubles values{100, 1e16, 1, -1e16, 100};
    const MeanOperator<Filter3D<double>> mean;
    EXPECT_EQ(mean.reduce({1, 2, 3}, values, 3, {}), 0.0);
    EXPECT_EQ(mean.reduce({1, 3, 2}, values, 4, {}), 0.25);
    EXPECT_EQ(all<MeanOperator>(std::vector<unsigned long long>{(1ULL << 63) + 4096}), (1ULL << 63) + 4096);
    const std::vector<Color8> dim(49, Color8(1, 0, 0));
    EXPECT_EQ(all<MeanOperator>(dim), Color8(0, 0, 0)) << "49 times 1/49 is just below 1";
    EXPECT_EQ((along<MeanOperator, 0>(dim)), 1);
}

TEST(Extrema, AreBoundedByTheirStart) {
    EXPECT_EQ(all<MinOperator>(std::vector<float>{2e6F, 2e6F}), 1e6F);
    EXPECT_EQ(all<MinOperator>(std::vector<Color16>{}), Color16(65535, 65535, 65535));
    EXPECT_EQ(all<MaxOperator>(std::vector<point>{}), point(-1e6, -1e6, -1e6));
}

TEST(Median, IsTheUpperMiddleOfTheSortedValuesWithNaNLast) {
    EXPECT_EQ(all<MedianOperator>(std::vector<int>{4, 1, 3, 2}), 3);
    EXPECT_EQ(all<MedianOperator>(Doubles{nan, 2, nan, 1, 7}), 7.0);
    EXPECT_EQ(all<MedianOperator>(points), point(2, 8, 0)) << "component by component";
}

TEST(CountedMap, GivesItsFirstKeyOrForWholeRecordsItsLastWhateverTheCounts) {
    EXPECT_EQ(all<MaxOccurrenceOperator>(std::vector<int>{5, 5, 5, 2}), 2);
    EXPECT_EQ(all<MaxOccurrenceOperator>(points), point(2, 9, 0));
    EXPECT_EQ((along<MaxOccurrenceOperator, 1>(points)), 8.0);
    EXPECT_TRUE(std::signbit(all<MaxOccurrenceOperator>(Doubles{1, -0.0, 0.0})));
    EXPECT_EQ(all<MaxOccurrenceOperator>(Doubles{}), 0.0);
}

/// A quarter of the points on each corner of a square, at the heights `low` and `high` in turn.
Points twisted(double low, double high) { return {{0, 0, high}, {1, 0, low}, {0, 1, low}, {1, 1, high}}; }

double heightAt(const Points& points, const point& position = {}) {
    return along<RegressionOperator, 2>(points, position);
}

TEST(Regression, ReadsThePlaneAtTheCellBoundedByItsPoints) {
    const Points slope{{0, 0, 0}, {4, 0, 2}, {0, 4, 0}, {4, 4, 2}};
    for (const auto& [x, height] : {std::pair(1.0, 0.5), {-3, 0}, {9, 2}}) {
        EXPECT_NEAR(heightAt(slope, {x, 77, 0}), height, 1e-12);
        EXPECT_EQ(reduce<RegressionOperator<FilterRegressionOf<point>>>(slope, {x, 77, 0}),
                  static_cast<float>(height));
    }
    EXPECT_EQ(heightAt({{0, 0, 3}, {1, 1, 8}}), 5.5) << "the mean where there is no plane";
    const std::vector<Color8> blue{{0, 0, 0}, {10, 0, 5}, {0, 10, 0}, {10, 10, 5}};
    EXPECT_EQ((along<RegressionOperator, 1>(blue, {5.5, 0, 0})), 2) << "truncated";
    EXPECT_EQ(all<RegressionOperator>(blue, {5.5, 0, 0}), Color8()) << "whole records have no height";
    const point farAway(std::numeric_limits<double>::infinity(), 0, 0);
    const std::vector<Color8> level{{0, 0, 5}, {10, 0, 5}, {0, 10, 5}};
    EXPECT_EQ((along<RegressionOperator, 1>(level, farAway)), 0) << "no number, and no integer stands for it";
}

TEST(Regression, ThinsOnceAndThenTakesTheMedianOfAllDistinctHeights) {
    const Points line{{0, 0, 0}, {1, 0, 0}, {2, 0, 1}, {3, 0, 0}, {4, 0, 0}, {2, 5, 10}, {2, -5, 10}};
    EXPECT_EQ(heightAt(line), 0.2) << "the mean of what was kept";

    EXPECT_EQ(heightAt(twisted(1, 3)), 3) << "all are kept, twice";
    Points flat, rough;
    for (int i = 0; i < 18; ++i) {
        const point p = i < 16 ? point(i % 4, i / 4, 2) : point(1.5, 1.5, 100 * (i - 15));
        flat.push_back(p);
        rough.push_back(p + vector(0, 0, i >= 16 ? 0 : (i + i / 4) % 2 == 0 ? -1 : 1));
    }
    EXPECT_NEAR(heightAt(flat), 2, 1e-12) << "without the outliers";
    EXPECT_EQ(heightAt(rough), 100) << "of 1, 3, 100, 200: thinned points count again";
    EXPECT_EQ(heightAt(twisted(-1e308, 1e308)), 0) << "no distance is below a deviation that is no number";
}

TEST(Regression, SettlesOnlyBelowTheVarianceLimit) {
    const double at = 0x1.0a0b02501c799p-4, below = std::nextafter(at, 0.0);
    ASSERT_EQ(1.0 / 3.0 * (4 * (at * at)), 0x1.70a3d70a3d709p-8);
    EXPECT_EQ(heightAt(twisted(-at, at)), at);
    EXPECT_EQ(heightAt(twisted(-below, below)), 0);
}

const CellLists firstAndThird({3, 1, 1}, std::vector<std::uint32_t>{0, 2, 0});

TEST(ReduceCells, ReadsStorageFromItsHeadAlsoThroughAViewButOneOfAnotherTypeThroughTheView) {
    const Larder::Ref<Quill::MemArray<2, double>> rows(Quill::MultiIndex<2>(3, 2));
    std::iota(rows->data, rows->data + 6, 1.0);
    const DirectionAndFilter mean{directionAll, filterMean};
    EXPECT_EQ((elementsOf<double, 3>(reduceCells(firstAndThird, rows->getSlice(1, {}), mean))),
              (Doubles{2, 0, 2}));
    const Larder::Ref<Quill::MemArray<1, point>> places(Quill::MultiIndex<1>(3));
    for (unsigned i = 0; i < 3; ++i)
        places->data[i] = point(i, 10 + i, 100 + i * i);
    EXPECT_EQ((elementsOf<double, 3>(reduceCells(firstAndThird, places->getComponentArray(2, {}), mean))),
              (Doubles{102, 0, 101}));
}

TEST(ReduceCells, ReadsThePlaneAtZeroWithoutNodes) {
    const CellLists one({1, 1, 1}, std::vector<std::uint32_t>(4));
    const auto square = arrayOf<point>({{-1, -1, 2}, {3, -1, 6}, {-1, 3, 10}, {3, 3, 14}});
    const auto height = elementsOf<double, 3>(reduceCells(one, square, {directionZ, filterRegression}));
    EXPECT_NEAR(height.value().at(0), 5, 1e-12);
}

TEST(ReduceCells, GivesNothingWithoutListsAndComplainsOfADirectionThatNoRequestForms) {
    CellLists empty;
    empty.sizes = {2, 1, 1};
    EXPECT_FALSE(reduceCells(empty, arrayOf<float>({1}), {directionAll, filterMean}));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(reduceCells(firstAndThird, arrayOf<float>({1, 2, 3}), {5, filterMean}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Filter type not supported");
}

TEST(CellLists, RefuseMoreCellsThanAVectorHoldsAlsoWhereTheirProductWraps) {
    const auto nowhere = [](std::uint32_t, unsigned long long outside) { return outside; };
    const unsigned long long wide = 1ULL << 32;
    for (const Quill::MultiIndex<3>& size : {Quill::MultiIndex<3>(wide, wide, 1), {wide, wide, wide}})
        EXPECT_THROW(CellLists(size, 0, nowhere), std::length_error);
    EXPECT_TRUE(CellLists({wide, 0, 5}, 0, nowhere).counts().empty());
}

} // namespace
} // namespace Tilewright
