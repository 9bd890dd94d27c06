// The lattice of a raster, and which cell a point falls into.
#include "tests/support/CloudBuilder.h"

#include <cmath>
#include <limits>

#include <tilewright/raster/CellLocator.h>

namespace {

using namespace TestSupport;
using ullong = unsigned long long;

struct AxisCase {
    const char* what;
    double width;
    ullong fragments;
    double wanted;
    ullong overlap;
    double shift, cellSize, origin;
    ullong cellCount;
};
constexpr double belowOne = 1 - 0x1p-53;

/// On boxes whose low corner is 0, so that the width is exact.
const AxisCase axisCases[] = {
    {"adjusted upward to fill the width", 10, 1, 3, 0, 0, 10.0 / 3, 0, 3},
    {"flat cloud", 0, 1, 2, 0, 0.5, 0, 0, 1},
    {"single layer takes no overlap", 10, 1, 0, 4, 0.5, 0, 0, 1},
    {"one is added before truncation", belowOne, 1, 1, 2, 0, belowOne, -belowOne, 3},
    {"quotient just below 3", 0.3, 1, 0.1, 0, 0, 0.15, 0, 2},
    {"overlap 1 moves nothing", 10, 1, 2, 1, 0, 2, 0, 6},
    {"overlap 2 moves by one cell", 10, 1, 2, 2, 0, 2, -2, 7},
    {"overlap 5 moves by two cells, against the shift", 10, 1, 2, 5, 0.5, 2, -3, 10},
    {"negative size wraps the count", 10, 1, -3, 0, 0, 10 / 18446744073709551616.0, 0, ~0ULL - 2},
};

TEST(Layout, FollowsItsRuleOnEachAxisByItself) {
    for (const AxisCase& c : axisCases)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            SCOPED_TRACE(std::string(c.what) + " on axis " + std::to_string(axis));
            point lower(-7, -7, -7), upper(-1, -1, -1), origin;
            vector wanted(2, 2, 2), shift, cellSize;
            Index overlap, fragments(1, 1, 1), cellCounts;
            lower[axis] = 0;
            upper[axis] = c.width;
            wanted[axis] = c.wanted;
            shift[axis] = c.shift;
            overlap[axis] = c.overlap;
            fragments[axis] = c.fragments;
            const Quill::RegularFieldPtr positions = CloudBuilder(fragments).box(lower, upper).positions();
            EXPECT_EQ(Tilewright::prepareUniformLayout(positions, wanted, cellSize, overlap, fragments,
                                                       origin, cellCounts, shift),
                      "");
            EXPECT_EQ(cellSize[axis], c.cellSize);
            EXPECT_EQ(origin[axis], c.origin);
            EXPECT_EQ(cellCounts[axis], c.cellCount);
            EXPECT_EQ(cellCounts[(axis + 1) % 3], 3U);
        }
}

TEST(Layout, IsRefusedWithoutPositionsOrBox) {
    vector cellSize;
    point origin;
    Index cellCounts;
    const std::pair<Quill::RegularFieldPtr, const char*> cases[] = {
        {{}, "in positions not regularly fragmented"}, {CloudBuilder().positions(), "raster:: No bbox"}};
    for (const auto& [positions, result] : cases)
        EXPECT_EQ(Tilewright::prepareUniformLayout(positions, {1, 1, 1}, cellSize, {}, {1, 1, 1}, origin,
                                                   cellCounts, {}),
                  result);
}

/// The cell of `p` as text.
std::string locate(const Quill::UniformCartesianArray& nodes, const Index& cellCounts, const point& p) {
    const auto cell = Tilewright::CellLocator(nodes, cellCounts).locateCell(p, cellCounts.product());
    const auto row = cell / cellCounts[0];
    return cell == cellCounts.product()
               ? "outside"
               : std::to_string(Index(cell % cellCounts[0], row % cellCounts[1], row / cellCounts[1]));
}

TEST(Locator, RoundsHalvesAwayFromZeroAndEndsHalfACellBeyondTheNodes) {
    const Larder::Ref<Quill::UniformCartesianArray> nodes(Index(5, 5, 5), point(), vector(1, 1, 1));
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<std::string, std::vector<double>> cases[] = {
        {"0", {-0.0, -0.49999999999999994, 0.49999999999999994}},
        {"1", {0.5, 1.4999999999999998}},
        {"4", {3.5, 4.49}},
        {"", {-0.5, 4.5, 4503599627370496.0, 9.3e18, -1e300, inf, -inf, std::nan("")}}};
    for (const auto& cell : cases)
        for (const double f : cell.second) {
            SCOPED_TRACE(f);
            const std::string& c = cell.first;
            const auto text = [&](const std::string& inside) { return c.empty() ? "outside" : inside; };
            EXPECT_EQ(locate(*nodes, {5, 5, 5}, {f, 1, 2}), text("[" + c + "x1x2]"));
            EXPECT_EQ(locate(*nodes, {5, 5, 5}, {1, f, 2}), text("[1x" + c + "x2]"));
            EXPECT_EQ(locate(*nodes, {5, 5, 5}, {1, 2, f}), text("[1x2x" + c + "]"));
        }
}

TEST(Locator, DividesByTheStepWhereverTheFragmentStarts) {
    const Larder::Ref<Quill::UniformCartesianArray> nodes(Index(5, 9, 1), point(100, -10, 3),
                                                          vector(0.1, -2, 0));
    // (100.35 - 100) / 0.1 is just below 3.5. Without a step there is one layer.
    EXPECT_EQ(locate(*nodes, {5, 9, 1}, {100.35, -15, std::nan("")}), "[3x3x0]");
    EXPECT_EQ(locate(*nodes, {5, 9, 1}, {100.3, -9, 3}), "outside") << "half a cell before the node";
    EXPECT_EQ(locate(*nodes, {5, 9, 0}, {100, -10, 3}), "outside") << "no layer";
}

} // namespace
