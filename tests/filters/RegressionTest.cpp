// The plane fit, and the steps that make a height of it.
#include "tests/filters/Reductions.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include <tilewright/filters/RegressionOperator.h>

namespace Tilewright {
namespace {

using Orrery::Color8;
using Orrery::PhysicalSpace::vector;
using Points = std::vector<point>;

// No other plane has a smaller sum of squares: its errors have no mean and no slope, in extended precision.
TEST(PlaneFit, KeepsItsPrecisionOnSteepSlopesFarFromTheOrigin) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> within(-0.05, 0.05);
    std::normal_distribution<double> noise(0, 0.01);
    for (const point& centre : {point(), point(5e5, 5e6, 300)})
        for (const double degrees : {0.0, 45.0, 80.0, 89.0})
            for (const vector& width : {vector(1, 1, 0), vector(0.1, 1, 0), vector(1, 0.01, 0)}) {
                const double slope = std::tan(degrees / 180 * std::numbers::pi);
                Points points;
                for (int i = 0; i < 40; ++i) {
                    const double x = width[0] * within(random), y = width[1] * within(random);
                    points.push_back(centre + vector(x, y, slope * (0.8 * x + 0.6 * y) + noise(random)));
                }
                std::vector<double> distances;
                vector plane;
                ASSERT_TRUE(Plumbline::getDistancesToRegressionPlane(points, distances, plane));
                const long double a = plane[0], b = plane[1], steepness = std::hypot(1, a, b);
                long double mean = 0, alongX = 0, alongY = 0;
                for (const point& p : points)
                    mean += ((p - centre)[2] - a * (p - centre)[0] - b * (p - centre)[1]) / 40;
                EXPECT_LT(std::fabs(a * centre[0] + b * centre[1] + plane[2] - centre[2] - mean),
                          5e-9 * steepness);
                for (std::size_t i = 0; i < points.size(); ++i) {
                    const vector d = points[i] - centre;
                    const long double error = d[2] - a * d[0] - b * d[1] - mean;
                    EXPECT_LT(std::fabs(distances[i] - std::fabs(error) / steepness), 1e-12);
                    alongX += error * d[0];
                    alongY += error * d[1];
                }
                EXPECT_LT(std::fabs(alongX), 3e-13 * steepness * width[0] * width[0]);
                EXPECT_LT(std::fabs(alongY), 3e-13 * steepness * width[1] * width[1]);
            }
}

TEST(PlaneFit, IsRefusedWhereThereIsNoPlaneAndLeavesItsOutputsAlone) {
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    const Points refused[] = {{{0, 0, 1}, {1, 2, 3}},
                              {{5e5, 5e6, 0}, {5e5 + 0.1, 5e6 + 0.3, 2}, {5e5 + 0.2, 5e6 + 0.6, 2}},
                              {{3, 4, 0}, {3, 4, 1}, {3, 4, 2}},
                              {{0, 0, 0}, {1, 0, 0}, {0, 1, nan}},
                              {{0, 0, 0}, {1, 0, 0}, {inf, 1, 0}},
                              {{0, 0, 0}, {2, 0, 0}, {1, 1.2e-6, 3}}};
    for (const double side : {1e-90, 1e-140, 1e95, 1e140}) {
        std::vector<double> found;
        vector fit;
        EXPECT_TRUE(
            Plumbline::getDistancesToRegressionPlane({{0, 0, 0}, {side, 0, side}, {0, side, 0}}, found, fit))
            << side;
        EXPECT_NEAR(fit[0], 1, 1e-9);
        EXPECT_FALSE(Plumbline::getDistancesToRegressionPlane(
            {{0, 0, 0}, {side, side, 0}, {2 * side, 2 * side, 1}, {3 * side, 3 * side, 0}}, found, fit))
            << side;
    }
    const Points thin{{0, 0, 0}, {2, 0, 0}, {1, 2e-6, 4e-6}};
    std::vector<double> distances{7};
    vector plane(1, 2, 3);
    for (Points points : refused)
        for (int swapped = 0; swapped < 2; ++swapped) {
            EXPECT_FALSE(Plumbline::getDistancesToRegressionPlane(points, distances, plane));
            for (point& p : points)
                std::swap(p[0], p[1]);
        }
    EXPECT_TRUE(distances == std::vector<double>{7} && plane == vector(1, 2, 3));
    EXPECT_TRUE(Plumbline::getDistancesToRegressionPlane(thin, distances, plane));
    EXPECT_NEAR(plane[1], 2, 1e-9);
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
        EXPECT_EQ(fitted<RegressionOperator>(slope, {x, 77, 0}), static_cast<float>(height));
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

} // namespace
} // namespace Tilewright
