// The plane fit.
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include <gtest/gtest.h>

#include <tilewright/filters/RegressionPlane.h>

namespace {

using Orrery::PhysicalSpace::point;
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
    std::vector<double> distances{7};
    vector plane(1, 2, 3);
    const auto isFitted = [&](const Points& points) {
        return Plumbline::getDistancesToRegressionPlane(points, distances, plane);
    };
    for (Points refused : {Points{{0, 0, 1}, {1, 2, 3}},
                           {{5e5, 5e6, 0}, {5e5 + 0.1, 5e6 + 0.3, 2}, {5e5 + 0.2, 5e6 + 0.6, 2}},
                           {{3, 4, 0}, {3, 4, 1}, {3, 4, 2}},
                           {{0, 0, 0}, {1, 0, 0}, {0, 1, nan}},
                           {{0, 0, 0}, {1, 0, 0}, {inf, 1, 0}},
                           {{0, 0, 0}, {2, 0, 0}, {1, 1.2e-6, 3}}}) {
        EXPECT_FALSE(isFitted(refused));
        for (point& p : refused)
            std::swap(p[0], p[1]);
        EXPECT_FALSE(isFitted(refused));
    }
    EXPECT_EQ(distances, std::vector<double>{7});
    EXPECT_EQ(plane, vector(1, 2, 3));
    EXPECT_TRUE(isFitted({{0, 0, 0}, {2, 0, 0}, {1, 2e-6, 4e-6}})) << "thin, and no line";
    EXPECT_NEAR(plane[1], 2, 1e-9);
    for (const double side : {1e-90, 1e-140, 1e95, 1e140}) {
        EXPECT_TRUE(isFitted({{0, 0, 0}, {side, 0, side}, {0, side, 0}})) << side;
        EXPECT_NEAR(plane[0], 1, 1e-9);
        EXPECT_FALSE(isFitted({{0, 0, 0}, {side, side, 0}, {2 * side, 2 * side, 1}})) << side;
    }
}

} // namespace
