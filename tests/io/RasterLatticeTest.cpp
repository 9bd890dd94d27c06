// Where the cells of a raster lie, and that the library finds each point in the cell that it belongs to.
#include <io/RasterLattice.h>

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <io/Errors.h>

namespace Tilewright::Io {
namespace {

using Orrery::PhysicalSpace::point;

TEST(RasterLattice, LibraryFindsEveryPointInTheCellThatItsDecimalsName) {
    std::mt19937_64 random(11);
    const auto below = [&](std::int64_t n) {
        return static_cast<std::int64_t>(random() % static_cast<unsigned long long>(n));
    };
    const std::int64_t sizes[] = {1, 2, 3, 7, 10, 25, 30, 100, 333, 1000};
    for (int trial = 0; trial < 400; ++trial) {
        // Everything in hundredths.
        const std::int64_t cell = sizes[trial % 10];
        const std::int64_t low = (below(2) != 0 ? 1 : -1) * below(trial % 3 != 0 ? 700000000 : 2000);
        const std::int64_t shift = below(2 * cell) - cell;
        const std::int64_t width = below(cell * 300);
        LatticeRequest request;
        request.cell = static_cast<double>(cell) / 100;
        request.shiftX = static_cast<double>(shift) / static_cast<double>(cell);
        request.fragmentsX = static_cast<std::uint64_t>(1 + below(40));
        request.fragmentsY = static_cast<std::uint64_t>(1 + below(3));
        request.overlap = static_cast<std::uint64_t>(below(6));
        const auto x = [](std::int64_t hundredths) { return static_cast<double>(hundredths) / 100; };
        const RasterLattice lattice({x(low), 0, 0}, {x(low + width), 10, 5}, request);

        Orrery::PhysicalSpace::vector cellSize;
        point origin;
        Quill::MultiIndex<3> counts;
        ASSERT_EQ("", prepareUniformLayout(lattice.positions(), lattice.wantedCellSize(), cellSize,
                                           lattice.overlap(), lattice.fragmentCount(), origin, counts, {}));
        ASSERT_EQ(lattice.arraySize(), counts);
        const double step = static_cast<double>(counts[0]) - static_cast<double>(lattice.overlap()[0]);
        const auto cellNumber = [&](std::int64_t hundredths) {
            return static_cast<std::int64_t>(
                std::floor(static_cast<long double>(hundredths - shift) / static_cast<long double>(cell)));
        };
        for (int i = 0; i < 200; ++i) {
            const std::int64_t at = i == 0 ? low : i == 1 ? low + width : low + below(width + 1);
            const auto expected = static_cast<std::uint64_t>(cellNumber(at) - cellNumber(low));
            const RasterLattice::Place place = lattice.locate(x(at), 3.5);
            ASSERT_EQ(expected, place.cell % lattice.x().cells()) << at << " in cells of " << cell;
            const std::uint64_t fragment = place.fragment % lattice.fragmentCount()[0];
            const std::uint64_t inside = expected - fragment * lattice.x().cellsPerFragment();
            ASSERT_LT(inside, lattice.x().cellsPerFragment());
            // The library's own arithmetic: the number of the cell in the fragment's array.
            const auto number = static_cast<double>(fragment);
            const double start =
                origin[0] + (fragment > 0 ? step : static_cast<double>(counts[0])) * number * cellSize[0];
            ASSERT_EQ(static_cast<double>(inside + lattice.rimBefore()),
                      std::round((place.x - start) / cellSize[0]))
                << at << " in cells of " << cell;
            ASSERT_NEAR(x(at), place.x, 1e-8 * request.cell + 1e-14 * std::fabs(x(at)));
        }
    }
}

TEST(RasterLattice, CoordinatesThatMissAnEdgeByRoundingAloneLieOnIt) {
    const LatticeAxis axis(0.05, 0.95, 0.1, 0.0, 1);
    EXPECT_EQ(3U, axis.cellOf(0.3)) << "below 3 * 0.1";
    EXPECT_EQ(3U, axis.cellOf(std::nextafter(0.3, 0.0)));
    EXPECT_EQ(2U, axis.cellOf(0.3 - 1e-12));
    const LatticeAxis whole(0.0, 1.0, 0.1, 0.0, 1);
    EXPECT_EQ(11U, whole.cells()) << "the last edge is a cell's first point";
    EXPECT_EQ(10U, LatticeAxis(8.5, 8.5009999, 0.0001, 0.0, 1).cells()) << "tiny cells, as in degrees";
}

TEST(RasterLattice, RequestsThatMakeNoLatticeAreRefused) {
    const double NaN = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const auto make = [](double low, double high, double cell, double shift) {
        LatticeRequest request;
        request.cell = cell;
        request.shiftX = shift;
        return RasterLattice({low, low, 0.0}, {high, high, 0.0}, request);
    };
    for (const double cell : {0.0, -1.0, NaN, infinity})
        EXPECT_THROW(make(6e5, 6e5 + 100, cell, 0.0), UsageError) << cell;
    for (const double cell : {1e-9, 1e-320, std::numeric_limits<double>::max()})
        EXPECT_THROW(make(6e5, 6e5 + 100, cell, 0.0), InputError) << cell;
    EXPECT_THROW(make(6e5, 6e5, 1e-12, 0.0), InputError) << "a single point, but cells finer than its digits";
    EXPECT_THROW(make(-infinity, infinity, 1.0, 0.0), InputError);
    EXPECT_THROW(make(0.0, 100.0, 1.0, NaN), UsageError);
    EXPECT_EQ(101U, make(0.0, 100.0, 1.0, 1e300).x().cells()) << "whole cells of shift change nothing";
}

} // namespace
} // namespace Tilewright::Io
