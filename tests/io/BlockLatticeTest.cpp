// Where the cells of a raster lie, and that each point is found in the cell that it belongs to.
#include <io/blocks/BlockLattice.h>

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <io/system/Errors.h>

namespace Tilewright::Io {
namespace {

TEST(BlockLattice, FindsEveryPointInTheCellThatItsDecimalsName) {
    std::mt19937_64 random(11);
    const auto below = [&](std::int64_t n) {
        return static_cast<std::int64_t>(random() % static_cast<unsigned long long>(n));
    };
    const std::int64_t sizes[] = {1, 2, 3, 7, 10, 25, 30, 100, 333, 1000};
    for (int trial = 0; trial < 400; ++trial) {
        // Everything in hundredths.
        const std::int64_t cell = sizes[trial % 10];
        const std::int64_t low = (below(2) != 0 ? 1 : -1) * below(trial % 3 != 0 ? 700000000 : 2000);
        const std::int64_t reach = trial % 4 != 3 ? cell : 900000000;
        const std::int64_t origin = trial % 2 != 0 ? below(2 * reach) - reach : 0;
        const std::int64_t width = below(cell * 600);
        const auto x = [](std::int64_t hundredths) { return static_cast<double>(hundredths) / 100; };
        const BlockLattice lattice({x(low), x(low + width), x(cell), x(origin), {}},
                                   {0.0, 10.0, x(cell), 0.0, {}});
        const auto cellNumber = [&](std::int64_t hundredths) {
            return static_cast<std::int64_t>(
                std::floor(static_cast<long double>(hundredths - origin) / static_cast<long double>(cell)));
        };
        ASSERT_EQ(lattice.x().cells(),
                  static_cast<std::uint64_t>(cellNumber(low + width) - cellNumber(low) + 1));
        for (int i = 0; i < 60; ++i) {
            const std::int64_t at = i == 0 ? low : i == 1 ? low + width : low + below(width + 1);
            const std::int64_t expected = cellNumber(at) - cellNumber(low);
            std::int64_t found = -1;
            ASSERT_TRUE(lattice.x().locate(x(at), found));
            ASSERT_EQ(expected, found) << at << " in cells of " << cell;
        }
    }
}

TEST(BlockLattice, CoordinatesThatMissAnEdgeByRoundingAloneLieOnIt) {
    const LatticeAxis axis({0.05, 0.95, 0.1, 0.0, {}});
    const auto cellOf = [&](double coordinate) {
        std::int64_t cell = -1;
        return axis.locate(coordinate, cell) ? cell : -1;
    };
    EXPECT_EQ(3, cellOf(0.3)) << "below 3 * 0.1";
    EXPECT_EQ(3, cellOf(std::nextafter(0.3, 0.0)));
    EXPECT_EQ(2, cellOf(0.3 - 1e-12));
    EXPECT_EQ(-1, cellOf(1.0));
    EXPECT_EQ(-1, cellOf(-0.01));
    EXPECT_EQ(-1, cellOf(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(11U, LatticeAxis({0.0, 1.0, 0.1, 0.0, {}}).cells()) << "the last edge is a cell's first point";
    EXPECT_EQ(10U, LatticeAxis({8.5, 8.5009999, 0.0001, 0.0, {}}).cells()) << "tiny cells, as in degrees";
    EXPECT_EQ(0.0, LatticeAxis({0.0, 1.0, 0.1, 0.7, {}}).edge(0)) << "an origin of whole cells moves no edge";
}

TEST(BlockLattice, BoundsThatMeetShareNoPointAndLoseNone) {
    std::mt19937_64 random(3);
    for (const double cell : {0.1, 0.3, 1.0, 7.0})
        for (const double border : {512000.3, 512003.0, 512000.37}) {
            const LatticeAxis west({512000.0, 512010.0, cell, 0.0, {{511990.0, border}}});
            const LatticeAxis east({512000.0, 512010.0, cell, 0.0, {{border, 512020.0}}});
            for (int i = 0; i < 500; ++i) {
                const double x = i == 0 ? border : 512000.0 + static_cast<double>(random() % 1001) / 100;
                std::int64_t cellInWest;
                std::int64_t cellInEast;
                EXPECT_EQ(x < border - 1e-9, west.locate(x, cellInWest)) << x << " " << border;
                EXPECT_EQ(x >= border - 1e-9, east.locate(x, cellInEast)) << x << " " << border;
            }
        }
    EXPECT_EQ(5U, LatticeAxis({0.0, 100.0, 0.1, 0.0, {{0.3, 0.8}}}).cells());
    EXPECT_EQ(6U, LatticeAxis({0.0, 100.0, 0.1, 0.0, {{0.25, 0.8}}}).cells());
    EXPECT_EQ(1U, LatticeAxis({9.0, -9.0, 1.0, 0.0, {{5.0, 6.0}}}).cells()) << "without any point";
}

TEST(BlockLattice, RequestsThatMakeNoLatticeAreRefused) {
    const double NaN = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const auto make = [](double low, double high, double cell, double origin) {
        return LatticeAxis({low, high, cell, origin, {}});
    };
    for (const double cell : {0.0, -1.0, NaN, infinity})
        EXPECT_THROW(make(6e5, 6e5 + 100, cell, 0.0), UsageError) << cell;
    for (const double cell : {1e-9, 1e-320, std::numeric_limits<double>::max()})
        EXPECT_THROW(make(6e5, 6e5 + 100, cell, 0.0), InputError) << cell;
    EXPECT_THROW(make(6e5, 6e5, 1e-12, 0.0), InputError) << "a single point, but cells finer than its digits";
    EXPECT_THROW(make(-infinity, infinity, 1.0, 0.0), InputError);
    EXPECT_THROW(make(0.0, 100.0, 1.0, NaN), UsageError);
    EXPECT_THROW(make(0.0, 100.0, 0.3, 1e15), UsageError) << "nobody knows where its edges are";
    for (const auto& bounds : {std::array{1.0, 1.0}, {2.0, 1.0}, {NaN, 1.0}, {0.0, infinity}})
        EXPECT_THROW(LatticeAxis({0.0, 9.0, 1.0, 0.0, bounds}), UsageError);
}

} // namespace
} // namespace Tilewright::Io
